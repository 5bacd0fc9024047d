// The wave output's reset on a real sound device: a private sound server's
// null sink reached through ALSA, its monitor captured. (What the sink
// plays, the position's pace, pauses, seeks and stops in every phase are
// tested end to end with the engine, in tests/engine/playback_test.cpp.)
// The test fails (never skips) when the sound server cannot be started.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "engine/engine_output.h"
#include "engine/engine_record.h"
#include "output/wave_output.h"
#include "platform/wave_device.h"
#include "support/decode_support.h"
#include "support/sound_server.h"

using namespace vexa;
using namespace vexatest;

namespace {

TEST(SoundDevice, AResetSilencesWhatWasQueuedAtOnce) {
    ASSERT_EQ(StartSoundServer(), "");
    platform::WaveSetDeviceName(kTestSinkDevice);
    EngineRecord engine{};
    ResetEngineRecordToDefaults(engine);
    engine.sampleRate = kSinkRate;
    engine.channels = kSinkChannels;
    engine.bytesPerSample = 2;
    engine.recordMode = 0;
    engine.blockCount = 16;
    // 2.6 s of a loud 44.1 kHz stereo stream, then a second of silence.
    std::vector<uint8_t> sound = DecodeIsoVector("l2-fl11", {}).pcm;
    sound.insert(sound.end(), sound.begin(), sound.end());
    const std::vector<uint8_t> silence(kSinkRate * kSinkChannels * 2, 0);
    const auto write = [](const std::vector<uint8_t>& pcm) {
        for (size_t at = 0; at < pcm.size(); at += 128)
            Output_Write(pcm.data() + at, static_cast<int32_t>(std::min<size_t>(128, pcm.size() - at)));
        Output_Flush();
    };
    SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing());
    ASSERT_EQ(OpenEngineOutput(engine), 1) << "the ALSA device " << kTestSinkDevice << " did not open";
    ASSERT_EQ(platform::WaveLastOpenWasSilent(), 0);
    write(sound);
    ASSERT_TRUE(WaitFor([] { return Output_GetPosition() > 500; }, std::chrono::milliseconds(3000)));
    Output_Reset();
    const size_t resetAt = capture.SampleCount();
    write(silence);
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    capture.Stop();
    Output_Close();
    platform::WaveSetDeviceName(nullptr);
    const std::vector<int16_t> heard = capture.Samples();
    // Within 40 ms of the reset the sink hears only the silence (a device
    // that let its buffer play out would be heard for 100 ms).
    const size_t settled = resetAt + kSinkRate * kSinkChannels * 4 / 100;
    ASSERT_GT(heard.size(), settled + kSinkRate);
    EXPECT_LT(PeakIn(heard, settled, heard.size()), 50) << "queued sound went on after the reset";
}

}  // namespace
