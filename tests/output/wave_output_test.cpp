// The wave output's block pool on the silent device (which plays in real
// time): dispatch rules, priming, the throttle, flush of a short stream,
// reset, close, the level-scan path and the position; and the reset on a
// real sound device. (What the sink plays, the position's pace, pauses,
// seeks and stops in every phase are tested end to end with the engine, in
// tests/engine/playback_test.cpp.)
#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "engine/engine_output.h"
#include "engine/engine_record.h"
#include "engine/level_scan.h"
#include "output/wave_output.h"
#include "platform/platform.h"
#include "platform/posix/wave_sink.h"
#include "platform/wave_device.h"
#include "support/decode_support.h"
#include "support/sound_server.h"
#include "support/test_support.h"

using namespace vexa;

namespace {

// 8000 Hz mono 16-bit: 16000 bytes per second, blocks of 3200 bytes (200 ms).
constexpr int32_t kRate = 8000;
constexpr int32_t kBlockBytes = 3200;

using platform::SleepMs;
using vexatest::WriteToOutput;

class WaveOutput : public ::testing::Test {
protected:
    void SetUp() override {
        platform::WaveSetDeviceName("null");
        ResetEngineRecordToDefaults(engine);
        engine.sampleRate = kRate;
        engine.channels = 1;
        engine.bytesPerSample = 2;
        engine.recordMode = 0;
    }
    void TearDown() override {
        Output_Close();
        platform::WaveSetDeviceName(nullptr);
    }
    void Open(int32_t blocks) {
        engine.blockCount = blocks;
        ASSERT_EQ(OpenEngineOutput(engine), 1);
    }
    // Writes bytes of value in decoder-sized chunks.
    static void WriteBytes(int32_t bytes, uint8_t value = 0x11) {
        WriteToOutput(std::vector<uint8_t>(static_cast<size_t>(bytes), value), false);
    }
    EngineRecord engine{};
};

TEST_F(WaveOutput, AChunkThatExactlyFillsTheBlockDoesNotDispatchIt) {
    Open(16);
    WriteBytes(kBlockBytes);
    EXPECT_EQ(g_waveOutput.fill, kBlockBytes);
    EXPECT_EQ(g_waveOutput.written, 0);
    WriteBytes(2);
    EXPECT_EQ(g_waveOutput.written, 1);
    EXPECT_EQ(g_waveOutput.fill, 2);
    // The queued block moved to entry 0 with its fill as length.
    EXPECT_EQ(platform::WaveBlockQueued(g_waveOutput.blocks[0]), 1u);
    EXPECT_EQ(platform::WaveBlockLength(g_waveOutput.blocks[0]), static_cast<uint32_t>(kBlockBytes));
}

TEST_F(WaveOutput, SixteenBlocksPrimeAPausedDeviceUntilTheFifteenthIsQueued) {
    Open(16);
    const auto start = std::chrono::steady_clock::now();
    WriteBytes(14 * kBlockBytes + 2);  // 14 blocks dispatched, with one priming sleep each
    EXPECT_GE(std::chrono::steady_clock::now() - start, 14 * std::chrono::milliseconds(kPrimingSleepMs));
    EXPECT_EQ(g_waveOutput.written, 14);
    SleepMs(150);
    EXPECT_EQ(Output_GetPosition(), 0) << "the device must stay paused while priming";
    WriteBytes(kBlockBytes);  // the 15th block ends the priming
    EXPECT_EQ(g_waveOutput.written, 15);
    SleepMs(150);
    EXPECT_GT(Output_GetPosition(), 50);
}

// What was pending is dropped with the queue (no old sound after a seek).
TEST_F(WaveOutput, ResetDropsThePendingBytesAndRestartsTheCount) {
    Open(16);
    WriteBytes(5 * kBlockBytes + 100, 0x7F);
    ASSERT_EQ(g_waveOutput.written, 5);
    engine.seekBaseMs = 12345;
    Output_Reset();
    EXPECT_EQ(g_waveOutput.fill, 0);
    EXPECT_EQ(g_waveOutput.written, 0);
    EXPECT_EQ(Output_IsPlaying(), 0);
    // The device counts from 0 again, so the position is the seek base, and
    // it runs without a new priming: new blocks play at once.
    EXPECT_EQ(Output_GetPosition(), 12345);
    WriteBytes(kBlockBytes + 2);
    SleepMs(120);
    EXPECT_GT(Output_GetPosition(), 12345 + 50);
}

// A private sound server's null sink reached through ALSA, its monitor
// captured; the test fails (never skips) when the server cannot be started.
TEST_F(WaveOutput, AResetSilencesWhatWasQueuedOnASoundDeviceAtOnce) {
    ASSERT_EQ(vexatest::StartSoundServer(), "");
    platform::WaveSetDeviceName(vexatest::kTestSinkDevice);
    engine.sampleRate = vexatest::kSinkRate;
    engine.channels = vexatest::kSinkChannels;
    // 2.6 s of a loud 44.1 kHz stereo stream, then a second of silence.
    std::vector<uint8_t> sound = vexatest::DecodeIsoVector("l2-fl11", {}).pcm;
    sound.insert(sound.end(), sound.begin(), sound.end());
    const std::vector<uint8_t> silence(vexatest::kSinkRate * vexatest::kSinkChannels * 2, 0);
    vexatest::SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing());
    Open(16);
    ASSERT_EQ(platform::WaveLastOpenWasSilent(), 0) << "the ALSA device did not open";
    WriteToOutput(sound);
    ASSERT_TRUE(vexatest::WaitFor([] { return Output_GetPosition() > 500; }, std::chrono::milliseconds(3000)));
    Output_Reset();
    const size_t resetAt = capture.SampleCount();
    WriteToOutput(silence);
    SleepMs(700);
    capture.Stop();
    const std::vector<int16_t> heard = capture.Samples();
    // Within 40 ms of the reset the sink hears only the silence (a device
    // that let its buffer play out would be heard for 100 ms).
    const size_t settled = resetAt + vexatest::kSinkRate * vexatest::kSinkChannels * 4 / 100;
    ASSERT_GT(heard.size(), settled + vexatest::kSinkRate);
    EXPECT_LT(vexatest::PeakIn(heard, settled, heard.size()), 50) << "queued sound went on after the reset";
}

