#include "layer3_harness.h"

#include "decoder/layer3_state.h"
#include "support/test_support.h"

namespace layer3test {

const std::vector<EncoderFixture>& EncoderFixtures() {
    static const std::vector<EncoderFixture> kFixtures = {
        {"mpeg1_32k_mono_cbr", 32000, 1, 1152, false, 0},   {"mpeg1_44k_joint_vbr", 44100, 2, 1152, true, 0},
        {"mpeg1_48k_stereo_cbr", 48000, 2, 1152, false, 0}, {"mpeg2_22k_joint_cbr", 22050, 2, 576, false, 0},
        {"mpeg2_24k_mono_vbr", 24000, 1, 576, true, 2},     {"mpeg25_8k_mono_cbr", 8000, 1, 576, false, 0},
        {"mpeg25_11k_stereo_cbr", 11025, 2, 576, false, 0},
    };
    return kFixtures;
}

std::string EncoderFixturePath(const EncoderFixture& fixture) {
    return vexatest::FixturePath(std::string("mp3/") + fixture.name + ".mp3");
}

void SetUpTablesAtQuality(int quality) {
    vexa::FrameHeader header{};
    header.quality = quality;
    header.subbandCount = 32 >> quality;
    header.lineCount = 576 >> quality;
    vexa::SetUpLayer3Tables(header);
}

}  // namespace layer3test
