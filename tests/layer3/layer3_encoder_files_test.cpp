// Files from a real encoder (tests/fixtures/mp3, made by
// scripts/make_mp3_fixtures.sh): every MPEG version, mono, stereo, joint
// stereo, CBR and VBR with a Xing header. Each decodes in every number
// format and quality without a frame ending early, with the expected length
// and rate, and close to a black-box decode by mpg123.
#include <gtest/gtest.h>

#include <cstdio>

#include "layer3_harness.h"
#include "support/test_support.h"

using namespace layer3test;

namespace {

using Fixture = EncoderFixture;

std::string PathOf(const Fixture& fixture) { return EncoderFixturePath(fixture); }

class EncoderFile : public ::testing::TestWithParam<Fixture> {};

TEST_P(EncoderFile, DecodesInEveryFormatAndQualityWithoutOverrun) {
    const Fixture& fixture = GetParam();
    const auto stream = vexatest::ReadWholeFile(PathOf(fixture));
    for (int engine = 0; engine < 3; ++engine) {
        for (int quality = 0; quality < 3; ++quality) {
            const ReferenceDecode decoded = DecodeWithReferenceSynthesis(stream, engine, quality);
            SCOPED_TRACE(testing::Message() << "engine " << engine << " quality " << quality);
            EXPECT_EQ(decoded.overruns, 0);
            EXPECT_EQ(decoded.rejected, 0);
            EXPECT_EQ(decoded.channels, fixture.channels);
            EXPECT_EQ(decoded.sampleRate, fixture.rate >> quality);
            // The reference synthesis always runs at the full rate.
            const size_t perFrame = static_cast<size_t>(fixture.samplesPerFrame) * fixture.channels;
            EXPECT_EQ(decoded.interleaved.size(), perFrame * static_cast<size_t>(decoded.frames));
            if (fixture.xing) EXPECT_EQ(decoded.frames, decoded.xingFrames - fixture.framesDroppedAtEnd);
            else EXPECT_EQ(decoded.xingFrames, -1);
        }
    }
}

// The Layer III stages with a double-precision reference synthesis against
// mpg123's own decode. The reference synthesis' window is the engine's
// cosine series, which bounds the agreement near 62 dB (measured 61.5 to
// 62.7 dB on these files; a decoding fault in any frame costs far more).
TEST_P(EncoderFile, FloatFormatsAgreeWithMpg123) {
    const Fixture& fixture = GetParam();
    std::vector<int16_t> expected;
    if (!DecodeWithMpg123(PathOf(fixture), expected)) GTEST_SKIP() << "mpg123 is not installed";
    const auto stream = vexatest::ReadWholeFile(PathOf(fixture));
    for (int engine : {0, 1}) {
        const ReferenceDecode decoded = DecodeWithReferenceSynthesis(stream, engine);
        const size_t dropped = static_cast<size_t>(fixture.framesDroppedAtEnd * fixture.samplesPerFrame * fixture.channels);
        EXPECT_EQ(decoded.interleaved.size() + dropped, expected.size()) << "engine " << engine;
        const Comparison result = Compare(decoded.interleaved, expected);
        std::printf("[layer3] %-22s engine %d vs mpg123 (reference synthesis): SNR %.2f dB, max diff %.1f\n",
                    fixture.name, engine, result.snrDb, result.maxDifference);
        EXPECT_GE(result.snrDb, 60.0) << "engine " << engine;
    }
}

INSTANTIATE_TEST_SUITE_P(Fixtures, EncoderFile, ::testing::ValuesIn(EncoderFixtures()),
                         [](const ::testing::TestParamInfo<Fixture>& file) { return std::string(file.param.name); });

}  // namespace