// On a sink that holds its sound, and on one that cannot (what it holds is
// dropped at the pause and written again at the restart): the position
// stands still while paused, and every byte is played exactly once.
TEST_F(WaveOutput, PauseHoldsThePositionAndRestartPlaysEveryByteOnce) {
    for (const bool hardwarePause : {true, false}) {
        SCOPED_TRACE(hardwarePause ? "hardware pause" : "no hardware pause");
        platform::WaveDenyHardwarePause(!hardwarePause);
        Open(3);
        WriteBytes(2 * kBlockBytes);
        Output_Flush();
        SleepMs(130);
        Output_Pause();
        const int32_t held = Output_GetPosition();
        SleepMs(150);
        EXPECT_EQ(Output_GetPosition(), held);
        EXPECT_EQ(Output_IsPlaying(), 1);
        Output_Restart();
        ASSERT_TRUE(vexatest::WaitFor([] { return !Output_IsPlaying(); }, std::chrono::milliseconds(2000)));
        EXPECT_EQ(Output_GetPosition(), 2 * kBlockBytes * 1000 / (2 * kRate));
        Output_Close();
        platform::WaveDenyHardwarePause(false);
    }
}

TEST_F(WaveOutput, TheLevelScanMeasuresBlocksAndNeverPlaysThem) {
    engine.levelScanPending = 1;
    engine.outputScale = kLevelScanStartScale;
    Open(16);
    // A square wave of amplitude 12000: mean square 1.44e8 lowers the scale
    // once, by 8e7 / 1.44e8. The chunk that overflows the measured block is
    // dropped with it, so the flush has nothing left to measure.
    std::vector<uint8_t> loud;  // -12000, 12000, ... as little-endian 16-bit samples
    for (int i = 0; i < kBlockBytes / 4; ++i) loud.insert(loud.end(), {0x20, 0xD1, 0xE0, 0x2E});
    WriteToOutput(loud, false);
    WriteBytes(2, 0);
    EXPECT_EQ(g_waveOutput.fill, 0);
    Output_Flush();
    EXPECT_EQ(g_waveOutput.written, 0);
    EXPECT_EQ(Output_IsPlaying(), 0);
    EXPECT_EQ(Output_GetPosition(), 0);
    EXPECT_EQ(engine.outputScale, static_cast<int32_t>(kLevelScanStartScale * (80000000.0 / (12000.0 * 12000.0))));
}

