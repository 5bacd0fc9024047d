// The bit reader's edge cases, the frame decoder table with its spectrum
// history kind, and the output rate at reduced quality.
#include <gtest/gtest.h>

#include "decoder/bit_reader.h"
#include "decoder/decoder.h"
#include "engine/offline_decode.h"
#include "support/decode_support.h"
#include "support/test_support.h"

namespace {

TEST(BitReader, EdgeCases) {
    const uint8_t bytes[8] = {0xA5, 0x3C, 0xF0, 0x0F, 0x81, 0, 0, 0};
    vexa::PointBitReader(bytes);
    EXPECT_EQ(vexa::GetBits(0), 0u);
    EXPECT_EQ(vexa::g_bitReader.position, 0);
    vexa::g_bitReader.position = 13;
    EXPECT_EQ(vexa::BitsToByteBoundary(), 3);
    vexa::g_bitReader.position = 16;
    EXPECT_EQ(vexa::BitsToByteBoundary(), 0);
    // 17 bits from position 7: bit 7 of 0xA5, then 0x3C, then 0xF0.
    vexa::g_bitReader.position = 7;
    EXPECT_EQ(vexa::GetBits(17), (1u << 16) | (0x3Cu << 8) | 0xF0u);
    EXPECT_EQ(vexa::g_bitReader.position, 24);
    vexa::RewindBits(24);
    EXPECT_EQ(vexa::GetBitsShort(9), 0xA5u << 1);
    EXPECT_EQ(vexa::GetBit(), 0u);
    EXPECT_EQ(vexa::GetBit(), 1u);
}

TEST(FrameDispatch, DecoderTableAndSpectrumKind) {
    using vexa::SpectrumKind;
    struct Case {
        int32_t layer;
        int32_t engine;
        SpectrumKind kind;
    };
    const Case cases[] = {
        {1, 0, SpectrumKind::Float},   {2, 1, SpectrumKind::Float},   {3, 0, SpectrumKind::Float},
        {1, 2, SpectrumKind::Integer}, {3, 2, SpectrumKind::Integer}, {2, 3, SpectrumKind::Integer},
        {1, 3, SpectrumKind::Integer}, {3, 3, SpectrumKind::Float},
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(vexa::SelectFrameDecoder(c.layer, c.engine));
        EXPECT_EQ(vexa::CurrentSpectrumKind(), c.kind) << c.layer << " " << c.engine;
    }
    EXPECT_FALSE(vexa::SelectFrameDecoder(2, 4));
    EXPECT_FALSE(vexa::SelectFrameDecoder(2, -1));
    EXPECT_FALSE(vexa::SelectFrameDecoder(0, 0));
}

// An engine outside 0..3 selects no decoder by itself; the stream open plays
// such a stream with the single-precision engine instead of silence.
TEST(FrameDispatch, UnknownEngineStreamsPlayWithTheSingleEngine) {
    vexa::OfflineSettings settings;
    const vexa::OfflineResult single = vexatest::DecodeIsoVector("l2-fl10", settings);
    for (int32_t engine : {7, -1}) {
        settings.engineKind = engine;
        const vexa::OfflineResult result = vexatest::DecodeIsoVector("l2-fl10", settings);
        EXPECT_EQ(result.status, 1);
        EXPECT_FALSE(result.pcm.empty());
        EXPECT_EQ(result.pcm, single.pcm) << engine;
    }
}

// Quality 2 at 44.1 kHz: 11025 Hz, 8 PCM frames per block, 96 per Layer I frame.
TEST(FrameDispatch, QuarterRateLayer1) {
    vexa::OfflineSettings settings;
    settings.quality = 2;
    const vexa::OfflineResult result = vexatest::DecodeIsoVector("l1-fl6", settings);
    ASSERT_EQ(result.status, 1);
    EXPECT_EQ(result.sampleRate, 11025);
    EXPECT_EQ(result.pcm.size(), static_cast<size_t>(result.framesDecoded) * 96 * 2 * 2);
}

}  // namespace
