// The equalizer: its gain tables for settings whose results are known, the
// fixed-point overflow guard, the sub-band hook's use of the flag, and, on
// decoded broadband audio, the gain each engine and layer really applies.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <string>

#include "dsp/decoder_hooks.h"
#include "dsp/dsp_test_support.h"
#include "dsp/equalizer.h"
#include "dsp/spectrum_history.h"
#include "engine/offline_decode.h"
#include "support/decode_support.h"
#include "vexaengine.h"

using namespace vexa;

namespace {

using Settings = std::array<int32_t, kEqualizerBands>;

// Every band at `rest`, with band `band` at `value`.
Settings Curve(int32_t rest, int band = 0, int32_t value = 0) {
    Settings s;
    s.fill(rest);
    if (value != 0) s[band] = value;
    return s;
}

class Equalizer : public ::testing::Test {
protected:
    void TearDown() override { VexaEngine_SetEqualizer(Curve(0).data()); }
};

// Each case also runs the sub-band hook on a fixed block: it follows the
// flag at once (flat tables hold 29491, so a stale table would show) and
// leaves Layer III streams, whose lines were equalised already, alone.
TEST_F(Equalizer, GainTablesForKnownSettingsAndTheirUseByTheSubbandHook) {
    struct Case {
        const char* name;
        Settings settings;
        int32_t active;
        float band0Float;    // sub-band 0 and lines 0..1
        int32_t band0Fixed;  // 0: not checked
        float band19Float;   // sub-bands 24..31 and lines 360..575
    } const cases[] = {
        {"flat", Curve(0), 0, 1.0f, 29491, 1.0f},
        {"all +12: flat, the fixed level lower", Curve(12), 1, 1.0f, 18607, 1.0f},
        {"+50 acts as +12", Curve(50), 1, 1.0f, 18607, 1.0f},
        {"band 0 up, the rest down", Curve(-12, 0, 12), 1, 9.096f, 169251, 0.5739f},
        {"+-50 act as +-12", Curve(-50, 0, 50), 1, 9.096f, 169251, 0.5739f},
        {"any small value activates", Curve(0, 7, -1), 1, 1.0f, 0, 1.0f},
    };
    const EqualizerTables& eq = g_equalizer;
    for (const Case& c : cases) {
        VexaEngine_SetEqualizer(c.settings.data());
        EXPECT_EQ(eq.active.load(), c.active) << c.name;
        for (const auto* gain : {&eq.subbandFloat[0], &eq.lineFloat[0], &eq.lineFloat[1]})
            EXPECT_NEAR(gain->load(), c.band0Float, 1e-2) << c.name;
        for (const auto* gain : {&eq.subbandFloat[24], &eq.subbandFloat[31], &eq.lineFloat[360], &eq.lineFloat[575]})
            EXPECT_NEAR(gain->load(), c.band19Float, 1e-2) << c.name;
        for (const auto* gain : {&eq.subbandFixed[0], &eq.lineFixed[0], &eq.lineFixed[1]})
            EXPECT_TRUE(c.band0Fixed == 0 || gain->load() == c.band0Fixed) << c.name << ": " << gain->load();
        for (bool layer3 : {false, true}) {
            ConfigureSpectrumHistory(layer3, SpectrumRing::Integer);
            int32_t block[32];
            std::fill(std::begin(block), std::end(block), 65536);
            SubbandHook(block, -1);
            EXPECT_EQ(block[0], c.active && !layer3 ? 2 * eq.subbandFixed[0] : 65536) << c.name << layer3;
        }
    }
}

TEST(EqualizerFixedGain, ProductsBeyond32BitsNeitherWrapNorFlipSign) {
    const int32_t cases[][3] = {  // sample, gain, product
        {32768, 32768, 32768},               // unity
        {100000, 169251, 516513},            // the 32-bit product would wrap
        {-100000, 169251, -516514},          // arithmetic shift: rounds toward minus infinity
        {1 << 27, 169251, 4096 * 169251},    // the largest input taken as it is
        {INT32_MAX, 169251, 4096 * 169251},  // beyond it (corrupt streams): limited, same sign
        {INT32_MIN, 169251, -4096 * 169251},
    };
    for (const auto& [x, gain, expected] : cases) EXPECT_EQ(ApplyFixedGain(x, gain), expected) << x << " x " << gain;
}

// The hooks' fixed-point kernel, split into 32-bit pieces for speed, gives
// exactly the plain 64-bit product, for samples over the whole int32 range
// and random curves.
TEST_F(Equalizer, TheFixedHooksMatchThePlainProduct) {
    std::mt19937 random(7);
    std::uniform_int_distribution<int32_t> sample(INT32_MIN, INT32_MAX), db(-12, 12), bits(0, 31);
    ConfigureSpectrumHistory(false, SpectrumRing::Integer);
    for (int round = 0; round < 50; ++round) {
        Settings settings;
        for (int32_t& value : settings) value = db(random);
        VexaEngine_SetEqualizer(settings.data());
        int32_t block[32], lines[576], original[576];
        for (int32_t& x : original) x = sample(random) >> bits(random);  // small and large magnitudes
        std::copy(original, original + 32, block);
        std::copy(original, original + 576, lines);
        SubbandHook(block, 0);
        LineHook(lines, 1);
        for (int k = 0; k < 32; ++k) ASSERT_EQ(block[k], ApplyFixedGain(original[k], g_equalizer.subbandFixed[k]));
        for (int k = 0; k < 576; ++k) ASSERT_EQ(lines[k], ApplyFixedGain(original[k], g_equalizer.lineFixed[k]));
    }
}

// The left channel of a decode (the streams are mono).
std::vector<int16_t> DecodeLeft(const std::vector<uint8_t>& stream, int32_t engine, double& rate) {
    const OfflineResult result = vexatest::DecodeStream(stream, vexatest::Settings(engine, 0, 0));
    rate = result.sampleRate;
    return vexatest::AsSamples(result.pcm);
}

// Gain in dB, equalised over flat, in the middle half of equalizer band b
// (b < 16): sub-band b (fs/64 wide), or Layer III lines (fs/1152 wide).
double GainDb(const std::vector<int16_t>& equalised, const std::vector<int16_t>& flat, int b, bool layer3, double fs) {
    static const int kLineBounds[] = {0, 2, 4, 6, 10, 13, 17, 22, 28, 32, 42, 58, 74, 90, 110, 140, 180};
    const double low = layer3 ? kLineBounds[b] * fs / 1152 : b * fs / 64;
    const double high = layer3 ? kLineBounds[b + 1] * fs / 1152 : (b + 1) * fs / 64;
    const double from = low + (high - low) / 4, to = high - (high - low) / 4;
    return 10.0 * std::log10(dsptest::EnergyIn(equalised, from, to, fs) / dsptest::EnergyIn(flat, from, to, fs));
}

// Band 10 up 12 dB, band 14 down 12 dB. The float engines follow their
// table (10^(g/20)), the integer engine and the mixed engine's fixed Layer
// I/II synthesis the flatter fixed table (10^(g/30)), which a flat decode
// does not apply at all. Engine 3 on Layer III shows the float curve alone:
// no sample is equalised twice.
TEST_F(Equalizer, DecodedNoiseChangesByTheGainOfItsEngineAndDomain) {
    struct Case {
        const char* name;
        std::vector<uint8_t> stream;
        bool layer3;
    } const streams[] = {
        {"Layer I", dsptest::Layer1Noise(3, 0, 32, 120), false},
        {"Layer II", dsptest::Fixture("noise.mp2"), false},
        {"Layer III", dsptest::Fixture("noise.mp3"), true},
    };
    Settings settings = Curve(0, 10, 12);
    settings[14] = -12;
    for (const Case& c : streams) {
        for (int32_t engine = 0; engine < 4; ++engine) {
            const bool fixed = engine == 2 || (engine == 3 && !c.layer3);
            const std::string label = std::string(c.name) + ", engine " + std::to_string(engine);
            double fs = 0.0;
            VexaEngine_SetEqualizer(Curve(0).data());
            const std::vector<int16_t> flat = DecodeLeft(c.stream, engine, fs);
            VexaEngine_SetEqualizer(settings.data());
            const std::vector<int16_t> equalised = DecodeLeft(c.stream, engine, fs);
            ASSERT_GT(flat.size(), 20000u) << label;
            // Bands 0..15 are sub-bands 0..15: the band's gain in either domain.
            const auto expectedDb = [fixed](int band) {
                return 20.0 * std::log10(fixed ? g_equalizer.subbandFixed[band] / 32768.0
                                               : double{g_equalizer.subbandFloat[band]});
            };
            const double up = GainDb(equalised, flat, 10, c.layer3, fs);
            const double down = GainDb(equalised, flat, 14, c.layer3, fs);
            EXPECT_NEAR(up, expectedDb(10), 0.5) << label;
            EXPECT_NEAR(down, expectedDb(14), 0.5) << label;
            EXPECT_NEAR(up - down, fixed ? 16.0 : 24.0, 0.5) << label;
        }
    }
}

}  // namespace