// Failed opens, closes twice or before any open, and writes to a closed
// output do no harm and leave nothing behind.
TEST_F(WaveOutput, FailedOpensAndExtraClosesLeaveNothingBehind) {
    Output_Close();
    const struct {
        const char* name;
        const char* device;
        int32_t blocks, failAllocation;  // fail the nth allocation (0: none)
        int32_t result;
    } cases[] = {
        {"no pool", "null", 0, 0, kErrResources},
        {"the third block", "null", 4, 3, kErrResources},
        {"a named device that does not exist", "no_such_device_here", 4, 0, kErrOutput},
        {"opened", "null", 4, 0, 1},
    };
    for (const auto& c : cases) {
        platform::WaveSetDeviceName(c.device);
        engine.blockCount = c.blocks;
        if (c.failAllocation > 0) platform::InjectFault(platform::Fault::Allocation, 1, c.failAllocation - 1);
        EXPECT_EQ(OpenEngineOutput(engine), c.result) << c.name;
        platform::InjectFault(platform::Fault::Allocation, 0);
        if (c.result == 1) WriteBytes(3 * kBlockBytes);
        Output_Close();
        Output_Close();
        EXPECT_EQ(g_waveOutput.blocks, nullptr) << c.name;
        EXPECT_EQ(g_waveOutput.device.load(), nullptr) << c.name;
    }
    // Closed: the record-only position, nothing playing, writes dropped.
    engine.decodePosMs = 777;
    EXPECT_EQ(Output_GetPosition(), 777);
    EXPECT_EQ(Output_IsPlaying(), 0);
    WriteBytes(128);
}

// MeasureLevel: mean square against the fixed limit, pairs by their louder
// channel, never below the floor, inactive once the scale is under it.
TEST(MeasureLevel, LowersTheScaleOnlyForLoudBlocks) {
    const struct {
        const char* name;
        int32_t channels;
        std::vector<int16_t> samples;
        int32_t scaleBefore, result, scaleAfter;
    } cases[] = {
        {"quiet stereo", 2, {1000, -1000, 2000, 0}, 128000, 1, 128000},
        // pairs (20000, 0) and (0, -20000): S = 2 * 4e8, mean over 4 samples 2e8, ratio 0.4
        {"loud stereo uses the louder channel", 2, {20000, 0, 0, -20000}, 128000, 1, 51200},
        // mono: every sample counts, mean 4e8, ratio 0.2
        {"loud mono", 1, {20000, -20000}, 128000, 1, 25600},
        {"floor", 1, {32000, 32000}, 30000, 1, 20000},
        {"below the floor nothing is measured", 1, {32000, 32000}, 19999, 0, 19999},
        {"silence", 2, {0, 0, 0, 0}, 128000, 1, 128000},
    };
    for (const auto& c : cases) {
        EngineRecord engine{};
        ResetEngineRecordToDefaults(engine);
        engine.channels = c.channels;
        engine.outputScale = c.scaleBefore;
        EXPECT_EQ(MeasureLevel(engine, c.samples.data(), static_cast<int32_t>(c.samples.size())), c.result) << c.name;
        EXPECT_EQ(engine.outputScale, c.scaleAfter) << c.name;
    }
}

}  // namespace
