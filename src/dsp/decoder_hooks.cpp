#include "dsp/decoder_hooks.h"

#include <algorithm>
#include <cmath>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "dsp/equalizer.h"
#include "dsp/spectrum_history.h"

namespace vexa {
namespace {

// Upper bounds (exclusive) of the spectrum's 20 line bands: finer than the
// equalizer's at the bottom, where a display needs the detail.
constexpr int32_t kLineBandBounds[kLineBands] = {1,  2,  3,  5,  7,   10,  14,  18,  24,  32,
                                                 42, 56, 76, 106, 140, 180, 230, 290, 360, 576};

// The decoding thread's copy of the gain tables: the per-sample loops read
// plain arrays, which the compiler can vectorise, instead of atomics.
struct GainCopy {
    uint32_t generation;
    float subbandFloat[kSubbandCount];
    float lineFloat[kLineCount];
    int32_t subbandFixed[kSubbandCount];
    int32_t lineFixed[kLineCount];
};

GainCopy g_gains = {~0u, {}, {}, {}, {}};

template <class T, int N>
void CopyTable(T (&to)[N], const std::atomic<T> (&from)[N]) {
    for (int i = 0; i < N; ++i) to[i] = from[i].load(std::memory_order_relaxed);
}

// The fixed kernel below needs gains in 0 .. 2^18 - 1; the tables never
// leave that range (their largest gain is about 169000), this only makes
// sure of it.
template <int N>
void LimitFixedGains(int32_t (&gains)[N]) {
    for (int32_t& gain : gains) gain = std::clamp(gain, 0, kFixedGainLimit - 1);
}

// The gains to apply now, or nullptr while the equalizer is off. A rewrite
// that overlaps the copy moves the generation on again, so the next step
// copies once more.
const GainCopy* ActiveGains() {
    if (g_equalizer.active.load(std::memory_order_acquire) == 0) return nullptr;
    const uint32_t generation = g_equalizer.generation.load(std::memory_order_acquire);
    if (generation != g_gains.generation) {
        CopyTable(g_gains.subbandFloat, g_equalizer.subbandFloat);
        CopyTable(g_gains.lineFloat, g_equalizer.lineFloat);
        CopyTable(g_gains.subbandFixed, g_equalizer.subbandFixed);
        CopyTable(g_gains.lineFixed, g_equalizer.lineFixed);
        LimitFixedGains(g_gains.subbandFixed);
        LimitFixedGains(g_gains.lineFixed);
        g_gains.generation = generation;
    }
    return &g_gains;
}

const float* SubbandGains(const GainCopy& gains, float) { return gains.subbandFloat; }
const float* SubbandGains(const GainCopy& gains, double) { return gains.subbandFloat; }
const int32_t* SubbandGains(const GainCopy& gains, int32_t) { return gains.subbandFixed; }
const float* LineGains(const GainCopy& gains, float) { return gains.lineFloat; }
const float* LineGains(const GainCopy& gains, double) { return gains.lineFloat; }
const int32_t* LineGains(const GainCopy& gains, int32_t) { return gains.lineFixed; }

template <class S, int N>
void Equalize(S* __restrict samples, const float* __restrict gains) {
    for (int32_t k = 0; k < N; ++k) samples[k] = static_cast<S>(samples[k] * gains[k]);
}

// ApplyFixedGain in a form the compiler vectorises with the one widening
// multiply every x86 vector unit has (unsigned 32 x 32 -> 64 bits): with
// u = x + 2^27 (0..2^28 after the input limit), gain x = gain u - gain 2^27,
// and gain 2^27 is a multiple of 2^15, so
//   (gain x) >> 15 = ((gain u) >> 15) - gain 2^12
// exactly; for gains below 2^18 both terms, and the result, fit 32 bits.
template <class S, int N>
void Equalize(int32_t* __restrict samples, const int32_t* __restrict gains) {
    for (int32_t k = 0; k < N; ++k) {
        const int32_t x = std::clamp(samples[k], -kFixedGainInputLimit, kFixedGainInputLimit);
        const uint32_t offset = static_cast<uint32_t>(x + kFixedGainInputLimit);
        const uint32_t gain = static_cast<uint32_t>(gains[k]);
        const uint64_t product = static_cast<uint64_t>(offset) * gain;
        samples[k] = static_cast<int32_t>(static_cast<uint32_t>(product >> 15) - (gain << 12));
    }
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

template <class S>
void RunSubbandHook(S* block, int32_t channel) {
    if (g_spectrum.layer3.load(std::memory_order_relaxed)) return;
    if (const GainCopy* gains = ActiveGains()) Equalize<S, kSubbandCount>(block, SubbandGains(*gains, S{}));
    decltype(Magnitude(S{})) magnitudes[kSubbandCount];
    for (int32_t k = 0; k < kSubbandCount; ++k) magnitudes[k] = Magnitude(block[k]);
    Accumulate(WriteSlot(S{}), magnitudes, kSubbandCount, channel);
}

// The largest of lines [line, end), at least 0: signed values are compared,
// so negative lines do not count, and a NaN never wins.
template <class S>
S BandMaximum(const S* lines, int32_t line, int32_t end, S largest = 0) {
    for (; line < end; ++line)
        if (lines[line] > largest) largest = lines[line];
    return largest;
}

#if defined(__SSE2__)
// The same in vector lanes. Every lane keeps the rule of the scalar loop (the
// max instructions take x > m ? x : m with the new value first), so a lane
// holds the largest of its lines or +0, never a NaN or -0; the lanes and the
// tail then combine in any order to exactly the scalar result.
float BandMaximum(const float* lines, int32_t line, int32_t end) {
    __m128 lanes = _mm_setzero_ps();
    for (; line + 4 <= end; line += 4) lanes = _mm_max_ps(_mm_loadu_ps(lines + line), lanes);
    lanes = _mm_max_ps(_mm_movehl_ps(lanes, lanes), lanes);
    lanes = _mm_max_ss(_mm_shuffle_ps(lanes, lanes, 1), lanes);
    return BandMaximum<float>(lines, line, end, _mm_cvtss_f32(lanes));
}

double BandMaximum(const double* lines, int32_t line, int32_t end) {
    __m128d lanes = _mm_setzero_pd();
    for (; line + 2 <= end; line += 2) lanes = _mm_max_pd(_mm_loadu_pd(lines + line), lanes);
    lanes = _mm_max_sd(_mm_unpackhi_pd(lanes, lanes), lanes);
    return BandMaximum<double>(lines, line, end, _mm_cvtsd_f64(lanes));
}

int32_t BandMaximum(const int32_t* lines, int32_t line, int32_t end) {
    __m128i lanes = _mm_setzero_si128();
    for (; line + 4 <= end; line += 4) {
        const __m128i x = _mm_loadu_si128(reinterpret_cast<const __m128i*>(lines + line));
        const __m128i greater = _mm_cmpgt_epi32(x, lanes);
        lanes = _mm_or_si128(_mm_and_si128(greater, x), _mm_andnot_si128(greater, lanes));
    }
    alignas(16) int32_t each[4];
    _mm_store_si128(reinterpret_cast<__m128i*>(each), lanes);
    return BandMaximum<int32_t>(lines, line, end, std::max(std::max(each[0], each[1]), std::max(each[2], each[3])));
}
#endif

template <class S>
void RunLineHook(S* lines, int32_t channel) {
    if (const GainCopy* gains = ActiveGains()) Equalize<S, kLineCount>(lines, LineGains(*gains, S{}));
    S maxima[kLineBands];
    LineBandMaxima(lines, maxima);
    Accumulate(WriteSlot(S{}), maxima, kLineBands, channel);
}

}  // namespace

void SubbandHook(float* block, int32_t channel) { RunSubbandHook(block, channel); }
void SubbandHook(double* block, int32_t channel) { RunSubbandHook(block, channel); }
void SubbandHook(int32_t* block, int32_t channel) { RunSubbandHook(block, channel); }

void LineHook(float* lines, int32_t channel) { RunLineHook(lines, channel); }
void LineHook(double* lines, int32_t channel) { RunLineHook(lines, channel); }
void LineHook(int32_t* lines, int32_t channel) { RunLineHook(lines, channel); }

template <class S>
void LineBandMaxima(const S* lines, S* maxima) {
    for (int32_t band = 0; band < kLineBands; ++band)
        maxima[band] = BandMaximum(lines, band == 0 ? 0 : kLineBandBounds[band - 1], kLineBandBounds[band]);
}

template <class S>
void LineBandMaximaPlain(const S* lines, S* maxima) {
    for (int32_t band = 0; band < kLineBands; ++band)
        maxima[band] = BandMaximum<S>(lines, band == 0 ? 0 : kLineBandBounds[band - 1], kLineBandBounds[band]);
}

template void LineBandMaxima(const float*, float*);
template void LineBandMaxima(const double*, double*);
template void LineBandMaxima(const int32_t*, int32_t*);
template void LineBandMaximaPlain(const float*, float*);
template void LineBandMaximaPlain(const double*, double*);
template void LineBandMaximaPlain(const int32_t*, int32_t*);

}  // namespace vexa
