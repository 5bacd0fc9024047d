// Every fast path of the decoder against the plain form it replaces, on the
// same input.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "decoder/bit_reader.h"
#include "decoder/decoder.h"
#include "decoder/layer3_huffman.h"
#include "decoder/layer3_hybrid.h"
#include "decoder/layer3_alias.h"
#include "decoder/layer3_standard_tables.h"
#include "decoder/synthesis.h"
#include "decoder/synthesis_window.h"
#include "dsp/decoder_hooks.h"

namespace {

using vexa::tables::kHuffmanTables;

// The bit strings of every leaf of a pre-order tree, most significant first.
void CollectCodes(const int16_t* tree, int32_t node, uint32_t code, int length,
                  std::vector<std::pair<uint32_t, int>>& codes) {
    if (tree[node] >= 0) {
        codes.emplace_back(code, length);
        return;
    }
    CollectCodes(tree, node + 1, code << 1, length + 1, codes);
    CollectCodes(tree, node + 1 - tree[node], (code << 1) | 1u, length + 1, codes);
}

TEST(FastPaths, HuffmanLookupGivesTheWalksLeafAndBitCount) {
    std::mt19937 random(14);
    for (int table = 0; table < 34; ++table) {
        const int16_t* tree = kHuffmanTables[table].tree;
        uint32_t lookup[vexa::kHuffmanLookupEntries];
        const bool pairLeaves = table < vexa::tables::kQuadTableA;
        vexa::BuildHuffmanLookup(tree, pairLeaves, lookup);
        uint16_t quadrupleLookup[vexa::kQuadrupleLookupEntries];
        if (!pairLeaves) vexa::BuildQuadrupleLookup(tree, quadrupleLookup);
        // Every code word, followed by random bits, and random words.
        std::vector<uint32_t> words;
        std::vector<std::pair<uint32_t, int>> codes;
        CollectCodes(tree, 0, 0, 0, codes);
        for (const auto& [code, length] : codes) {
            const int longest = table >= vexa::tables::kQuadTableA ? vexa::kQuadrupleCodeMostBits : 19;
            ASSERT_LE(length, longest) << "table " << table;
            for (int tail = 0; tail < 4; ++tail)
                words.push_back((length == 0 ? 0u : code << (32 - length)) | (random() >> length));
        }
        for (int i = 0; i < 4096; ++i) words.push_back(random());
        for (const uint32_t word : words) {
            uint32_t walked = word, looked = word;
            int32_t walkedBits = 0, lookedBits = 0;
            const int32_t leaf = vexa::WalkTree(tree, walked, walkedBits);
            ASSERT_EQ(vexa::LookupCode(lookup, tree, looked, lookedBits), leaf) << "table " << table << " " << word;
            ASSERT_EQ(lookedBits, walkedBits) << "table " << table << " " << word;
            ASSERT_EQ(looked, walked);
            // A pair's code word that the table resolves also gives its bits with the signs.
            const uint32_t entry = lookup[word >> (32 - vexa::kHuffmanLookupBits)];
            if (pairLeaves && (entry & vexa::kLookupContinues) == 0) {
                const int32_t signs = ((leaf >> 4) != 0 ? 1 : 0) + ((leaf & 15) != 0 ? 1 : 0);
                ASSERT_EQ(static_cast<int32_t>(entry >> 24), walkedBits + signs) << "table " << table << " " << word;
            }
            // A quadruple's entry: its code word and the signs of its present
            // values, v w x y each 0, 1 (+) or 2 (-).
            if (!pairLeaves) {
                uint32_t signs = walked;
                uint32_t choices = 0;
                int32_t taken = 0;
                for (int i = 0; i < 4; ++i) {
                    if (((leaf >> (3 - i)) & 1) == 0) continue;
                    choices |= (1u + (signs >> 31)) << (2 * i);
                    signs <<= 1;
                    ++taken;
                }
                const uint32_t entry16 = quadrupleLookup[word >> (32 - vexa::kQuadrupleMostBits)];
                ASSERT_EQ(entry16, choices | static_cast<uint32_t>(walkedBits + taken) << 8) << "table " << table;
            }
            // The same bits on top of a 64-bit word, as 64-bit targets read them.
            uint64_t wide = (uint64_t{word} << 32) | random();
            int32_t wideBits = 0;
            ASSERT_EQ(vexa::LookupCode(lookup, tree, wide, wideBits), leaf) << "table " << table << " " << word;
            ASSERT_EQ(wideBits, walkedBits);
        }
    }
}

TEST(FastPaths, BitTripleEqualsThreeReadsAtEveryWidthAndOffset) {
    const uint8_t bytes[16] = {0x9c, 0x35, 0xe1, 0x7a, 0x4f, 0xb2, 0x68, 0xd3, 0x1e, 0xc7, 0x5a, 0x83};
    for (int width = 1; width <= 16; ++width)
        for (int offset = 0; offset < 8; ++offset) {
            uint32_t triple[3];
            vexa::g_bitReader = {bytes, offset};
            vexa::GetBitTriple(width, triple);
            vexa::g_bitReader = {bytes, offset};
            for (const uint32_t code : triple) ASSERT_EQ(code, vexa::GetBits(width)) << width << " bits at " << offset;
        }
}

// The formats; each one's sample type is also the type of its line values.
template <class F>
class FastPathsByFormat : public ::testing::Test {};
using Formats = ::testing::Types<vexa::SingleFormat, vexa::DoubleFormat, vexa::FixedFormat>;
TYPED_TEST_SUITE(FastPathsByFormat, Formats);

// Random rings through the chosen window of each quality, scaled so that
// most sums land inside the PCM range and some beyond it (clamped; in the
// fixed format some wrap).
template <class F>
void ExpectFastWindowingEqualsPlain(int32_t quality) {
    vexa::BuildDctTables();
    vexa::BuildWindowTables(30000);
    vexa::ConfigureSynthesis({0, quality, 0, -1});
    const vexa::SynthesisFormat<F>& format = vexa::SynthesisFor<F>();
    const int32_t subbands = 32 >> quality;
    std::mt19937 random(static_cast<uint32_t>(quality));
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    for (int trial = 0; trial < 200; ++trial) {
        const double scale = (trial % 10 == 0 ? 2.0 : 0.05) * (F::kIsFixed ? 32768.0 : 1.0);
        alignas(32) typename vexa::SynthesisFormat<F>::ringValue ring[vexa::kRingHalfEntries];
        for (auto& v : ring) v = static_cast<typename F::sample>(value(random) * scale);
        if constexpr (F::kIsFixed) {
            if (trial == 1) ring[17] = 0x7fffffff;
        } else {
            if (trial == 1) ring[21] = std::numeric_limits<double>::quiet_NaN();
            if (trial == 2) ring[40] = -std::numeric_limits<double>::infinity();
        }
        for (int32_t b = 0; b <= 16; ++b) {
            int16_t plain[64] = {}, fast[64] = {}, chosen[64] = {};
            vexa::WindowRingPlain<F>(format.window, b, ring, subbands, plain);
            // The chosen form is AVX or AVX2 where this processor has it.
            if constexpr (F::kIsFixed) {
                vexa::WindowRingFixed(format.windowForward, format.windowMirrored, b, ring, subbands, fast);
                vexa::ChooseFixedWindowing()(format.windowForward, format.windowMirrored, b, ring, subbands, chosen);
            } else {
                vexa::WindowRingWide(format.windowForward, format.windowMirrored, b, ring, subbands, fast);
                vexa::ChooseWideWindowing()(format.windowForward, format.windowMirrored, b, ring, subbands, chosen);
            }
            ASSERT_EQ(std::memcmp(fast, plain, sizeof plain), 0) << "quality " << quality << " b " << b;
            ASSERT_EQ(std::memcmp(chosen, plain, sizeof plain), 0) << "quality " << quality << " b " << b;
        }
    }
}

TYPED_TEST(FastPathsByFormat, FastWindowingEqualsPlainInEveryQuality) {
    for (int32_t quality = 0; quality < 3; ++quality) ExpectFastWindowingEqualsPlain<TypeParam>(quality);
}

// Random blocks through the chosen kernel of each size and through the plain
// DCT stages, placed in the ring as the kernel places them; large blocks
// make the fixed format's sums and products wrap and the float formats'
// overflow into infinities and NaNs.
TYPED_TEST(FastPathsByFormat, ChosenDctKernelEqualsPlainStages) {
    using F = TypeParam;
    using S = typename F::sample;
    vexa::BuildDctTables();
    const auto* table = vexa::SynthesisFor<F>().dct;
    std::mt19937 random(32);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    for (int trial = 0; trial < 300; ++trial) {
        const bool large = trial % 3 == 0;
        const double scale = F::kIsFixed ? (large ? 2.0e9 : 32768.0) : (large ? 1.0e34 : 1.0);
        S in[32], plain[32];
        for (S& x : in) x = static_cast<S>(value(random) * scale);
        for (const int32_t points : {32, 16, 8}) {
            vexa::RingValue<F> a[17] = {}, b[16] = {};
            vexa::RingKernelFor<F>(points)(in, a, b);
            if (points == 32) vexa::DctStage<32, F>(in, plain, table);
            if (points == 16) vexa::DctStage<16, F>(in, plain, table);
            if (points == 8) vexa::DctStage<8, F>(in, plain, table);
            for (int32_t row = 0; row <= points / 2; ++row) {
                const vexa::RingValue<F> expected[2] = {plain[points / 2 - row], plain[(points / 2 + row) % points]};
                ASSERT_EQ(std::memcmp(&a[row], &expected[0], sizeof a[0]), 0) << points << " points, trial " << trial;
                ASSERT_TRUE(row == points / 2 || std::memcmp(&b[row], &expected[1], sizeof b[0]) == 0) << trial;
            }
        }
    }
}

TEST(FastPaths, BlockConversionToQ15EqualsOneByOne) {
    std::mt19937 random(15);
    std::vector<float> values = {0.0f, -0.0f, 1.0f, -1.0f, 65535.99f, 65536.0f, -65536.0f, -65536.01f, 1e30f,
                                 -1e30f, std::numeric_limits<float>::infinity(),
                                 -std::numeric_limits<float>::infinity(), std::numeric_limits<float>::quiet_NaN()};
    for (int i = 0; i < 4000; ++i)
        values.push_back(std::ldexp(std::uniform_real_distribution<float>(-1.0f, 1.0f)(random), i % 20));
    while (values.size() % 4 != 0) values.push_back(0.5f);
    std::vector<int32_t> block(values.size());
    vexa::FloatsToQ15(values.data(), block.data(), static_cast<int32_t>(values.size()));
    for (size_t i = 0; i < values.size(); ++i) ASSERT_EQ(block[i], vexa::FloatToQ15(values[i])) << values[i];
}

// Random spectra and overlaps through both alias reductions, and through
// both filterbanks from the same state, for every block kind and every count
// of active sub-bands; the fixed format's values are large enough for its
// products to wrap.
TYPED_TEST(FastPathsByFormat, LaneAliasReductionAndHybridEqualPlain) {
    using F = TypeParam;
    vexa::FrameHeader header{};
    header.subbandCount = 32;
    vexa::SetUpLayer3Tables(header);
    vexa::Layer3Format<F>& format = vexa::Layer3For<F>();
    std::mt19937 random(3);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    const double scale = F::kIsFixed ? 3.0e6 : 1.0;
    const int kinds[6][2] = {{0, 0}, {1, 0}, {3, 0}, {2, 0}, {2, 1}, {1, 1}};  // block type, mixed
    for (const auto& kind : kinds) {
        for (int32_t active = 0; active <= 32; ++active) {
            vexa::GranuleInfo granule{};
            granule.block_type = kind[0];
            granule.mixed_block_flag = kind[1];
            granule.activeSubbands = active;
            vexa::Layer3Value<F> spectrum[vexa::kGranuleLines], overlap[vexa::kGranuleLines];
            for (auto& v : spectrum) v = static_cast<typename F::sample>(value(random) * scale);
            for (auto& v : overlap) v = static_cast<typename F::sample>(value(random) * scale);
            typename F::sample outputs[2][vexa::kGranuleLines];
            vexa::Layer3Value<F> nexts[2][vexa::kGranuleLines];
            for (int fast = 0; fast < 2; ++fast) {
                vexa::Layer3Value<F> input[vexa::kGranuleLines];
                std::memcpy(input, spectrum, sizeof input);
                std::memcpy(format.overlap[0][0], overlap, sizeof overlap);
                std::memset(format.overlap[1][0], 0x55, sizeof nexts[fast]);  // no value left from the other run
                vexa::g_layer3.overlapToggle[0] = 0;
                if (fast) vexa::Hybrid<F>(granule, input, outputs[1], 0, 32);
                else vexa::HybridPlain<F>(granule, input, outputs[0], 0, 32);
                std::memcpy(nexts[fast], format.overlap[1][0], sizeof nexts[fast]);
            }
            vexa::Layer3Value<F> aliased[2][vexa::kGranuleLines];
            for (auto& copy : aliased) std::memcpy(copy, spectrum, sizeof spectrum);
            vexa::ReduceAliasesPlain<F>(granule, aliased[0]);
            vexa::ReduceAliases<F>(granule, aliased[1]);
            SCOPED_TRACE(testing::Message() << "block type " << kind[0] << " mixed " << kind[1] << " active " << active);
            ASSERT_EQ(std::memcmp(aliased[0], aliased[1], sizeof aliased[0]), 0) << "alias reduction";
            ASSERT_EQ(std::memcmp(outputs[0], outputs[1], sizeof outputs[0]), 0) << "output";
            ASSERT_EQ(std::memcmp(nexts[0], nexts[1], sizeof nexts[0]), 0) << "next overlap";
        }
    }
}

// Lines of both signs and magnitudes, some bands all negative, zeros of
// both signs and NaNs among them.
TYPED_TEST(FastPathsByFormat, LineBandMaximaEqualPlain) {
    using S = typename TypeParam::sample;
    std::mt19937 random(9);
    for (int trial = 0; trial < 400; ++trial) {
        S lines[vexa::kGranuleLines], fast[20], plain[20];
        for (S& x : lines) {
            const uint32_t r = random();
            x = static_cast<S>(static_cast<int32_t>(r) >> (r & 31));
            if (trial % 4 == 0 && x > 0) x = -x;
            if (std::is_floating_point_v<S> && r % 13 == 0) x = r % 2 ? S(-0.0) : std::numeric_limits<S>::quiet_NaN();
        }
        vexa::LineBandMaxima(lines, fast);
        vexa::LineBandMaximaPlain(lines, plain);
        ASSERT_EQ(std::memcmp(fast, plain, sizeof fast), 0) << "trial " << trial;
    }
}

}  // namespace
