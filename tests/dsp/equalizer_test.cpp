// The equalizer: its gain tables for the settings whose results are known,
// the fixed-point overflow guard, where the hooks apply which table, and, on
// decoded broadband audio, the gain each engine and layer really applies.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "dsp/decoder_hooks.h"
#include "dsp/equalizer.h"
#include "dsp/spectrum_history.h"
#include "dsp/dsp_test_support.h"
#include "engine/offline_decode.h"
#include "vexaengine.h"

using namespace vexa;

namespace {

struct Settings {
    int32_t db[kEqualizerBands];
};

Settings Uniform(int32_t value) {
    Settings s;
    for (int32_t& db : s.db) db = value;
    return s;
}

Settings With(Settings s, int band, int32_t value) {
    s.db[band] = value;
    return s;
}

class Equalizer : public ::testing::Test {
protected:
    void TearDown() override { VexaEngine_SetEqualizer(Uniform(0).db); }
};

TEST_F(Equalizer, GainTablesForKnownSettings) {
    struct Case {
        const char* name;
        Settings settings;
        int32_t active;
        float band0Float;  // sub-band 0 and lines 0..1
        int32_t band0Fixed;  // 0: not checked
        float band19Float;  // sub-bands 24..31 and lines 360..575
    };
    const Case cases[] = {
        {"flat", Uniform(0), 0, 1.0f, 29491, 1.0f},
        {"all +12 is flat at a lower fixed level", Uniform(12), 1, 1.0f, 18607, 1.0f},
        {"+50 acts as +12", Uniform(50), 1, 1.0f, 18607, 1.0f},
        {"band 0 up, the rest down", With(Uniform(-12), 0, 12), 1, 9.096f, 169251, 0.5739f},
        {"+-50 act as +-12", With(Uniform(-50), 0, 50), 1, 9.096f, 169251, 0.5739f},
        {"any small value activates", With(Uniform(0), 7, -1), 1, 1.0f, 0, 1.0f},
    };
    for (const Case& c : cases) {
        VexaEngine_SetEqualizer(c.settings.db);
        const EqualizerTables& eq = g_equalizer;
        EXPECT_EQ(eq.active.load(), c.active) << c.name;
        for (const std::atomic<float>* gain : {&eq.subbandFloat[0], &eq.lineFloat[0], &eq.lineFloat[1]})
            EXPECT_NEAR(gain->load(), c.band0Float, 1e-2) << c.name;
        for (const std::atomic<int32_t>* gain : {&eq.subbandFixed[0], &eq.lineFixed[0], &eq.lineFixed[1]}) {
            if (c.band0Fixed != 0) {
                EXPECT_EQ(gain->load(), c.band0Fixed) << c.name;
            }
        }
        for (const std::atomic<float>* gain : {&eq.subbandFloat[24], &eq.subbandFloat[31], &eq.lineFloat[360], &eq.lineFloat[575]})
            EXPECT_NEAR(gain->load(), c.band19Float, 1e-2) << c.name;
    }
}

TEST(EqualizerFixedGain, ProductsBeyond32BitsNeitherWrapNorFlipSign) {
    struct Case {
        int32_t x, gain, expected;
    };
    const Case cases[] = {
        {32768, 32768, 32768},                // unity
        {100000, 169251, 516513},             // the 32-bit product would wrap
        {-100000, 169251, -516514},           // arithmetic shift: rounds toward minus infinity
        {1 << 27, 169251, 4096 * 169251},     // the largest input taken as it is
        {INT32_MAX, 169251, 4096 * 169251},   // beyond it (corrupt streams): limited, same sign
        {INT32_MIN, 169251, -4096 * 169251},
        {-7, 18607, -4},
    };
    for (const Case& c : cases) EXPECT_EQ(ApplyFixedGain(c.x, c.gain), c.expected) << c.x << " x " << c.gain;
}

// The sub-band hook on one fixed block: it follows the active flag at once
// (the flat tables hold 29491, so a stale table would show) and leaves
// Layer III streams alone, whose lines were equalised already.
TEST_F(Equalizer, TheSubbandHookFollowsTheFlagAtOnceAndSkipsLayer3) {
    struct Case {
        const char* name;
        Settings settings;
        bool layer3;
        int32_t expectedSubband0;
    };
    const Case cases[] = {
        {"boost", With(Uniform(-12), 0, 12), false, 169251 * 2},
        {"back to flat", Uniform(0), false, 32768 * 2},
        {"boost on a Layer III stream", With(Uniform(-12), 0, 12), true, 32768 * 2},
    };
    for (const Case& c : cases) {
        VexaEngine_SetEqualizer(c.settings.db);
        ConfigureSpectrumHistory(c.layer3, SpectrumRing::Integer);
        int32_t block[32];
        for (int32_t& value : block) value = 32768 * 2;
        SubbandHook(block, -1);
        EXPECT_EQ(block[0], c.expectedSubband0) << c.name;
    }
}

// ---- On decoded audio ------------------------------------------------------

constexpr int kBoosted = 10;
constexpr int kCut = 14;

std::vector<int16_t> Left(const OfflineResult& result) {
    std::vector<int16_t> left(result.pcm.size() / 4);
    for (size_t i = 0; i < left.size(); ++i) std::memcpy(&left[i], &result.pcm[4 * i], 2);
    return left;
}

OfflineResult Decode(const std::vector<uint8_t>& stream, int32_t engine) {
    OfflineSettings settings;
    settings.engineKind = engine;
    return DecodeToMemory(stream.data(), static_cast<uint32_t>(stream.size()), settings);
}

// The middle half of an equalizer band in Hz, in the domain it acts on:
// sub-bands are fs/64 wide; Layer III lines fs/1152.
struct Range {
    double low, high;
};
Range MiddleOfBand(int band, bool layer3, double rate) {
    static const int kLineBounds[] = {0, 2, 4, 6, 10, 13, 17, 22, 28, 32, 42, 58, 74, 90, 110, 140};
    const double low = layer3 ? kLineBounds[band] * rate / 1152 : band * rate / 64;
    const double high = layer3 ? kLineBounds[band + 1] * rate / 1152 : (band + 1) * rate / 64;
    return {low + (high - low) / 4, high - (high - low) / 4};
}

double GainDb(const std::vector<int16_t>& equalised, const std::vector<int16_t>& flat, Range range, double rate) {
    return 10.0 * std::log10(dsptest::EnergyIn(equalised, range.low, range.high, rate) /
                             dsptest::EnergyIn(flat, range.low, range.high, rate));
}

// Band 10 up 12 dB, band 14 down 12 dB: the float engines follow 10^(g/20),
// the integer engine (and the mixed engine's fixed Layer I/II synthesis) the
// flatter 10^(g/30) of the fixed table, which the flat decode does not
// apply at all. No sample is equalised twice: engine 3 on Layer III shows
// the float curve alone.
TEST_F(Equalizer, DecodedNoiseChangesByTheGainOfItsEngineAndDomain) {
    struct Case {
        const char* name;
        std::vector<uint8_t> stream;
        bool layer3;
    };
    const Case streams[] = {
        {"Layer I", dsptest::Layer1Noise(3, 0, 32, 120), false},
        {"Layer II", dsptest::Fixture("noise.mp2"), false},
        {"Layer III", dsptest::Fixture("noise.mp3"), true},
    };
    const Settings settings = With(With(Uniform(0), kBoosted, 12), kCut, -12);
    for (const Case& c : streams) {
        for (int32_t engine = 0; engine < 4; ++engine) {
            const bool fixed = engine == 2 || (engine == 3 && !c.layer3);
            VexaEngine_SetEqualizer(Uniform(0).db);
            const OfflineResult flat = Decode(c.stream, engine);
            ASSERT_EQ(flat.status, 1) << c.name;
            VexaEngine_SetEqualizer(settings.db);
            const std::vector<int16_t> equalised = Left(Decode(c.stream, engine));
            const double rate = flat.sampleRate;
            const double up = GainDb(equalised, Left(flat), MiddleOfBand(kBoosted, c.layer3, rate), rate);
            const double down = GainDb(equalised, Left(flat), MiddleOfBand(kCut, c.layer3, rate), rate);
            // Bands 0..15 are sub-bands 0..15: the band's gain in either domain.
            const auto gain = [fixed](int band) {
                return fixed ? g_equalizer.subbandFixed[band] / 32768.0 : double{g_equalizer.subbandFloat[band]};
            };
            const std::string label = std::string(c.name) + ", engine " + std::to_string(engine);
            EXPECT_NEAR(up, 20.0 * std::log10(gain(kBoosted)), 0.5) << label;
            EXPECT_NEAR(down, 20.0 * std::log10(gain(kCut)), 0.5) << label;
            EXPECT_NEAR(up - down, fixed ? 16.0 : 24.0, 0.5) << label;
        }
    }
}

}  // namespace
