// The 20-band graphic equalizer that acts inside the decoder: the host's band
// settings in dB become four gain tables (per sub-band and per Layer III
// line, in float and in Q15), which the decoder's hooks multiply into their
// samples just before synthesis.
//
// Threads: SetEqualizerBands runs on a host thread with the engine lock held
// (one writer at a time); the hooks read the tables and the active flag on
// the playback thread without the lock, so every entry is an atomic word and
// a change may take effect in the middle of a frame. The hooks keep a plain
// copy of the tables, taken again whenever the generation has moved on.
#pragma once

#include <atomic>
#include <cstdint>

namespace vexa {

constexpr int kEqualizerBands = 20;
constexpr int kSubbandCount = 32;
constexpr int kLineCount = 576;

struct EqualizerTables {
    // 1 while the last settings had a nonzero band; the tables apply only then.
    std::atomic<int32_t> active;
    std::atomic<float> subbandFloat[kSubbandCount];
    std::atomic<float> lineFloat[kLineCount];
    std::atomic<int32_t> subbandFixed[kSubbandCount];  // Q15, 32768 = unity
    std::atomic<int32_t> lineFixed[kLineCount];
    // Counts table rewrites; moved on (release) after the tables are written.
    std::atomic<uint32_t> generation;
};

extern EqualizerTables g_equalizer;

// Load-time state: inactive, unity gains (1.0 and 32768).
void ResetEqualizer();

// settings: 20 values in dB, band 0 first. Any nonzero value activates the
// equalizer; values are limited to -12..+12 dB. The average linear gain over
// the bands is normalised to 1; the fixed tables follow a flatter curve
// (g / 30 instead of g / 20) scaled by 0.9, for headroom in 32 bits.
// Flat settings clear the active flag, so no table applies, whatever the
// tables hold.
void SetEqualizerBands(const int32_t* settings);

// (gain * x) >> 15 with a 64-bit product: strong boosts (gains up to about
// 5.2 in Q15) on loud Q15 samples exceed 32 bits, and a wrapped product
// would turn a loud passage into full-scale noise. x is first limited to
// +-2^27 (4096 times full scale, reached only by corrupt streams), so that
// the result, at most 2^30 for gains below 2^18, always fits 32 bits. The
// hooks run an equal form that vectorises; this is its plain reference.
constexpr int32_t kFixedGainInputLimit = 1 << 27;
constexpr int32_t kFixedGainLimit = 1 << 18;  // fixed gains stay below it
inline int32_t ApplyFixedGain(int32_t x, int32_t gain) {
    const int64_t limited = x > kFixedGainInputLimit ? kFixedGainInputLimit
                                                     : (x < -kFixedGainInputLimit ? -kFixedGainInputLimit : x);
    return static_cast<int32_t>((limited * gain) >> 15);
}

}  // namespace vexa
