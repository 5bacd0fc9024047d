// Sub-band synthesis: the reduced rates, clamping and the output layouts.
// The full-rate synthesis against the reference decoder's output is held by
// the conformance tests.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "decoder/decoder.h"
#include "decoder/synthesis.h"
#include "engine/offline_decode.h"
#include "support/decode_support.h"

namespace {

void ConfigureFor(int32_t engine, int32_t quality, int32_t channelSelect = -1, int32_t eightBit = 0) {
    vexa::BuildDctTables();
    vexa::BuildWindowTables(32000);
    vexa::ConfigureSynthesis({engine, quality, eightBit, channelSelect});
}

// A random sub-band block at full scale `amplitude`, sub-bands from `limit` zero.
template <class F>
std::vector<typename F::sample> RandomBlock(std::mt19937& random, double amplitude, int32_t limit = 32) {
    std::uniform_real_distribution<double> value(-amplitude, amplitude);
    std::vector<typename F::sample> block(32, 0);
    for (int32_t sb = 0; sb < limit; ++sb)
        block[sb] = static_cast<typename F::sample>(value(random) * (F::kIsFixed ? 32768.0 : 1.0));
    return block;
}

// Output samples of one channel-0 block (M of them).
template <class F>
std::vector<int16_t> SynthesiseChannel0(std::vector<typename F::sample> block) {
    int16_t out[64] = {};
    vexa::Synthesise<F>(block.data(), 0, out);
    std::vector<int16_t> samples;
    for (int32_t j = 0; j < vexa::g_synthesis.subbands; ++j) samples.push_back(out[2 * j]);
    return samples;
}

template <class F>
class SynthesisByFormat : public ::testing::Test {};
using Formats = ::testing::Types<vexa::SingleFormat, vexa::DoubleFormat, vexa::FixedFormat>;
TYPED_TEST_SUITE(SynthesisByFormat, Formats);

// Quality q gives the samples 2^q j of the full-rate output of the same
// blocks with sub-bands M..31 zero, apart from rounding.
TYPED_TEST(SynthesisByFormat, ReducedRatesDecimateTheFullRateOutput) {
    const int32_t tolerance = TypeParam::kIsFixed ? 3 : 1;
    for (int32_t quality : {1, 2}) {
        const int32_t subbands = 32 >> quality;
        std::mt19937 random(11);
        std::vector<std::vector<typename TypeParam::sample>> blocks;
        for (int i = 0; i < 48; ++i) blocks.push_back(RandomBlock<TypeParam>(random, 0.3, subbands));
        ConfigureFor(0, 0);
        std::vector<std::vector<int16_t>> full;
        for (const auto& block : blocks) full.push_back(SynthesiseChannel0<TypeParam>(block));
        ConfigureFor(0, quality);
        int32_t worst = 0;
        for (size_t i = 0; i < blocks.size(); ++i) {
            const std::vector<int16_t> reduced = SynthesiseChannel0<TypeParam>(blocks[i]);
            ASSERT_EQ(reduced.size(), static_cast<size_t>(subbands));
            for (int32_t j = 0; j < subbands; ++j)
                worst = std::max(worst, std::abs(reduced[j] - full[i][j << quality]));
        }
        EXPECT_LE(worst, tolerance) << "quality " << quality;
    }
}

// Clamping at +-32760 for each format, from sums far beyond it.
TYPED_TEST(SynthesisByFormat, LoudBlocksClampAtTheLimits) {
    ConfigureFor(0, 0);
    const double loud = TypeParam::kIsFixed ? 1.5 : 8.0;  // the fixed ring holds Q15 without headroom
    std::vector<typename TypeParam::sample> block(32, 0);
    int16_t highest = 0, lowest = 0;
    for (int i = 0; i < 40; ++i) {
        block[0] = static_cast<typename TypeParam::sample>((i & 1 ? loud : -loud) * (TypeParam::kIsFixed ? 32768 : 1));
        for (int16_t sample : SynthesiseChannel0<TypeParam>(block)) {
            highest = std::max(highest, sample);
            lowest = std::min(lowest, sample);
        }
    }
    EXPECT_EQ(highest, 32760);
    EXPECT_EQ(lowest, -32760);
}

// The first frames of a conformance vector, decoded.
vexa::OfflineResult Decode(const std::string& vector, int32_t engine, int32_t quality, int32_t channelSelect,
                           int32_t eightBit) {
    return vexatest::DecodeIsoVector(vector, {.engineKind = engine, .quality = quality, .channelSelect = channelSelect,
                                              .eightBit = eightBit, .outputScale = 32000, .maxFrames = 3});
}

// The layouts against the plain one (two channels, 16 bits): a one-channel
// stream on two channels repeats its channel, and mixed to one it is that
// channel, not half of it; a two-channel stream mixed is the mean of its
// channels up to the synthesis rounding; each 8-bit sample is its 16-bit
// twin mapped to 8 bits.
TEST(Synthesis, OutputLayoutsAgreeWithTheTwoChannel16BitOne) {
    for (const char* vector : {"l1-fl4", "l2-fl10"})
        for (int32_t engine = 0; engine < 4; ++engine)
            for (int32_t quality : {0, 2}) {
                SCOPED_TRACE(testing::Message() << vector << " engine " << engine << " quality " << quality);
                const vexa::OfflineResult two = Decode(vector, engine, quality, -1, 0);
                const auto stereo = vexatest::AsSamples(two.pcm);
                const auto mixed = vexatest::AsSamples(Decode(vector, engine, quality, 3, 0).pcm);
                ASSERT_EQ(stereo.size(), 2 * mixed.size());
                bool anySignal = false;
                for (size_t i = 0; i < mixed.size(); ++i) {
                    const int16_t left = stereo[2 * i], right = stereo[2 * i + 1];
                    if (two.header.channels == 1) {
                        ASSERT_EQ(right, left) << i;
                        ASSERT_EQ(mixed[i], left) << i;
                    } else {
                        ASSERT_NEAR(mixed[i], (left + right) / 2.0, 1.5) << i;
                    }
                    anySignal |= left != 0;
                }
                // (The fixed engine decodes the first frames of l2-fl10 to silence.)
                if (two.header.channels == 1) { EXPECT_TRUE(anySignal); }
                for (int32_t channelSelect : {-1, 3}) {
                    const std::vector<int16_t>& wide = channelSelect < 0 ? stereo : mixed;
                    const std::vector<uint8_t> narrow = Decode(vector, engine, quality, channelSelect, 1).pcm;
                    ASSERT_EQ(narrow.size(), wide.size());
                    for (size_t i = 0; i < wide.size(); ++i)
                        ASSERT_EQ(narrow[i], (wide[i] >> 8) + 128) << channelSelect << " " << i;
                }
            }
}

}  // namespace
