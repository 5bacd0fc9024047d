#include "dsp/spectrum_levels.h"

#include <algorithm>
#include <atomic>
#include <cmath>

namespace vexa {
namespace {

constexpr float kStartFactor = 20.0f;
constexpr double kTopLevel = 24.0;

std::atomic<float> g_displayFactor{kStartFactor};

// Per-band weights of the logarithmic levels: higher bands hold less energy
// per line in music, so they are lifted to keep the display level.
constexpr double kLayer3Both[kSpectrumBands] = {0.7, 0.7, 0.7, 0.8, 0.9, 1.0, 1.0, 1.0, 1.0, 1.0,
                                                1.1, 1.1, 1.1, 1.1, 1.2, 1.2, 1.2, 1.2, 1.2, 1.2};
constexpr double kLayer3Separate[kSpectrumBands] = {0.7, 0.8, 1.0, 1.0, 1.0, 1.1, 1.1, 1.2, 1.2, 1.2,
                                                    0.7, 0.8, 1.0, 1.0, 1.0, 1.1, 1.1, 1.2, 1.2, 1.2};
// Entry 0 of the sub-band tables is not used: band 0 takes the plain logarithm.
constexpr double kSubbandBoth[kSpectrumBands] = {0.0, 1.2, 1.6, 2.0, 2.0, 2.0, 2.0, 2.4, 2.4, 2.4,
                                                 2.4, 2.4, 2.4, 2.4, 2.4, 2.4, 2.4, 2.4, 2.4, 2.4};
constexpr double kSubbandSeparate[kSpectrumBands] = {0.0, 1.2, 1.6, 2.0, 2.0, 2.2, 2.4, 2.4, 2.4, 2.4,
                                                     2.0, 1.2, 1.6, 2.0, 2.0, 2.2, 2.4, 2.4, 2.4, 2.4};

// The largest of left[from..to) and right[from..to), at least 0.
float MaxOver(const SpectrumSnapshot& slot, int from, int to) {
    float largest = 0.0f;
    for (int k = from; k < to; ++k) largest = std::max({largest, slot.left[k], slot.right[k]});
    return largest;
}

float MaxOf(const float* values, int from, int to) {
    return *std::max_element(values + from, values + to);
}

void FoldLayer3(const SpectrumSnapshot& slot, bool separate, float* v) {
    if (!separate) {
        for (int i = 0; i < kSpectrumBands; ++i) v[i] = std::max(slot.left[i], slot.right[i]);
        return;
    }
    for (int i = 0; i < 10; ++i) {
        v[i] = std::max(slot.left[2 * i], slot.left[2 * i + 1]);
        v[10 + i] = std::max(slot.right[2 * i], slot.right[2 * i + 1]);
    }
}

// Sub-bands are equally wide in Hz; the display widens its bands upward.
void FoldSubbands(const SpectrumSnapshot& slot, bool separate, float* v) {
    if (!separate) {
        for (int k = 0; k < 16; ++k) v[k] = std::max(slot.left[k], slot.right[k]);
        v[16] = MaxOver(slot, 16, 18);
        v[17] = MaxOver(slot, 18, 20);
        v[18] = MaxOver(slot, 20, 24);
        v[19] = MaxOver(slot, 24, 32);
        return;
    }
    constexpr int kGroupBounds[11] = {0, 1, 2, 3, 4, 6, 8, 10, 12, 16, 20};  // sub-bands 20..31 not shown
    const float* channels[2] = {slot.left, slot.right};
    for (int c = 0; c < 2; ++c)
        for (int i = 0; i < 10; ++i) v[10 * c + i] = MaxOf(channels[c], kGroupBounds[i], kGroupBounds[i + 1]);
}

// The unscaled log level of band i, in double (the display value is formed
// from it before it is rounded to float).
double LogLevel(double value, int i, bool layer3, bool separate) {
    if (layer3) return (separate ? kLayer3Separate : kLayer3Both)[i] * std::log(100.0 * value);
    if (i == 0) return static_cast<float>(std::log(value));  // band 0: rounded first, no factor, no weight
    return (separate ? kSubbandSeparate : kSubbandBoth)[i] * std::log(8.0 * value);
}

}  // namespace

void ResetSpectrumDisplayFactor() { g_displayFactor.store(kStartFactor, std::memory_order_relaxed); }

float SpectrumDisplayFactor() { return g_displayFactor.load(std::memory_order_relaxed); }

void SpectrumLevels(const SpectrumSnapshot& slot, bool separate, int32_t* bands) {
    float v[kSpectrumBands];
    if (slot.layer3) FoldLayer3(slot, separate, v);
    else FoldSubbands(slot, separate, v);
    float factor = g_displayFactor.load(std::memory_order_relaxed);
    float y[kSpectrumBands] = {};
    float peak = 0.0f;
    for (int i = 0; i < kSpectrumBands; ++i) {
        bands[i] = 0;
        // Empty bands show 0. Wrapped integer sums (negative) and overflowed
        // float sums, which only corrupt streams reach, show 0 too.
        if (!(v[i] > 0.0f) || !std::isfinite(v[i])) continue;
        const double level = LogLevel(v[i], i, slot.layer3, separate);
        y[i] = static_cast<float>(level);
        const float display = static_cast<float>(level * factor);
        bands[i] = static_cast<int32_t>(display);
        peak = std::max(peak, display);
    }
    if (peak <= kTopLevel) return;
    factor = static_cast<float>(kTopLevel / peak * factor);
    g_displayFactor.store(factor, std::memory_order_relaxed);
    // Empty bands have y = 0 and stay at 0.
    for (int i = 0; i < kSpectrumBands; ++i) bands[i] = static_cast<int32_t>(static_cast<double>(factor) * y[i]);
}

}  // namespace vexa
