// Layer II: allocation table choice (the vectors use only some of the
// tables), and a joint-stereo bound above the coded sub-bands. Frames with
// and without CRC are both among the conformance vectors.
#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "decoder/layer12.h"
#include "support/decode_support.h"
#include "support/frame_builder.h"

namespace {

TEST(Layer12Tables, AllocationTableChoice) {
    using vexa::kLayer2TableA, vexa::kLayer2TableB, vexa::kLayer2TableC, vexa::kLayer2TableD;
    // Rate (0 44.1, 1 48, 2 32, 4 24 kHz), bitrate index, channels, table.
    const std::tuple<int32_t, int32_t, int32_t, vexa::Layer2TableIndex> cases[] = {
        {0, 1, 2, kLayer2TableC},  {1, 6, 2, kLayer2TableC},  {2, 6, 2, kLayer2TableD},  {0, 7, 2, kLayer2TableA},
        {2, 9, 2, kLayer2TableA},  {0, 10, 2, kLayer2TableB}, {1, 10, 2, kLayer2TableA}, {2, 14, 2, kLayer2TableB},
        {0, 2, 1, kLayer2TableC},  {2, 1, 1, kLayer2TableD},  {1, 3, 1, kLayer2TableA},  {0, 5, 1, kLayer2TableA},
        {0, 6, 1, kLayer2TableB},  {1, 14, 1, kLayer2TableA}, {2, 6, 1, kLayer2TableB},
        {4, 3, 2, vexa::kLayer2TableLsf},
    };
    for (const auto& [rate, bitrateIndex, channels, expected] : cases) {
        vexa::FrameHeader header{};
        header.sampleRateIndex = rate;
        header.bitrateIndex = bitrateIndex;
        header.channels = channels;
        header.lsf = rate > 2;
        EXPECT_EQ(vexa::SelectLayer2Table(header), expected) << rate << " " << bitrateIndex << " " << channels;
    }
}

// 48 kHz, 32 kbit/s, joint stereo: table c, whose limit is 8 sub-bands.
// Mode extension 0 or 1 puts the bound at 4 or 8 and the frames decode (to
// silence: their bodies are zero); 2 or 3 put it above the limit, and the
// frames give nothing.
TEST(Layer2Frames, BoundAboveTheLimitDropsTheFrame) {
    const vexatest::HeaderFields fields{.layer = 2, .bitrateIndex = 1, .rateBits = 1, .mode = 1};
    for (uint8_t extension : {0, 1, 2, 3}) {
        std::vector<uint8_t> stream = vexatest::Frames(fields, 6);
        for (size_t at = 0; at < stream.size(); at += static_cast<size_t>(vexatest::FrameBytes(fields)))
            stream[at + 3] |= static_cast<uint8_t>(extension << 4);
        const vexa::OfflineResult result = vexatest::DecodeStream(stream, vexa::OfflineSettings{});
        ASSERT_EQ(result.status, 1);
        EXPECT_GE(result.framesDecoded, 5);
        EXPECT_EQ(result.pcm.size(), extension <= 1 ? static_cast<size_t>(result.framesDecoded) * 1152 * 4 : 0u)
            << "mode extension " << int{extension};
    }
}

}  // namespace
