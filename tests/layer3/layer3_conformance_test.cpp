// ISO/IEC 11172-4 Layer III conformance: every vector decoded by the Layer
// III decoder of each number format. The Layer III stages are measured with
// a double-precision reference synthesis (so the decoder alone is judged),
// and the whole engine through DecodeToMemory once the synthesis exists.
#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>

#include "layer3_harness.h"
#include "support/test_support.h"

using namespace layer3test;

namespace {

std::vector<std::string> Layer3Vectors() {
    std::vector<std::string> names = vexatest::IsoVectors("l3-");
    names.push_back("M2L3_compl24");
    return names;
}

// The reference synthesis uses the engine's cosine-series window, which
// stands in for the standard's table; a correct decoder measures well above
// this against the reference output, a decoding fault far below.
constexpr double kLayer3FloorDb = 55.0;

class Layer3Conformance : public ::testing::TestWithParam<std::string> {};

TEST_P(Layer3Conformance, FloatFormatsMatchTheReferenceOutput) {
    const std::string name = GetParam();
    const auto stream = vexatest::ReadWholeFile(vexatest::SharedPath("vectors/iso/" + name + ".bit"));
    const auto reference = ReadPcm16(vexatest::SharedPath("vectors/iso/" + name + ".pcm"));
    for (int engine : {0, 1}) {
        const ReferenceDecode decoded = DecodeWithReferenceSynthesis(stream, engine);
        ASSERT_GT(decoded.channels, 0);
        const Comparison result = Compare(decoded.interleaved, reference);
        std::printf("[layer3] %-14s engine %d (reference synthesis): SNR %.2f dB, max diff %.1f, %zu samples\n",
                    name.c_str(), engine, result.snrDb, result.maxDifference, result.samples);
        EXPECT_GE(result.snrDb, kLayer3FloorDb) << name << " engine " << engine;
        EXPECT_GE(result.samples * 100, reference.size() * 99) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(IsoVectors, Layer3Conformance, ::testing::ValuesIn(Layer3Vectors()),
                         [](const ::testing::TestParamInfo<std::string>& vector) {
                             std::string id = vector.param;
                             for (char& c : id)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return id;
                         });

}  // namespace
