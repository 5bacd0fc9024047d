// Each encoder's file through DecodeToMemory in every engine and quality:
// output rate, frame count, PCM per frame, no frame ended early; at full
// rate, against mpg123's decode (inverted). The conformance vectors are held
// in tests/decoder.
#include <gtest/gtest.h>

#include <cstdio>

#include "decoder/layer3_state.h"
#include "support/decode_support.h"
#include "support/test_support.h"

namespace {

struct EncoderFixture {
    const char* name;  // tests/fixtures/mp3/<name>.mp3 (scripts/make_mp3_fixtures.sh)
    int rate;
    int channels;
    int samplesPerFrame;
    bool xing;
    // The encoder ends this file with an 8 kbit/s frame of 24 bytes, shorter
    // than any frame the frame reader accepts; it is skipped, and so is the
    // frame before it, whose successor does not confirm it.
    int framesDroppedAtEnd;
    // The fixed engine (values raised to the power 1.1) is held in shape
    // only: the floor of its correlation with mpg123's decode, lower on the
    // stereo files than on the one-channel ones.
    double fixedFloor;
};
const EncoderFixture kFixtures[] = {
    {"mpeg1_32k_mono_cbr", 32000, 1, 1152, false, 0, 0.97},   {"mpeg1_44k_joint_vbr", 44100, 2, 1152, true, 0, 0.82},
    {"mpeg1_48k_stereo_cbr", 48000, 2, 1152, false, 0, 0.56}, {"mpeg2_22k_joint_cbr", 22050, 2, 576, false, 0, 0.85},
    {"mpeg2_24k_mono_vbr", 24000, 1, 576, true, 2, 0.98},     {"mpeg25_8k_mono_cbr", 8000, 1, 576, false, 0, 0.98},
    {"mpeg25_11k_stereo_cbr", 11025, 2, 576, false, 0, 0.79},
};

class Layer3EncoderFile : public ::testing::TestWithParam<EncoderFixture> {};

TEST_P(Layer3EncoderFile, EveryEngineAndQuality) {
    const EncoderFixture& fixture = GetParam();
    const std::string path = vexatest::FixturePath(std::string("mp3/") + fixture.name + ".mp3");
    const auto stream = vexatest::ReadWholeFile(path);
    std::vector<int16_t> expected;
    ASSERT_TRUE(vexatest::DecodeWithMpg123(path, expected)) << "mpg123 is missing (scripts/install-deps.sh)";
    const size_t mpg123Frames = expected.size() / static_cast<size_t>(fixture.samplesPerFrame * fixture.channels);
    for (int engine = 0; engine < 4; ++engine) {
        for (int quality = 0; quality < 3; ++quality) {
            const vexa::OfflineResult result = vexatest::DecodeStream(stream, vexatest::ReferenceScaleSettings(engine, quality));
            SCOPED_TRACE(testing::Message() << "engine " << engine << " quality " << quality);
            EXPECT_EQ(result.sampleRate, fixture.rate >> quality);
            EXPECT_EQ(vexa::g_layer3.overrunFrames, 0);
            EXPECT_EQ(vexa::g_layer3.rejectedFrames, 0);
            if (fixture.xing) { EXPECT_EQ(result.framesDecoded, result.header.xingFrames - fixture.framesDroppedAtEnd); }
            EXPECT_EQ(static_cast<size_t>(result.framesDecoded + fixture.framesDroppedAtEnd), mpg123Frames);
            // Two output channels of 16 bits.
            EXPECT_EQ(result.pcm.size(), static_cast<size_t>(result.framesDecoded) *
                                             static_cast<size_t>(fixture.samplesPerFrame >> quality) * 4u);
        }
        const vexa::OfflineResult result =
            vexatest::DecodeStream(stream, vexatest::ReferenceScaleSettings(engine, 0, fixture.channels == 1 ? 0 : -1));
        const vexatest::PcmComparison comparison = vexatest::ComparePcm(vexatest::AsSamples(result.pcm), expected, -1);
        std::printf("[layer3] %-22s engine %d vs mpg123: SNR %.2f dB, max diff %d, correlation %.4f\n", fixture.name,
                    engine, comparison.snrDb, comparison.maxDifference, comparison.correlation);
        // Floors just under what each engine measures: SNR in dB, for the fixed engine the correlation.
        const double floors[4] = {60.0, 60.0, fixture.fixedFloor, 50.0};
        EXPECT_GE(engine == 2 ? comparison.correlation : comparison.snrDb, floors[engine]) << "engine " << engine;
    }
}

INSTANTIATE_TEST_SUITE_P(Fixtures, Layer3EncoderFile, ::testing::ValuesIn(kFixtures),
                         [](const ::testing::TestParamInfo<EncoderFixture>& file) { return std::string(file.param.name); });

}  // namespace
