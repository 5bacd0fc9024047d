// The first frame after a seek. Decoding without delivery (the pre-roll of a
// seek) is held by the seek in layer3_playback_test, damaged streams in
// tests/decoder.
#include <gtest/gtest.h>

#include "decoder/decoder.h"
#include "decoder/layer3_state.h"
#include "engine/offline_decode.h"
#include "stream/frame_reader.h"
#include "support/decode_support.h"
#include "support/test_support.h"

using namespace vexa;

namespace {

TEST(Layer3Stream, FirstFrameAfterASeekReadsZeroReservoirBytes) {
    const auto stream = vexatest::ReadWholeFile(vexatest::FixturePath("mp3/mpeg1_48k_stereo_cbr.mp3"));
    const std::vector<vexatest::FrameAt> frames = vexatest::WalkFrames(stream);
    ASSERT_GT(frames.size(), 20u);
    MemorySource source(stream.data(), static_cast<uint32_t>(stream.size()));
    ASSERT_EQ(OpenOfflineStream(source, vexatest::ReferenceScaleSettings(1)), 1);
    // Seek as playback does: reposition, reset without forgetting the stream.
    ASSERT_TRUE(source.Reposition(frames[20].offset));
    ResetFrameReader(false);
    ResetDecoderState();
    ASSERT_TRUE(ReadNextFrame(source, g_header));
    const uint8_t* mainData = g_frameReader.currentFrame + g_frameReader.sideInfoLengthWithCrc;
    DecodeFrame(g_header, 1);
    const int32_t begin = g_layer3.sideInfo.main_data_begin;
    ASSERT_GT(begin, 0) << "the fixture's frame 20 uses the reservoir";
    for (int i = 1; i <= begin; ++i) ASSERT_EQ(mainData[-i], 0) << i;
    // The stream goes on decoding normally.
    const int overruns = g_layer3.overrunFrames;
    for (int i = 0; i < 8 && ReadNextFrame(source, g_header); ++i) DecodeFrame(g_header, 1);
    EXPECT_EQ(g_layer3.overrunFrames, overruns);
}

}  // namespace
