// The effect chain as a host hears it: a 44.1 kHz clip recorded (record-only)
// with an effect on, against the same clip recorded dry. Also 8-bit output,
// and effects switched from several host threads while the stream plays.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "output/wave_record.h"
#include "support/sound_server.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexatest;

namespace {

constexpr size_t kWaveHeaderBytes = 46;
// The last block of a stream is recorded as decoded; stay clear of it.
constexpr size_t kUnprocessedTail = 44100 * 2 / 5 * 2;

struct Effects {
    int32_t reverbOn = 0, reverbType = 0, reverbLevel = 0, chorusOn = 0, chorusLevel = 0;
    int32_t wideOn = 0, wideAmount = 0, presetOn = 0, presetNumber = 0;
};

void Apply(const Effects& e) {
    VexaEngine_SetEffect(e.reverbOn, e.reverbType, e.reverbLevel, e.chorusOn, e.chorusLevel, e.wideOn, e.wideAmount,
                         e.presetOn, e.presetNumber);
}

// 44,100 Hz joint stereo, where the echo presets' delays are stated.
std::string Clip() { return FixturePath("mp3/mpeg1_44k_joint_vbr.mp3"); }

class EffectsRecording : public ::testing::Test {
protected:
    void SetUp() override {
        VexaEngine_Stop();
        VexaEngine_SetEngine(0);
        VexaEngine_SetQuality(0);
        VexaEngine_SetChannel(0);
        VexaEngine_Set8bitResolution(0);
        VexaEngine_SetScale(0, 30000);
        VexaEngine_SetOutputOptions(1, 16, 1, 0);
    }
    void TearDown() override {
        VexaEngine_Stop();
        Apply({});
        VexaEngine_Set8bitResolution(0);
        VexaEngine_SetScale(0, 30000);
        VexaEngine_SetOutputOptions(0, 16, 1, 0);
    }
    // The clip recorded with these effects: the WAV file's data bytes.
    std::vector<uint8_t> Record(const Effects& effects) {
        Apply(effects);
        ScratchDir folder;
        char recordFolder[256] = {};
        char saveFolder[256] = {};
        folder.path().copy(recordFolder, 255);
        vexa::SetRecordCounter(1);
        EXPECT_EQ(VexaEngine_Play(nullptr, Clip().c_str(), 0, recordFolder, 1, saveFolder), 1);
        while (VexaEngine_GetMode() == VEXA_MODE_PLAYING) SleepBriefly();
        VexaEngine_Stop();
        std::vector<uint8_t> file = ReadWholeFile(folder.File("01-mpeg1_44k_joint_vbr.wav"));
        if (file.size() < kWaveHeaderBytes) return {};
        return {file.begin() + kWaveHeaderBytes, file.end()};
    }
    std::vector<int16_t> Record16(const Effects& effects) {
        const std::vector<uint8_t> bytes = Record(effects);
        std::vector<int16_t> samples(bytes.size() / 2);
        std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
        return samples;
    }
    static void SleepBriefly() { std::this_thread::sleep_for(std::chrono::milliseconds(5)); }
};

int32_t ClampToLimit(int32_t v) { return std::clamp(v, -32760, 32760); }

// The largest departure from an echo of dry delayed by delay samples, fed
// back by feedback and heard at wetGain with no dry signal: wet[i] - feedback
// * wet[i - delay] against wetGain * dry[i - delay]. Samples at the limit are
// left out (the clamp breaks the relation); they are counted in clamped.
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

template <class Sample>
std::vector<double> Centered(const std::vector<Sample>& samples, int zero) {
    std::vector<double> out(samples.size());
    for (size_t i = 0; i < samples.size(); ++i) out[i] = static_cast<double>(samples[i]) - zero;
    return out;
}

TEST_F(EffectsRecording, WideningAddsTheScaledSideSignalAndClampsAtTheLimits) {
    VexaEngine_SetScale(0, 90000);  // loud, so that a = 32 drives samples past the limits
    const std::vector<int16_t> dry = Record16({});
    ASSERT_GT(dry.size(), 4 * kUnprocessedTail);
    for (const int32_t amount : {0, 16, 32}) {
        Effects effects;
        effects.wideOn = 1;
        effects.wideAmount = amount;
        const std::vector<int16_t> wet = Record16(effects);
        ASSERT_EQ(wet.size(), dry.size());
        size_t mismatches = 0, clamped = 0;
        for (size_t i = 0; i + kUnprocessedTail < dry.size(); i += 2) {
            const int32_t side = ((dry[i] - dry[i + 1]) * amount) >> 5;
            mismatches += wet[i] != ClampToLimit(dry[i] + side) || wet[i + 1] != ClampToLimit(dry[i + 1] - side);
            clamped += std::abs(wet[i]) == 32760;
        }
        EXPECT_EQ(mismatches, 0u) << "a = " << amount;
        if (amount == 32) {
            EXPECT_GT(clamped, 0u) << "the loud clip must reach the limits";
        }
    }
}

TEST_F(EffectsRecording, EchoPresetsDelayWithFeedbackAndNoDrySignal) {
    VexaEngine_SetScale(0, 60000);
    const std::vector<double> dry = Centered(Record16({}), 0);
    struct Case {
        int32_t preset;
        size_t delayFrames;  // at 44,100 Hz
    };
    for (const Case c : {Case{2, 554}, Case{3, 1127}}) {
        Effects effects;
        effects.presetOn = 1;
        effects.presetNumber = c.preset;
        const std::vector<double> wet = Centered(Record16(effects), 0);
        ASSERT_EQ(wet.size(), dry.size());
        const size_t end = dry.size() - kUnprocessedTail;
        const size_t delay = 2 * c.delayFrames;
        EXPECT_TRUE(std::all_of(wet.begin(), wet.begin() + static_cast<long>(delay), [](double v) { return v == 0; }))
            << "preset " << c.preset << ": nothing is heard before the first echo";
        size_t clamped = 0;
        EXPECT_LE(EchoError(dry, wet, delay, 32760, end, &clamped), 2.0) << "preset " << c.preset;
        EXPECT_LT(clamped, end / 10);
        EXPECT_GT(EchoError(dry, wet, delay - 2, 32760, end), 100.0) << "one frame less is not the delay";
        EXPECT_GT(EchoError(dry, wet, delay + 2, 32760, end), 100.0) << "one frame more is not the delay";
        EXPECT_LE(*std::max_element(wet.begin(), wet.end()), 32760.0);
        EXPECT_GE(*std::min_element(wet.begin(), wet.end()), -32760.0);
    }
}

TEST_F(EffectsRecording, PresetsWithoutAProcessorPassTheClipThroughUnchanged) {
    const std::vector<uint8_t> dry = Record({});
    for (const int32_t preset : {11, 12, 1000, -1}) {
        Effects effects;
        effects.presetOn = 1;
        effects.presetNumber = preset;
        EXPECT_TRUE(Record(effects) == dry) << "preset " << preset;
    }
}

// 8-bit output runs the chain on the samples widened to 16 bits: the echo
// preset is heard in an 8-bit recording at 8-bit precision.
TEST_F(EffectsRecording, EightBitOutputRunsTheChainOnWidenedSamples) {
    VexaEngine_Set8bitResolution(1);
    const std::vector<uint8_t> dryBytes = Record({});
    Effects passThrough;
    passThrough.presetOn = 1;
    passThrough.presetNumber = 11;
    EXPECT_TRUE(Record(passThrough) == dryBytes);
    Effects echo;
    echo.presetOn = 1;
    echo.presetNumber = 2;
    const std::vector<double> wet = Centered(Record(echo), 128);
    const std::vector<double> dry = Centered(dryBytes, 128);
    ASSERT_EQ(wet.size(), dry.size());
    const size_t end = dry.size() - kUnprocessedTail / 2;
    EXPECT_LE(EchoError(dry, wet, 2 * 554, 127, end), 3.0);
    EXPECT_GT(EchoError(dry, wet, 2 * 553, 127, end), 6.0);
}

// Host threads switch every effect on and off while the stream plays and
// another host thread stops and restarts it: nothing crashes, the thread
// sanitizer stays quiet, and the stream still plays to its end after.
void SwitchEffectsWhilePlaying(const char* device) {
    std::atomic<bool> done{false};
    std::vector<std::thread> switchers;
    for (int t = 0; t < 2; ++t) {
        switchers.emplace_back([&done, t] {
            for (int32_t i = 0; !done; ++i) {
                const int32_t bits = i * 7 + t * 3;
                VexaEngine_SetEffect(bits & 1, i % 5, 20, bits & 2, 6, bits & 4, 16, bits & 8, (i / 3) % 13 - 1);
                std::this_thread::sleep_for(std::chrono::milliseconds(1 + t));
            }
        });
    }
    ScratchDir folder;
    char recordFolder[256] = {};
    char saveFolder[256] = {};
    folder.path().copy(recordFolder, 255);
    VexaEnginePosix_SetWaveDevice(device);
    for (int run = 0; run < 3; ++run) {
        EXPECT_EQ(VexaEngine_Play(nullptr, Clip().c_str(), 0, recordFolder, 1, saveFolder), 1);
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
        VexaEngine_Stop();
    }
    done = true;
    for (std::thread& switcher : switchers) switcher.join();
    Apply({});
    VexaEnginePosix_SetWaveDevice(nullptr);
}

TEST_F(EffectsRecording, SwitchingEffectsWhileRecordingIsSafe) {
    SwitchEffectsWhilePlaying(nullptr);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
}

TEST_F(EffectsRecording, SwitchingEffectsWhilePlayingOnTheSoundServerIsSafe) {
    ASSERT_EQ(StartSoundServer(), "");
    VexaEngine_SetOutputOptions(0, 16, 1, 0);
    SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing());
    SwitchEffectsWhilePlaying(kTestSinkDevice);
    const std::vector<int16_t> heard = capture.Samples();
    EXPECT_GT(PeakIn(heard, 0, heard.size()), 1000) << "the clip was heard while the effects changed";
}

}  // namespace
