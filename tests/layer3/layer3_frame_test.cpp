// The first frame after a seek, decoding without
// delivery, and damaged streams (bit flips, truncations, wrong
// main_data_begin), which must decode to something without a crash or a
// read outside the frame area (run the asan preset to check the latter).
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

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

// Frame offsets of a stream, by walking its headers with the frame reader.
std::vector<uint32_t> FrameOffsets(const std::vector<uint8_t>& stream) {
    std::vector<uint32_t> offsets;
    for (const vexatest::FrameAt& frame : vexatest::WalkFrames(stream)) offsets.push_back(frame.offset);
    return offsets;
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
    const std::vector<uint32_t> offsets = FrameOffsets(stream);
    ASSERT_GT(offsets.size(), 20u);
    Open(stream);
    // Seek as playback does: reposition, reset without forgetting the stream.
    ASSERT_TRUE(source_->Reposition(offsets[20]));
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

TEST_F(Layer3Stream, MixedToOneChannelLeavesChannel1sOverlapAlone) {
    const auto stream = Fixture("mpeg1_48k_stereo_cbr");
    Open(stream, 3);
    const int32_t toggle1 = g_layer3.overlapToggle[1];
    for (int i = 0; i < 4 && ReadNextFrame(*source_, g_header); ++i) DecodeFrame(g_header, 1);
    EXPECT_EQ(g_layer3.overlapToggle[1], toggle1);
    for (double v : g_layer3.dual.overlap[0][1]) ASSERT_EQ(v, 0.0);
    for (double v : g_layer3.dual.overlap[1][1]) ASSERT_EQ(v, 0.0);
}

// Damaged copies of a stream.
std::vector<uint8_t> FlipBits(std::vector<uint8_t> stream, std::mt19937& random, int perKilobyte) {
    std::uniform_int_distribution<size_t> where(0, stream.size() - 1);
    const size_t flips = stream.size() * static_cast<size_t>(perKilobyte) / 1024 + 1;
    for (size_t i = 0; i < flips; ++i) stream[where(random)] ^= static_cast<uint8_t>(1u << (random() % 8));
    return stream;
}

// Every frame claims the largest main_data_begin (and, with bit 7 of the
// side information's second byte, more).
std::vector<uint8_t> WrongMainDataBegin(std::vector<uint8_t> stream) {
    for (uint32_t offset : FrameOffsets(stream)) {
        if (offset + 6 >= stream.size()) break;
        const bool crc = (stream[offset + 1] & 1) == 0;
        const size_t side = offset + 4 + (crc ? 2 : 0);
        stream[side] = 0xFF;
        stream[side + 1] |= 0x80;
    }
    return stream;
}

void DecodeEverywhere(const std::vector<uint8_t>& stream, const char* what) {
    for (int engine = 0; engine < 4; ++engine) {
        for (int quality = 0; quality < 3; ++quality) {
            OfflineSettings settings;
            settings.engineKind = engine;
            settings.quality = quality;
            settings.channelSelect = quality == 1 ? 3 : -1;
            const OfflineResult result = DecodeToMemory(stream.data(), static_cast<uint32_t>(stream.size()), settings);
            if (result.status != 1) continue;
            const size_t block = static_cast<size_t>(BlockBytes());
            ASSERT_GT(block, 0u);
            EXPECT_EQ(result.pcm.size() % block, 0u) << what << " engine " << engine << " quality " << quality;
        }
    }
}

TEST(Layer3Damage, DamagedStreamsDecodeWithoutFault) {
    std::mt19937 random(20261123);
    const char* names[] = {"mpeg1_44k_joint_vbr", "mpeg2_22k_joint_cbr", "mpeg25_11k_stereo_cbr", "mpeg1_32k_mono_cbr"};
    for (const char* name : names) {
        const auto stream = Fixture(name);
        DecodeEverywhere(FlipBits(stream, random, 4), name);
        DecodeEverywhere(FlipBits(stream, random, 64), name);
        DecodeEverywhere(WrongMainDataBegin(stream), name);
        std::vector<uint8_t> cut(stream.begin(), stream.begin() + static_cast<long>(stream.size() * 2 / 3 + 7));
        DecodeEverywhere(cut, name);
    }
    const auto iso = vexatest::ReadWholeFile(vexatest::SharedPath("vectors/iso/l3-si_block.bit"));
    DecodeEverywhere(FlipBits(iso, random, 16), "l3-si_block");
    DecodeEverywhere(WrongMainDataBegin(iso), "l3-si_block");
}

}  // namespace
