// Sub-band synthesis: decay to silence, the reduced rates, clamping,
// channel handling, the eight-bit output and the fast DCT kernels against a
// direct sum. The synthesis against the reference decoder's output is held
// by the conformance tests.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "decoder/decoder.h"
#include "decoder/synthesis.h"
#include "decoder/synthesis_slots.h"
#include "engine/engine_record.h"
#include "engine/offline_decode.h"
#include "support/decode_support.h"
#include "support/test_support.h"

namespace {

using vexa::DoubleFormat;
using vexa::FixedFormat;
using vexa::SingleFormat;

constexpr double kPi = 3.14159265358979323846;

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
    for (int32_t sb = 0; sb < limit; ++sb) {
        const double v = value(random);
        block[sb] = F::kIsFixed ? static_cast<typename F::sample>(v * 32768.0) : static_cast<typename F::sample>(v);
    }
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
using Formats = ::testing::Types<SingleFormat, DoubleFormat, FixedFormat>;
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

// The unnormalised DCT-II by its definition, in double precision.
std::vector<double> DirectDct(const std::vector<double>& x) {
    const size_t n = x.size();
    std::vector<double> out(n, 0.0);
    for (size_t k = 0; k < n; ++k)
        for (size_t i = 0; i < n; ++i) out[k] += x[i] * std::cos(k * (2.0 * i + 1.0) * kPi / (2.0 * n));
    return out;
}

TYPED_TEST(SynthesisByFormat, FastDctKernelsMatchTheDirectSum) {
    using S = typename TypeParam::sample;
    ConfigureFor(0, 0);
    std::mt19937 random(3);
    // The fixed kernel's products wrap in 32 bits: a difference times the
    // largest constant (about 10.2 in Q15) stays in range below 0.1 full scale.
    std::uniform_real_distribution<double> value(-0.04, 0.04);
    for (int32_t points : {32, 16, 8}) {
        const vexa::DctKernel<TypeParam> kernel = vexa::DctKernelFor<TypeParam>(points);
        const double unit = TypeParam::kIsFixed ? 32768.0 : 1.0;
        for (int trial = 0; trial < 20; ++trial) {
            std::vector<S> input(points);
            std::vector<double> exact(points);
            for (int32_t i = 0; i < points; ++i) {
                input[i] = static_cast<S>(value(random) * unit);
                exact[i] = static_cast<double>(input[i]);
            }
            std::vector<S> fast(32);
            kernel(input.data(), fast.data());
            const std::vector<double> expected = DirectDct(exact);
            // Each Q15 product loses up to one unit; the stages add a few.
            const double tolerance = TypeParam::kIsFixed ? 64.0 : 1e-4;
            for (int32_t k = 0; k < points; ++k)
                ASSERT_NEAR(static_cast<double>(fast[k]), expected[k], tolerance) << points << " points, k " << k;
        }
    }
}

// Clamping at +-32760 for each format, from sums far beyond it.
TYPED_TEST(SynthesisByFormat, LoudBlocksClampAtTheLimits) {
    ConfigureFor(0, 0);
    const double loud = TypeParam::kIsFixed ? 1.5 : 8.0;  // the fixed ring holds Q15 without headroom
    std::vector<typename TypeParam::sample> block(32, 0);
    int16_t highest = 0;
    int16_t lowest = 0;
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
    vexa::OfflineSettings settings;
    settings.engineKind = engine;
    settings.quality = quality;
    settings.channelSelect = channelSelect;
    settings.eightBit = eightBit;
    settings.outputScale = 32000;
    settings.maxFrames = 3;
    return vexatest::DecodeIsoVector(vector, settings);
}

// A one-channel stream played as two channels repeats the channel; mixed
// to one channel it is the channel itself, not half of it.
TEST(Synthesis, OneChannelStreamAsTwoChannelsAndMixed) {
    for (int32_t engine = 0; engine < 4; ++engine)
        for (int32_t eightBit : {0, 1}) {
            const vexa::OfflineResult two = Decode("l1-fl4", engine, 0, -1, eightBit);
            const vexa::OfflineResult one = Decode("l1-fl4", engine, 0, 3, eightBit);
            ASSERT_EQ(two.header.channels, 1);
            const size_t width = eightBit ? 1 : 2;
            ASSERT_EQ(two.pcm.size(), 2 * one.pcm.size());
            bool anySignal = false;
            for (size_t frame = 0; frame < one.pcm.size() / width; ++frame) {
                const uint8_t* left = two.pcm.data() + 2 * width * frame;
                const uint8_t* mixed = one.pcm.data() + width * frame;
                ASSERT_EQ(std::memcmp(left, left + width, width), 0) << "engine " << engine << " frame " << frame;
                ASSERT_EQ(std::memcmp(left, mixed, width), 0) << "engine " << engine << " frame " << frame;
                anySignal |= left[0] != (eightBit ? 128 : 0);
            }
            EXPECT_TRUE(anySignal);
        }
}

// A two-channel stream mixed to one channel gives (left + right) / 2 of
// its stereo decode, up to the synthesis rounding.
TEST(Synthesis, TwoChannelStreamMixedIsTheMean) {
    const auto stereo = vexatest::AsSamples(Decode("l2-fl10", 1, 0, -1, 0).pcm);
    const auto mixed = vexatest::AsSamples(Decode("l2-fl10", 1, 0, 3, 0).pcm);
    ASSERT_EQ(stereo.size(), 2 * mixed.size());
    for (size_t i = 0; i < mixed.size(); ++i)
        ASSERT_NEAR(mixed[i], (stereo[2 * i] + stereo[2 * i + 1]) / 2.0, 1.5) << i;
}

// Each 8-bit packer writes what its 16-bit twin writes, mapped to 8 bits.
TEST(Synthesis, EightBitPackersMatchTheSixteenBitOnes) {
    for (int32_t engine = 0; engine < 4; ++engine)
        for (int32_t channelSelect : {-1, 3})
            for (int32_t quality : {0, 2}) {
                const auto wide = vexatest::AsSamples(Decode("l2-fl10", engine, quality, channelSelect, 0).pcm);
                const std::vector<uint8_t> narrow = Decode("l2-fl10", engine, quality, channelSelect, 1).pcm;
                ASSERT_EQ(wide.size(), narrow.size());
                for (size_t i = 0; i < wide.size(); ++i)
                    ASSERT_EQ(narrow[i], (wide[i] >> 8) + 128) << engine << " " << channelSelect << " " << i;
            }
}

}  // namespace
