// The first frame after a seek, and decoding without delivery (the pre-roll
// of a seek). Damaged streams are held in tests/decoder.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "decoder/bit_reader.h"
#include "decoder/decoder.h"
#include "decoder/layer3.h"
#include "decoder/layer3_state.h"
#include "engine/engine_record.h"
#include "engine/offline_decode.h"
#include "stream/frame_reader.h"
#include "support/decode_support.h"
#include "support/test_support.h"

using namespace vexa;

namespace {

std::vector<uint8_t> Fixture(const char* name) {
    return vexatest::ReadWholeFile(vexatest::FixturePath(std::string("mp3/") + name + ".mp3"));
}

class Layer3Stream : public ::testing::Test {
protected:
    void Open(const std::vector<uint8_t>& stream, int channelSelect = -1) {
        OfflineSettings settings;
        settings.engineKind = 1;
        settings.channelSelect = channelSelect;
        settings.outputScale = 32000;
        source_ = std::make_unique<MemorySource>(stream.data(), static_cast<uint32_t>(stream.size()));
        ASSERT_EQ(OpenOfflineStream(*source_, settings), 1);
        SetPcmSink(CountPcm);
        blocks_ = 0;
    }
    void TearDown() override { SetPcmSink(nullptr); }
    static void CountPcm(const uint8_t*, int32_t) { ++blocks_; }

    std::unique_ptr<MemorySource> source_;
    static int blocks_;
};
int Layer3Stream::blocks_ = 0;

TEST_F(Layer3Stream, FirstFrameAfterASeekReadsZeroReservoirBytes) {
    const auto stream = Fixture("mpeg1_48k_stereo_cbr");
    const std::vector<vexatest::FrameAt> frames = vexatest::WalkFrames(stream);
    ASSERT_GT(frames.size(), 20u);
    Open(stream);
    // Seek as playback does: reposition, reset without forgetting the stream.
    ASSERT_TRUE(source_->Reposition(frames[20].offset));
    ResetFrameReader(false);
    ResetDecoderState();
    ASSERT_TRUE(ReadNextFrame(*source_, g_header));
    const uint8_t* mainData = g_frameReader.currentFrame + g_frameReader.sideInfoLengthWithCrc;
    DecodeFrame(g_header, 1);
    const int32_t begin = g_layer3.sideInfo.main_data_begin;
    ASSERT_GT(begin, 0) << "the fixture's frame 20 uses the reservoir";
    for (int i = 1; i <= begin; ++i) ASSERT_EQ(mainData[-i], 0) << i;
    // The stream goes on decoding normally.
    const int overruns = g_layer3.overrunFrames;
    for (int i = 0; i < 8 && ReadNextFrame(*source_, g_header); ++i) DecodeFrame(g_header, 1);
    EXPECT_EQ(g_layer3.overrunFrames, overruns);
}

TEST_F(Layer3Stream, DeliverZeroHandsNothingOnButAdvancesTheOverlap) {
    const auto stream = Fixture("mpeg1_48k_stereo_cbr");
    Open(stream);
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(ReadNextFrame(*source_, g_header));
    const int32_t toggles[2] = {g_layer3.overlapToggle[0], g_layer3.overlapToggle[1]};
    double before[576];
    std::memcpy(before, g_layer3.dual.overlap[1 - toggles[0]][0], sizeof before);
    DecodeFrame(g_header, 0);
    EXPECT_EQ(blocks_, 0);
    // Two granules: each channel's toggle flips twice.
    EXPECT_EQ(g_layer3.overlapToggle[0], toggles[0]);
    EXPECT_EQ(g_layer3.overlapToggle[1], toggles[1]);
    EXPECT_NE(std::memcmp(before, g_layer3.dual.overlap[1 - toggles[0]][0], sizeof before), 0);
    ASSERT_TRUE(ReadNextFrame(*source_, g_header));
    DecodeFrame(g_header, 1);
    EXPECT_EQ(blocks_, 36);  // 2 granules x 18 time slots
}

}  // namespace
