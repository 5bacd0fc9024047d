#include "dsp/equalizer.h"

#include <cmath>

namespace vexa {

EqualizerTables g_equalizer;

namespace {

constexpr int32_t kLimitDb = 12;
// Upper bounds (exclusive) of the 20 bands on the sub-bands and on the lines.
constexpr int32_t kSubbandBounds[kEqualizerBands] = {1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                                     11, 12, 13, 14, 15, 16, 18, 20, 24, 32};
constexpr int32_t kLineBounds[kEqualizerBands] = {2,  4,  6,   10,  13,  17,  22,  28,  32,  42,
                                                  58, 74, 90, 110, 140, 180, 230, 290, 360, 576};

int32_t ClampDb(int32_t db) {
    if (db >= kLimitDb) return kLimitDb;
    if (db <= -kLimitDb) return -kLimitDb;
    return db;
}

template <class T>
void Fill(std::atomic<T>* table, int32_t from, int32_t to, T value) {
    for (int32_t i = from; i < to; ++i) table[i].store(value, std::memory_order_relaxed);
}

}  // namespace

void ResetEqualizer() {
    EqualizerTables& eq = g_equalizer;
    eq.active.store(0, std::memory_order_relaxed);
    Fill(eq.subbandFloat, 0, kSubbandCount, 1.0f);
    Fill(eq.lineFloat, 0, kLineCount, 1.0f);
    Fill(eq.subbandFixed, 0, kSubbandCount, int32_t{32768});
    Fill(eq.lineFixed, 0, kLineCount, int32_t{32768});
    eq.generation.fetch_add(1, std::memory_order_release);
}

void SetEqualizerBands(const int32_t* settings) {
    EqualizerTables& eq = g_equalizer;
    int32_t active = 0;
    int32_t db[kEqualizerBands];
    for (int b = 0; b < kEqualizerBands; ++b) {
        if (settings[b] != 0) active = 1;
        db[b] = ClampDb(settings[b]);
    }
    // Off first when turning flat, so that the hooks stop at once.
    if (!active) eq.active.store(0, std::memory_order_release);
    float sum = 0.0f;  // accumulated in single precision on purpose: it sets the norm
    for (int b = 0; b < kEqualizerBands; ++b) sum += static_cast<float>(std::pow(10.0, db[b] * 0.05));
    const float norm = static_cast<float>(20.0 / sum);
    const double headroom = static_cast<double>(0.9f);
    int32_t subband = 0;
    int32_t line = 0;
    for (int b = 0; b < kEqualizerBands; ++b) {
        const float gain = static_cast<float>(std::pow(10.0, db[b] * 0.05) * norm);
        const int32_t fixed = static_cast<int32_t>(std::pow(10.0, db[b] / 30.0) * norm * headroom * 32768.0);
        Fill(eq.subbandFloat, subband, kSubbandBounds[b], gain);
        Fill(eq.subbandFixed, subband, kSubbandBounds[b], fixed);
        Fill(eq.lineFloat, line, kLineBounds[b], gain);
        Fill(eq.lineFixed, line, kLineBounds[b], fixed);
        subband = kSubbandBounds[b];
        line = kLineBounds[b];
    }
    // The hooks load these with acquire: once they see the new generation
    // or the flag set, they also see the tables written above.
    eq.generation.fetch_add(1, std::memory_order_release);
    if (active) eq.active.store(1, std::memory_order_release);
}

}  // namespace vexa
