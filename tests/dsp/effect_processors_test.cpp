// The effect processors on their own: impulse responses of the reverb and
// the chorus, the reverb level against the sample rate, the pitch shifter's
// cross-fades, the phaser's sweep, and presets that cannot run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <tuple>
#include <vector>

#include "dsp/chorus.h"
#include "dsp/effect_chain.h"
#include "dsp/preset_effect.h"
#include "dsp/reverb.h"
#include "support/power_spectrum.h"

using namespace vexa;
using namespace vexa::effects;
using vexatest::PowerSpectrum;

namespace {

constexpr int32_t kRate = 44100;

// The preset run on a mono signal.
std::vector<double> ThroughPreset(int32_t preset, const std::vector<double>& input) {
    auto effect = std::make_unique<PresetEffect>();
    effect->Design(preset, kRate);
    std::vector<int16_t> block(input.begin(), input.end());
    effect->ProcessMono(block);
    return {block.begin(), block.end()};
}

TEST(Reverb, AnImpulseReturnsAfterTheEarlyTapAndEachCombsLength) {
    struct Case {
        std::vector<int32_t> types;
        int32_t firstTap;          // the smallest nonzero tap offset
        int32_t combWrap[6];       // comb k returns after wrap + 1 frames
    };
    const Case cases[] = {
        {{1}, 239, {1116, 1192, 1282, 1326, 1408, 1498}},
        {{2}, 263, {1230, 1318, 1446, 1498, 1570, 1692}},
        {{3}, 331, {1510, 1656, 1740, 1846, 1930, 2028}},
        {{0, 7, -1}, 293, {1380, 1470, 1558, 1652, 1732, 1822}},  // other types act as type 0
    };
    auto reverb = std::make_unique<Reverb>();
    for (const Case& c : cases)
        for (const int32_t type : c.types) {
            reverb->Reset(type);
            std::vector<int32_t> response(3000);
            for (size_t n = 0; n < response.size(); ++n) response[n] = reverb->Kernel(n == 0 ? 40000 : 0);
            // The tap reads the impulse o - 1 frames later; a comb gives it back wrap + 1 frames after that.
            const auto first = std::find_if(response.begin(), response.end(), [](int32_t v) { return v != 0; });
            EXPECT_EQ(first - response.begin(), c.firstTap + c.combWrap[0]) << "type " << type;
            for (const int32_t wrap : c.combWrap)
                EXPECT_NE(response[static_cast<size_t>(c.firstTap + wrap)], 0)
                    << "type " << type << ", comb " << wrap;
        }
}

// A mono stream's wet signal matches a stereo stream's for the same sound
// (its one channel carries what both carry in stereo).
TEST(Reverb, TheWetLevelHalvesAtHalfTheSampleRateInStereoAndMono) {
    static EffectSettings settings;
    settings.reverbOn = 1;
    settings.reverbType = 2;
    settings.reverbLevel = 24;
    // Rate, channels, the share of the wet signal at 44,100 Hz in stereo, and
    // the rounding (the kernel's truncations differ with its input's scale).
    const std::tuple<int32_t, int32_t, double, int32_t> cases[] = {
        {44100, 2, 1.0, 0}, {22050, 2, 0.5, 1}, {44100, 1, 1.0, 12}};
    std::vector<int16_t> reference;
    for (const auto& [rate, channels, share, rounding] : cases) {
        PrepareEffects(settings, rate);
        const EffectEntryPoints effects = ChooseEffectEntryPoints(settings, rate, channels);
        std::vector<int16_t> block(static_cast<size_t>(4000 * channels), 0);
        std::fill_n(block.begin(), channels, 12000);
        Output_ProcessBlock(effects, block.data(), static_cast<int32_t>(block.size()));
        std::vector<int16_t> wet;  // the first channel, without the dry impulse
        for (size_t i = 0; i < block.size(); i += static_cast<size_t>(channels))
            wet.push_back(static_cast<int16_t>(block[i] - (i == 0 ? 12000 : 0)));
        if (reference.empty()) reference = wet;
        for (size_t i = 0; i < wet.size(); ++i)
            ASSERT_LE(std::fabs(wet[i] - share * reference[i]), rounding + 0.5)
                << rate << " Hz, " << channels << " channels, frame " << i;
    }
    EXPECT_GT(*std::max_element(reference.begin(), reference.end()), 1000);
}

TEST(Chorus, ZerosStayZeroAndTheTapsSweepOnceEvery196608Frames) {
    auto chorus = std::make_unique<Chorus>();
    chorus->Reset();
    // Where in the sweep the impulse goes in, and the frames until taps A and
    // B give it back: 293 frames at the start of a sweep, 943 at its middle;
    // B runs a quarter ahead.
    const int32_t cases[][3] = {
        {0, 293, 618}, {49152, 618, 943}, {98304, 943, 618}, {147456, 618, 293}, {196608, 293, 618}};
    int32_t frame = 0;
    std::vector<std::pair<int32_t, int32_t>> heard;
    for (const auto& [startFrame, delayA, delayB] : cases) {
        for (; frame < startFrame; ++frame) {
            const Chorus::Taps silent = chorus->Kernel(0);
            ASSERT_EQ(silent.a | silent.b, 0) << "frame " << frame;
        }
        int32_t heardA = -1, heardB = -1;
        for (int32_t n = 0; n < 1200; ++n, ++frame) {
            const Chorus::Taps taps = chorus->Kernel(n == 0 ? 40000 << 12 : 0);
            if (heardA < 0 && taps.a != 0) heardA = n;
            if (heardB < 0 && taps.b != 0) heardB = n;
        }
        // The taps move on while the impulse travels, by up to 7 frames.
        EXPECT_NEAR(heardA, delayA, 8) << "impulse at " << startFrame;
        EXPECT_NEAR(heardB, delayB, 8) << "impulse at " << startFrame;
        heard.push_back({heardA, heardB});
        for (int32_t n = 0; n < 8000; ++n, ++frame) chorus->Kernel(0);  // the feedback dies out
    }
    EXPECT_EQ(heard.front(), heard.back()) << "one sweep later the delays are the same to the frame";
}

// On a steady input the output is steady except while both taps are mixed:
// their gains (sine and cosine) then add up to more than 1. At 44,100 Hz a
// fade takes 529 steps, the last of which lands on the new tap alone, and a
// new one starts after E - trunc(N p3) - 1 held or skipped samples (E =
// 1,543, N = 529), that is after that many samples divided by |p3|.
TEST(PitchShifter, CrossFadesLast529SamplesAndRecurAfterTheDriftRunsOut) {
    const std::pair<int32_t, double> presets[] = {{4, 0.1225}, {6, 0.4983}, {7, -0.1091}, {9, -0.3326}};
    const std::vector<double> steady(60000, 1024.0);
    for (const auto& [preset, p3] : presets) {
        const std::vector<double> out = ThroughPreset(preset, steady);
        const double settled = out[4000];
        std::vector<size_t> starts, lengths;
        for (size_t i = 4000; i < out.size(); ++i) {
            if (out[i] == settled) continue;
            if (starts.empty() || i != starts.back() + lengths.back()) {
                starts.push_back(i);
                lengths.push_back(0);
            }
            ++lengths.back();
        }
        ASSERT_GE(starts.size(), 3u) << "preset " << preset;
        const double skipsBetween = 1543 - std::trunc(529 * p3) - 1;
        for (size_t k = 0; k + 1 < starts.size(); ++k) {
            EXPECT_EQ(lengths[k], 528u) << "preset " << preset;
            EXPECT_NEAR(static_cast<double>(starts[k + 1] - starts[k]), skipsBetween / std::fabs(p3), 1 / std::fabs(p3) + 1)
                << "preset " << preset;
        }
    }
}

// The frequency of the phaser's upper notch (a fixed multiple of its
// all-pass corner) in the window around sample at: the highest deep local
// minimum of output over input power below 6 kHz.
double UpperNotchHz(const std::vector<double>& in, const std::vector<double>& out, size_t at) {
    constexpr size_t kWindow = 2048;
    const std::vector<double> x = PowerSpectrum(in, at - kWindow / 2, kWindow);
    const std::vector<double> y = PowerSpectrum(out, at - kWindow / 2, kWindow);
    std::vector<double> gain(x.size());
    for (size_t i = 2; i + 2 < x.size(); ++i)
        gain[i] = (y[i - 1] + y[i] + y[i + 1]) / (x[i - 1] + x[i] + x[i + 1]);
    for (size_t i = 6000 * kWindow / kRate; i > 4; --i)
        if (gain[i] < 0.25 && gain[i] <= gain[i - 1] && gain[i] <= gain[i + 1])
            return static_cast<double>(i) * kRate / kWindow;
    return 0;
}

TEST(Phaser, TheCornerSweepsExponentiallyUpAndBackOnceASecond) {
    std::vector<double> noise(3 * kRate);
    uint32_t seed = 12345;
    for (double& v : noise) v = static_cast<int32_t>((seed = seed * 1664525u + 1013904223u) >> 16) % 16000 - 8000;
    const std::vector<double> out = ThroughPreset(10, noise);
    const auto notch = [&](double seconds) { return UpperNotchHz(noise, out, static_cast<size_t>(seconds * kRate)); };
    for (const double start : {0.0, 1.0}) {
        const double rising[] = {notch(start + 0.05), notch(start + 0.25), notch(start + 0.45)};
        const double falling[] = {notch(start + 0.55), notch(start + 0.75), notch(start + 0.95)};
        for (int k = 0; k < 2; ++k) {
            EXPECT_GT(rising[k + 1], 2 * rising[k]) << start;
            EXPECT_GT(falling[k], 2 * falling[k + 1]) << start;
            // Equal steps in time multiply the corner by equal factors (2^1.6).
            EXPECT_NEAR(std::log2(rising[k + 1] / rising[k]), 1.6, 0.3) << start;
        }
        EXPECT_NEAR(notch(start + 0.25), notch(start + 1.25), 0.1 * notch(start + 0.25)) << start;
    }
}

// A host's change resets the reverb whenever it asks for the reverb, and
// designs the preset whenever it asks for one, for the last stream's rate.
TEST(EffectChain, SwitchingOnResetsTheReverbAndDesignsThePresetForTheStreamRate) {
    static EffectSettings settings;
    PrepareEffects(settings, 22050);
    const EffectEntryPoints mono = ChooseEffectEntryPoints(settings, 22050, 1);
    const auto run = [&mono](int16_t first, size_t count) {
        std::vector<int16_t> block(count, 0);
        block[0] = first;
        Output_ProcessBlock(mono, block.data(), static_cast<int32_t>(count));
        return block;
    };
    ChangeEffects(settings, {.presetOn = 1, .presetNumber = 2});
    const std::vector<int16_t> echo = run(10000, 1000);
    const auto heard = std::find_if(echo.begin() + 1, echo.end(), [](int16_t v) { return v != 0; });
    EXPECT_EQ(heard - echo.begin(), 278) << "12.5 ms at 22,050 Hz, plus the flanger's three samples";
    ChangeEffects(settings, {.reverbOn = 1, .reverbType = 1, .reverbLevel = 16});
    const std::vector<int16_t> excited = run(20000, 3000);
    EXPECT_TRUE(std::any_of(excited.begin() + 1, excited.end(), [](int16_t v) { return v != 0; }));
    ChangeEffects(settings, {.reverbOn = 1, .reverbType = 1, .reverbLevel = 16});
    const std::vector<int16_t> afterReset = run(0, 3000);
    EXPECT_TRUE(std::all_of(afterReset.begin(), afterReset.end(), [](int16_t v) { return v == 0; }));
    ChangeEffects(settings, {});
}

TEST(PresetEffect, PresetsWithoutARowOrThatDoNotFitTheRateChangeNothing) {
    const std::pair<int32_t, int32_t> cases[] = {{11, kRate}, {-1, kRate}, {-2147483647 - 1, kRate}, {3, 2000000},
                                                 {4, 0},      {4, -44100}, {10, 0},                  {0, 1}};
    auto effect = std::make_unique<PresetEffect>();
    for (const auto& [preset, rate] : cases) {
        effect->Design(preset, rate);
        EXPECT_EQ(effect->processor(), PresetProcessor::None) << preset << " at " << rate;
        std::vector<int16_t> block = {100, -200, 32767, -32768};
        effect->ProcessStereo(block);
        EXPECT_EQ(block, (std::vector<int16_t>{100, -200, 32767, -32768}));
    }
}

}  // namespace
