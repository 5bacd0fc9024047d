// The wave output's reset on a real sound device: a private sound server's
// null sink reached through ALSA, its monitor captured. (What the sink
// plays, the position's pace, pauses, seeks and stops in every phase are
// tested end to end with the engine, in tests/engine/playback_test.cpp.)
// The test fails (never skips) when the sound server cannot be started.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>
#include <vector>

#include "engine/engine_output.h"
#include "engine/engine_record.h"
#include "output/wave_output.h"
#include "platform/wave_device.h"
#include "support/sound_server.h"

using namespace vexa;
using namespace vexatest;

namespace {

using Clock = std::chrono::steady_clock;

void SleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// Two tones that change every 100 ms, so that no shift of the signal
// resembles itself.
std::vector<int16_t> TestSignal(double seconds) {
    const size_t frames = static_cast<size_t>(seconds * kSinkRate);
    std::vector<int16_t> samples(frames * 2);
    for (size_t i = 0; i < frames; ++i) {
        const double t = static_cast<double>(i) / kSinkRate;
        const double step = std::floor(t * 10.0);
        const double left = 9000.0 * std::sin(2 * M_PI * (300.0 + 37.0 * step) * t);
        const double right = 7000.0 * std::sin(2 * M_PI * (510.0 + 23.0 * step) * t + 0.3);
        samples[2 * i] = static_cast<int16_t>(left);
        samples[2 * i + 1] = static_cast<int16_t>(right);
    }
    return samples;
}

template <typename Condition>
bool WaitFor(Condition condition, int timeoutMs = 3000) {
    const auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!condition()) {
        if (Clock::now() > end) return false;
        SleepMs(5);
    }
    return true;
}

class SoundDevice : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string failure = StartSoundServer();
        ASSERT_EQ(failure, "");
        platform::WaveSetDeviceName(kTestSinkDevice);
        ResetEngineRecordToDefaults(engine);
        engine.sampleRate = kSinkRate;
        engine.channels = kSinkChannels;
        engine.bytesPerSample = 2;
        engine.recordMode = 0;
    }
    void TearDown() override {
        Output_Close();
        platform::WaveSetDeviceName(nullptr);
    }
    void Open(int32_t blocks) {
        engine.blockCount = blocks;
        ASSERT_EQ(OpenEngineOutput(engine), 1) << "the ALSA device " << kTestSinkDevice << " did not open";
        ASSERT_EQ(platform::WaveLastOpenWasSilent(), 0);
    }
    static void Write(const std::vector<int16_t>& samples) {
        const auto* bytes = reinterpret_cast<const uint8_t*>(samples.data());
        const size_t total = samples.size() * 2;
        for (size_t at = 0; at < total; at += 128)
            Output_Write(bytes + at, static_cast<int32_t>(std::min<size_t>(128, total - at)));
    }
    EngineRecord engine{};
};

TEST_F(SoundDevice, AResetSilencesWhatWasQueuedAtOnce) {
    SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing());
    Open(16);
    Write(TestSignal(3.0));
    Output_Flush();
    ASSERT_TRUE(WaitFor([&] { return Output_GetPosition() > 500; }));
    Output_Reset();
    const size_t resetAt = capture.SampleCount();
    Write(std::vector<int16_t>(kSinkRate * kSinkChannels, 0));  // a second of silence
    Output_Flush();
    SleepMs(700);
    capture.Stop();
    const std::vector<int16_t> heard = capture.Samples();
    // Within 40 ms of the reset the sink hears only the silence (a device
    // that let its buffer play out would be heard for 100 ms).
    const size_t settled = resetAt + kSinkRate * kSinkChannels * 4 / 100;
    ASSERT_GT(heard.size(), settled + kSinkRate);
    EXPECT_LT(PeakIn(heard, settled, heard.size()), 50) << "queued sound went on after the reset";
}

}  // namespace
