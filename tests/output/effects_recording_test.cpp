// The effect chain as a host hears it: a 44.1 kHz clip recorded
// (record-only) with an effect on, against the same clip recorded dry, in
// 16-bit and 8-bit output. (Effects switched while streams play are in the
// engine's call storm.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "dsp/effect_settings.h"
#include "support/power_spectrum.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexatest;
using vexa::EffectRequest;

namespace {

constexpr size_t kWaveHeaderBytes = 46;
// The last block of a stream is recorded as decoded; stay clear of it.
constexpr size_t kUnprocessedTail = 44100 * 2 / 5 * 2;

// 44,100 Hz joint stereo, where the echo presets' delays are stated.
const std::string kClip = FixturePath("mp3/mpeg1_44k_joint_vbr.mp3");

class EffectsRecording : public ::testing::Test {
protected:
    void SetUp() override { ResetEngine(1); }
    void TearDown() override { ResetEngine(1); }
    // The clip recorded with these effects, as signed sample values (8-bit
    // samples centred on 0).
    std::vector<double> Record(const EffectRequest& e, const std::string& clip = kClip) {
        VexaEngine_SetEffect(e.reverbOn, e.reverbType, e.reverbLevel, e.chorusOn, e.chorusLevel, e.wideOn, e.wideAmount,
                             e.presetOn, e.presetNumber);
        ScratchDir folder;
        EXPECT_EQ(PlayInto(clip, folder.path()), 1);
        while (VexaEngine_GetMode() == VEXA_MODE_PLAYING) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        VexaEngine_Stop();
        const std::vector<uint8_t> file = RecordingIn(folder.path());
        std::vector<double> samples;
        for (size_t i = kWaveHeaderBytes; i + (eightBit ? 0 : 1) < file.size(); i += eightBit ? 1 : 2)
            samples.push_back(eightBit ? file[i] - 128 : static_cast<int16_t>(file[i] | file[i + 1] << 8));
        return samples;
    }
    bool eightBit = false;
};

// The largest departure, over [delay, end), from an echo of dry delayed by
// delay samples, fed back at 0.75 and heard at 0.999 with no dry signal.
// Samples at the limit are left out (the clamp breaks the relation) and
// counted in clamped.
double EchoError(const std::vector<double>& dry, const std::vector<double>& wet, size_t delay, double limit,
                 size_t end, size_t* clamped = nullptr) {
    double worst = 0;
    for (size_t i = delay; i < end; ++i) {
        if (std::fabs(wet[i]) >= limit || std::fabs(wet[i - delay]) >= limit) {
            if (clamped != nullptr) ++*clamped;
            continue;
        }
        worst = std::max(worst, std::fabs(wet[i] - 0.75 * wet[i - delay] - 0.999 * dry[i - delay]));
    }
    return worst;
}

TEST_F(EffectsRecording, WideningAddsTheScaledSideSignalAndClampsAtTheLimits) {
    VexaEngine_SetScale(0, 90000);  // loud, so that a = 32 drives samples past the limits
    const std::vector<double> dry = Record({});
    ASSERT_GT(dry.size(), 4 * kUnprocessedTail);
    for (const int32_t amount : {0, 16, 32}) {
        const std::vector<double> wet = Record({.wideOn = 1, .wideAmount = amount});
        ASSERT_EQ(wet.size(), dry.size());
        size_t mismatches = 0, clamped = 0;
        for (size_t i = 0; i + kUnprocessedTail < dry.size(); i += 2) {
            const auto left = static_cast<int32_t>(dry[i]), right = static_cast<int32_t>(dry[i + 1]);
            const int32_t side = ((left - right) * amount) >> 5;
            mismatches += wet[i] != std::clamp(left + side, -32760, 32760) ||
                          wet[i + 1] != std::clamp(right - side, -32760, 32760);
            clamped += std::fabs(wet[i]) == 32760;
        }
        EXPECT_EQ(mismatches, 0u) << "a = " << amount;
        EXPECT_TRUE(amount < 32 || clamped > 0) << "the loud clip must reach the limits";
    }
}

TEST_F(EffectsRecording, EchoPresetsDelayWithFeedbackAndNoDrySignal) {
    VexaEngine_SetScale(0, 60000);
    const std::vector<double> dry = Record({});
    // Delays in stereo samples: twice the frames at 44,100 Hz.
    for (const auto& [preset, delay] : {std::pair<int32_t, size_t>{2, 2 * 554}, {3, 2 * 1127}}) {
        const std::vector<double> wet = Record({.presetOn = 1, .presetNumber = preset});
        ASSERT_EQ(wet.size(), dry.size());
        const size_t end = dry.size() - kUnprocessedTail;
        EXPECT_TRUE(std::all_of(wet.begin(), wet.begin() + static_cast<long>(delay), [](double v) { return v == 0; }))
            << "preset " << preset << ": nothing is heard before the first echo";
        size_t clamped = 0;
        EXPECT_LE(EchoError(dry, wet, delay, 32760, end, &clamped), 2.0) << "preset " << preset;
        EXPECT_LT(clamped, end / 10);
        EXPECT_GT(EchoError(dry, wet, delay - 2, 32760, end), 100.0) << "one frame less is not the delay";
        EXPECT_GT(EchoError(dry, wet, delay + 2, 32760, end), 100.0) << "one frame more is not the delay";
        const auto [low, high] = std::minmax_element(wet.begin(), wet.end());
        EXPECT_GE(*low, -32760.0);
        EXPECT_LE(*high, 32760.0);
    }
}

TEST_F(EffectsRecording, PitchPresetsShiftASteadySineBySemitones) {
    constexpr size_t kSize = 32768;
    const std::string sine = SharedPath("vectors/iso/l3-sin1k0db.bit");  // a steady 1 kHz sine at 44,100 Hz
    for (const auto& [preset, semitones] : {std::pair{4, 2}, {5, 4}, {6, 7}, {7, -2}, {8, -4}, {9, -7}}) {
        const std::vector<double> stereo = Record({.presetOn = 1, .presetNumber = preset}, sine);
        std::vector<double> left;
        for (size_t i = 0; i < stereo.size(); i += 2) left.push_back(stereo[i]);
        ASSERT_GT(left.size(), 2 * kSize);
        const double hz = PeakBin(PowerSpectrum(left, kSize / 2, kSize)) * 44100 / kSize;
        EXPECT_NEAR(hz / 1000, std::pow(2.0, semitones / 12.0), 0.005) << "preset " << preset;
    }
}

// 8-bit output runs the chain on the samples widened to 16 bits: the echo
// preset is heard in an 8-bit recording at 8-bit precision, and a preset
// without a processor passes the clip through unchanged.
TEST_F(EffectsRecording, EightBitOutputRunsTheChainOnWidenedSamples) {
    VexaEngine_Set8bitResolution(1);
    eightBit = true;
    const std::vector<double> dry = Record({});
    EXPECT_TRUE(Record({.presetOn = 1, .presetNumber = 11}) == dry);
    const std::vector<double> wet = Record({.presetOn = 1, .presetNumber = 2});
    ASSERT_EQ(wet.size(), dry.size());
    const size_t end = dry.size() - kUnprocessedTail / 2;
    EXPECT_LE(EchoError(dry, wet, 2 * 554, 127, end), 3.0);
    EXPECT_GT(EchoError(dry, wet, 2 * 553, 127, end), 6.0);
}

}  // namespace
