// The frame decoder table with its spectrum history kind, unknown engines,
// and the output rate at reduced quality.
#include <gtest/gtest.h>

#include "decoder/decoder.h"
#include "engine/offline_decode.h"
#include "support/decode_support.h"
#include "support/test_support.h"

namespace {

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

// An engine outside 0..3 selects no decoder by itself; the stream open
// plays such a stream with the single-precision engine instead of silence.
// Quality 2 at 44.1 kHz: 11025 Hz, 8 PCM frames per block, 96 per Layer I frame.
TEST(FrameDispatch, UnknownEnginesAndQuarterRate) {
    vexa::OfflineSettings settings;
    const vexa::OfflineResult single = vexatest::DecodeIsoVector("l2-fl10", settings);
    for (int32_t engine : {7, -1}) {
        settings.engineKind = engine;
        const vexa::OfflineResult result = vexatest::DecodeIsoVector("l2-fl10", settings);
        EXPECT_EQ(result.status, 1);
        EXPECT_FALSE(result.pcm.empty());
        EXPECT_EQ(result.pcm, single.pcm) << engine;
    }
    settings = {};
    settings.quality = 2;
    const vexa::OfflineResult quarter = vexatest::DecodeIsoVector("l1-fl6", settings);
    ASSERT_EQ(quarter.status, 1);
    EXPECT_EQ(quarter.sampleRate, 11025);
    EXPECT_EQ(quarter.pcm.size(), static_cast<size_t>(quarter.framesDecoded) * 96 * 2 * 2);
}

}  // namespace
