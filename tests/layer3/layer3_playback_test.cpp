// An MP3 through the playback thread: the length of a VBR file from its Xing
// header, and a seek whose pre-roll refills the reservoir and the overlap so
// that the audio after the seek is exactly what an uninterrupted decode
// gives. Plays in record-only mode into a scratch folder (no sound device).
#include <gtest/gtest.h>

#include <chrono>

#include "engine/offline_decode.h"
#include "stream/big_endian.h"
#include "stream/frame_reader.h"
#include "stream/seek_position.h"
#include "support/decode_support.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexa;

namespace {

TEST(Layer3Playback, SeekPreRollRefillsTheReservoirAndXingGivesTheLength) {
    const std::string path = vexatest::FixturePath("mp3/mpeg1_44k_joint_vbr.mp3");
    const std::vector<uint8_t> stream = vexatest::ReadWholeFile(path);
    const OfflineResult whole = vexatest::DecodeStream(stream, {});
    ASSERT_EQ(whole.status, 1);
    ASSERT_TRUE(whole.header.xingPresent);
    // The audio frames; the Xing frame in front of them is not one.
    const std::vector<vexatest::FrameAt> frames = vexatest::WalkFrames(stream);
    FrameHeader xing{};
    const uint32_t xingBytes = static_cast<uint32_t>(ParseFrameHeader(BigEndian32(stream.data()), xing)) + 4;

    vexatest::ScratchDir scratch;
    vexatest::ResetEngine(1);  // at the offline decode's scale
    ASSERT_EQ(vexatest::PlayInto(path, scratch.path()), 1);
    VexaEngine_Pause();
    // VBR: the length comes from the Xing frame count, 1152 samples at 44.1 kHz each.
    EXPECT_EQ(VexaEngine_GetLength(), static_cast<int32_t>(whole.header.xingFrames * 1152.0 / 44100.0 * 1000.0 + 0.5));
    if (VexaEngine_GetMode() != VEXA_MODE_PAUSED) {
        VexaEngine_Stop();
        GTEST_SKIP() << "the stream ended before it could be paused for the seek";
    }
    ASSERT_EQ(VexaEngine_Seek(static_cast<uint32_t>(VexaEngine_GetLength() / 2)), 1);
    const bool ended = vexatest::WaitFor([] { return VexaEngine_GetMode() == VEXA_MODE_ENDED; }, std::chrono::seconds(20));
    VexaEngine_Stop();
    ASSERT_TRUE(ended);

    // The seek lands on the first frame at or after the position; after the
    // pre-roll of eight frames, output resumes eight frames later.
    const uint32_t target = SeekBytePosition(static_cast<uint32_t>(stream.size()), whole.header, 50.0f);
    size_t seekFrame = 0;
    while (seekFrame < frames.size() && xingBytes + frames[seekFrame].offset < target) ++seekFrame;
    const size_t firstDelivered = seekFrame + 8;
    ASSERT_LT(firstDelivered, static_cast<size_t>(whole.framesDecoded));
    const size_t tail = (static_cast<size_t>(whole.framesDecoded) - firstDelivered) * 1152 * 2;
    const std::vector<uint8_t> recording = vexatest::RecordingIn(scratch.path());
    ASSERT_GE(recording.size(), 46u);
    const std::vector<int16_t> recorded = vexatest::AsSamples({recording.begin() + 46, recording.end()});
    const std::vector<int16_t> wholeSamples = vexatest::AsSamples(whole.pcm);
    ASSERT_GE(recorded.size(), tail);
    for (size_t i = 0; i < tail; ++i) {
        ASSERT_EQ(recorded[recorded.size() - tail + i], wholeSamples[wholeSamples.size() - tail + i])
            << "sample " << i << " of " << tail << " after the seek";
    }
    // The pre-roll frames themselves were not delivered: what precedes the
    // tail in the recording is audio from before the seek, not the last
    // pre-roll frame.
    const size_t frame = 1152 * 2;
    if (recorded.size() >= tail + frame) {
        size_t same = 0;
        for (size_t i = 0; i < frame; ++i)
            same += recorded[recorded.size() - tail - frame + i] == wholeSamples[wholeSamples.size() - tail - frame + i];
        EXPECT_LT(same, frame / 2);
    }
}

}  // namespace
