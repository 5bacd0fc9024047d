// Damaged streams of every layer (random frame bodies behind intact headers,
// bit flips, truncation, main_data_begin reaching back too far) decode in
// every engine, quality and layout to whole PCM blocks, without a crash or a
// read outside the frame area (run the asan preset to check the latter).
#include <gtest/gtest.h>

#include <random>

#include "decoder/decoder.h"
#include "support/decode_support.h"
#include "support/test_support.h"

namespace {

// Every byte outside the header words replaced by a random one.
std::vector<uint8_t> RandomBodies(std::vector<uint8_t> stream, std::mt19937& random) {
    std::vector<bool> header(stream.size(), false);
    for (const vexatest::FrameAt& frame : vexatest::WalkFrames(stream))
        for (size_t i = frame.offset; i < frame.offset + 4u && i < stream.size(); ++i) header[i] = true;
    for (size_t i = 0; i < stream.size(); ++i)
        if (!header[i]) stream[i] = static_cast<uint8_t>(random());
    return stream;
}

std::vector<uint8_t> FlipBits(std::vector<uint8_t> stream, std::mt19937& random, int perKilobyte) {
    std::uniform_int_distribution<size_t> where(0, stream.size() - 1);
    const size_t flips = stream.size() * static_cast<size_t>(perKilobyte) / 1024 + 1;
    for (size_t i = 0; i < flips; ++i) stream[where(random)] ^= static_cast<uint8_t>(1u << (random() % 8));
    return stream;
}

// Every Layer III frame claims the largest main_data_begin (and, with bit 7
// of the side information's second byte, more).
std::vector<uint8_t> WrongMainDataBegin(std::vector<uint8_t> stream) {
    for (const vexatest::FrameAt& frame : vexatest::WalkFrames(stream)) {
        const size_t side = frame.offset + 4u + (frame.header.crcPresent ? 2u : 0u);
        if (side + 1 >= stream.size()) break;
        stream[side] = 0xFF;
        stream[side + 1] |= 0x80;
    }
    return stream;
}

// mustOpen: the headers are intact, so the stream must open.
void DecodeEverywhere(const std::vector<uint8_t>& stream, const std::string& what, bool mustOpen) {
    for (int32_t engine = 0; engine < 4; ++engine) {
        for (int32_t quality = 0; quality < 3; ++quality) {
            SCOPED_TRACE(testing::Message() << what << " engine " << engine << " quality " << quality);
            const vexa::OfflineResult result = vexatest::DecodeStream(
                stream, vexatest::Settings(engine, quality, quality == 0 ? -1 : 3, quality == 1));
            if (mustOpen) { EXPECT_EQ(result.status, 1); }
            if (result.status != 1) continue;
            const size_t block = static_cast<size_t>(vexa::BlockBytes());
            ASSERT_GT(block, 0u);
            EXPECT_EQ(result.pcm.size() % block, 0u);
        }
    }
}

TEST(Damage, DamagedStreamsDecodeToWholeBlocks) {
    std::mt19937 random(20261123);
    for (const char* name : {"l1-fl7", "l2-fl16", "l2-fl13"})
        DecodeEverywhere(RandomBodies(vexatest::IsoVectorBytes(name), random), name, true);
    for (const char* name : {"mpeg1_44k_joint_vbr", "mpeg2_22k_joint_cbr", "mpeg25_11k_stereo_cbr", "mpeg1_32k_mono_cbr"}) {
        const auto stream = vexatest::ReadWholeFile(vexatest::FixturePath(std::string("mp3/") + name + ".mp3"));
        DecodeEverywhere(FlipBits(stream, random, 4), name, false);
        DecodeEverywhere(FlipBits(stream, random, 64), name, false);
        DecodeEverywhere(WrongMainDataBegin(stream), name, false);
        DecodeEverywhere({stream.begin(), stream.begin() + static_cast<long>(stream.size() * 2 / 3 + 7)}, name, false);
    }
    const auto block = vexatest::IsoVectorBytes("l3-si_block");
    DecodeEverywhere(FlipBits(block, random, 16), "l3-si_block", false);
    DecodeEverywhere(WrongMainDataBegin(block), "l3-si_block", false);
}

}  // namespace
