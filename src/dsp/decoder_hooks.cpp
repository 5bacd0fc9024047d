#include "dsp/decoder_hooks.h"

#include <cmath>

#include "dsp/equalizer.h"
#include "dsp/spectrum_history.h"

namespace vexa {
namespace {

// Upper bounds (exclusive) of the spectrum's 20 line bands: finer than the
// equalizer's at the bottom, where a display needs the detail.
constexpr int32_t kLineBandBounds[kLineBands] = {1,  2,  3,  5,  7,   10,  14,  18,  24,  32,
                                                 42, 56, 76, 106, 140, 180, 230, 290, 360, 576};

bool EqualizerActive() { return g_equalizer.active.load(std::memory_order_acquire) != 0; }

template <class S>
void Equalize(S* samples, const std::atomic<float>* gains, int32_t count) {
    for (int32_t k = 0; k < count; ++k) samples[k] = static_cast<S>(samples[k] * gains[k].load(std::memory_order_relaxed));
}

void Equalize(int32_t* samples, const std::atomic<int32_t>* gains, int32_t count) {
    for (int32_t k = 0; k < count; ++k) samples[k] = ApplyFixedGain(samples[k], gains[k].load(std::memory_order_relaxed));
}

// Magnitudes as the ring stores them. Integer sums wrap in 32 bits (only
// corrupt streams get there); |INT32_MIN| is taken in unsigned arithmetic.
float Magnitude(float x) { return std::fabs(x); }
double Magnitude(double x) { return std::fabs(x); }
uint32_t Magnitude(int32_t x) { return x < 0 ? 0u - static_cast<uint32_t>(x) : static_cast<uint32_t>(x); }

float AddTo(float sum, float m) { return sum + m; }
float AddTo(float sum, double m) { return static_cast<float>(sum + m); }
int32_t AddTo(int32_t sum, uint32_t m) { return static_cast<int32_t>(static_cast<uint32_t>(sum) + m); }
int32_t AddTo(int32_t sum, int32_t m) { return AddTo(sum, static_cast<uint32_t>(m)); }

SpectrumSlot<float>& WriteSlot(float) { return g_spectrum.floatRing[g_spectrum.writeIndex]; }
SpectrumSlot<float>& WriteSlot(double) { return g_spectrum.floatRing[g_spectrum.writeIndex]; }
SpectrumSlot<int32_t>& WriteSlot(int32_t) { return g_spectrum.integerRing[g_spectrum.writeIndex]; }

// Adds count magnitudes to the left or right half; the right channel (or
// the single one, which also fills the right half) ends a step.
template <class V, class M>
void Accumulate(SpectrumSlot<V>& slot, const M* magnitudes, int32_t count, int32_t channel) {
    if (channel == 1) {
        for (int32_t k = 0; k < count; ++k) slot.right[k] = AddTo(slot.right[k], magnitudes[k]);
        ++slot.count;
        return;
    }
    for (int32_t k = 0; k < count; ++k) slot.left[k] = AddTo(slot.left[k], magnitudes[k]);
    if (channel == 0) return;
    for (int32_t k = 0; k < count; ++k) slot.right[k] = slot.left[k];
    ++slot.count;
}

template <class S, class G>
void RunSubbandHook(S* block, int32_t channel, const G* gains) {
    if (g_spectrum.layer3.load(std::memory_order_relaxed)) return;
    if (EqualizerActive()) Equalize(block, gains, kSubbandCount);
    decltype(Magnitude(S{})) magnitudes[kSubbandCount];
    for (int32_t k = 0; k < kSubbandCount; ++k) magnitudes[k] = Magnitude(block[k]);
    Accumulate(WriteSlot(S{}), magnitudes, kSubbandCount, channel);
}

// The largest line of each band, at least 0: signed values are compared, so
// negative lines do not count.
template <class S>
void RunLineHook(S* lines, int32_t channel, const auto* gains) {
    if (EqualizerActive()) Equalize(lines, gains, kLineCount);
    S maxima[kLineBands];
    int32_t line = 0;
    for (int32_t band = 0; band < kLineBands; ++band) {
        S largest = 0;
        for (; line < kLineBandBounds[band]; ++line)
            if (lines[line] > largest) largest = lines[line];
        maxima[band] = largest;
    }
    Accumulate(WriteSlot(S{}), maxima, kLineBands, channel);
}

}  // namespace

void SubbandHook(float* block, int32_t channel) { RunSubbandHook(block, channel, g_equalizer.subbandFloat); }
void SubbandHook(double* block, int32_t channel) { RunSubbandHook(block, channel, g_equalizer.subbandFloat); }
void SubbandHook(int32_t* block, int32_t channel) { RunSubbandHook(block, channel, g_equalizer.subbandFixed); }

void LineHook(float* lines, int32_t channel) { RunLineHook(lines, channel, g_equalizer.lineFloat); }
void LineHook(double* lines, int32_t channel) { RunLineHook(lines, channel, g_equalizer.lineFloat); }
void LineHook(int32_t* lines, int32_t channel) { RunLineHook(lines, channel, g_equalizer.lineFixed); }

}  // namespace vexa
