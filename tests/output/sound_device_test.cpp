// The wave output on a real sound device: a private sound server's null sink
// reached through ALSA, its monitor captured. What the sink plays must be
// exactly what was written; the position must follow the sound; a pause
// must be silent and hold the position. These tests fail (never skip) when
// the sound server cannot be started.
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

// A sink's monitor never shows the first few ms of a stream that the server
// wrote over audio it had already rendered (a rewind): comparisons start
// this far into a stream.
constexpr size_t kStartSkipSamples = kSinkRate / 20 * kSinkChannels;  // 50 ms

std::vector<int16_t> Stretch(const std::vector<int16_t>& samples, size_t from, size_t to) {
    return std::vector<int16_t>(samples.begin() + static_cast<long>(from), samples.begin() + static_cast<long>(to));
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
    static bool WaitUntilSilent(int timeoutMs) {
        const auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
        while (Output_IsPlaying()) {
            if (Clock::now() > end) return false;
            SleepMs(10);
        }
        return true;
    }
    EngineRecord engine{};
};

TEST_F(SoundDevice, TheSinkPlaysExactlyWhatWasWritten) {
    SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing()) << "parec could not be started";
    const std::vector<int16_t> signal = TestSignal(1.5);
    Open(4);
    std::thread feeder([&] {  // the playback thread's part
        Write(signal);
        Output_Flush();
    });
    feeder.join();
    ASSERT_TRUE(WaitUntilSilent(5000));
    EXPECT_NEAR(Output_GetPosition(), 1500, 15);
    SleepMs(300);
    capture.Stop();
    const std::vector<int16_t> heard = capture.Samples();
    const std::vector<int16_t> expected = Stretch(signal, kStartSkipSamples, signal.size());
    const long offset = FindInCapture(heard, expected);
    ASSERT_GE(offset, 0) << "the signal was not heard";
    ASSERT_GE(heard.size(), static_cast<size_t>(offset) + expected.size()) << "the end was not heard";
    EXPECT_GT(SnrDb(heard, offset, expected), 90.0);
    // Nothing but silence after the stream.
    EXPECT_LT(PeakIn(heard, static_cast<size_t>(offset) + expected.size() + 2000, heard.size()), 50);
}

TEST_F(SoundDevice, ThePositionFollowsRealTime) {
    const std::vector<int16_t> signal = TestSignal(3.0);
    Open(16);  // the whole signal fits the pool: nothing can starve the device
    Write(signal);
    Output_Flush();
    // Skip the start-up; then compare the position's progress with the clock.
    const auto deadline = Clock::now() + std::chrono::seconds(3);
    while (Output_GetPosition() < 800 && Clock::now() < deadline) SleepMs(5);
    const auto t1 = Clock::now();
    const int32_t p1 = Output_GetPosition();
    SleepMs(1500);
    const auto t2 = Clock::now();
    const int32_t p2 = Output_GetPosition();
    const auto elapsedMs = std::chrono::duration_cast<std::chrono::milliseconds>(t2 - t1).count();
    // The position advances with the sound, within 50 ms over 1.5 s.
    EXPECT_NEAR(p2 - p1, elapsedMs, 50) << "p1 " << p1 << " p2 " << p2;
    EXPECT_TRUE(WaitUntilSilent(5000));
    EXPECT_NEAR(Output_GetPosition(), 3000, 15);
}

TEST_F(SoundDevice, PauseIsSilentAndHoldsThePositionAndRestartContinues) {
    SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing());
    const std::vector<int16_t> signal = TestSignal(2.0);
    Open(16);
    Write(signal);  // 10 blocks: all fit in the pool
    Output_Flush();  // starts the device
    SleepMs(800);
    Output_Pause();
    const int32_t held = Output_GetPosition();
    EXPECT_GT(held, 150);
    SleepMs(250);  // let what the server had in flight drain
    const size_t pauseStart = capture.SampleCount();
    SleepMs(600);
    const size_t pauseEnd = capture.SampleCount();
    EXPECT_EQ(Output_GetPosition(), held);
    EXPECT_EQ(Output_IsPlaying(), 1);
    Output_Restart();
    ASSERT_TRUE(WaitUntilSilent(5000));
    EXPECT_NEAR(Output_GetPosition(), 2000, 15);
    SleepMs(200);
    capture.Stop();
    const std::vector<int16_t> heard = capture.Samples();
    ASSERT_GT(pauseEnd, pauseStart + 10000);
    EXPECT_LT(PeakIn(heard, pauseStart, pauseEnd), 50) << "the sink heard sound while paused";
    // The whole signal was heard: the start before the pause and the rest after it.
    const size_t beforePause = static_cast<size_t>(held - 50) * kSinkRate / 1000 * 2;
    const std::vector<int16_t> start = Stretch(signal, kStartSkipSamples, beforePause);
    const long offset = FindInCapture(heard, start);
    ASSERT_GE(offset, 0);
    EXPECT_GT(SnrDb(heard, offset, start), 90.0);
    const std::vector<int16_t> rest(signal.end() - kSinkRate, signal.end());  // the last second
    EXPECT_GE(FindInCapture(std::vector<int16_t>(heard.begin() + static_cast<long>(pauseEnd), heard.end()), rest), 0);
}

TEST_F(SoundDevice, AfterAResetNewBlocksPlayAtOnceAndTheCountRestarts) {
    Open(16);
    Write(TestSignal(2.0));
    Output_Flush();
    ASSERT_TRUE(WaitFor([&] { return Output_GetPosition() > 300; }));
    engine.seekBaseMs = 40000;
    Output_Reset();
    EXPECT_EQ(Output_GetPosition(), 40000);
    Write(TestSignal(2.0));  // ten blocks: the device is not primed again
    SleepMs(1000);
    EXPECT_GT(Output_GetPosition(), 40000 + 600);
}

TEST_F(SoundDevice, ResetAndCloseWhilePausedAreQuick) {
    Open(16);
    Write(TestSignal(2.0));
    Output_Flush();
    ASSERT_TRUE(WaitFor([&] { return Output_GetPosition() > 300; }));
    Output_Pause();
    SleepMs(200);
    const auto start = Clock::now();
    Output_Reset();
    Output_Close();
    EXPECT_LT(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count(), 300);
}

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
