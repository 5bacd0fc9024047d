// Every fast path of the decoder against the plain form it replaces, on the
// same input: the Huffman lookup against the tree walk, the SSE2 windowing
// against the scalar windowing.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "decoder/decoder.h"
#include "decoder/layer3_huffman.h"
#include "decoder/layer3_standard_tables.h"
#include "decoder/synthesis.h"
#include "decoder/synthesis_window.h"
#include "engine/engine_record.h"

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
        vexa::BuildHuffmanLookup(tree, lookup);
        // Every code word, followed by random bits, and random words.
        std::vector<uint32_t> words;
        std::vector<std::pair<uint32_t, int>> codes;
        CollectCodes(tree, 0, 0, 0, codes);
        for (const auto& [code, length] : codes) {
            ASSERT_LE(length, 19) << "table " << table;
            for (int tail = 0; tail < 4; ++tail) {
                const uint32_t rest = length == 32 ? 0u : random() >> length;
                words.push_back((length == 0 ? 0u : code << (32 - length)) | rest);
            }
        }
        for (int i = 0; i < 4096; ++i) words.push_back(random());
        for (const uint32_t word : words) {
            uint32_t walked = word, looked = word;
            int32_t walkedBits = 0, lookedBits = 0;
            const int32_t leaf = vexa::WalkTree(tree, walked, walkedBits);
            ASSERT_EQ(vexa::LookupCode(lookup, tree, looked, lookedBits), leaf) << "table " << table << " " << word;
            ASSERT_EQ(lookedBits, walkedBits) << "table " << table << " " << word;
            ASSERT_EQ(looked, walked);
        }
    }
}

// Random rings through the chosen window of each quality, scaled so that
// most sums land inside the PCM range and some beyond it (clamped).
template <class F>
void ExpectWideWindowingEqualsPlain(int32_t quality) {
    vexa::g_engine.quality = quality;
    vexa::g_engine.engineKind = 0;
    vexa::g_engine.channelSelect = -1;
    vexa::g_engine.eightBit = 0;
    vexa::BuildDctTables();
    vexa::BuildWindowTables(30000);
    vexa::ConfigureSynthesis(vexa::g_engine);
    const vexa::SynthesisFormat<F>& format = vexa::SynthesisFor<F>();
    const int32_t subbands = 32 >> quality;
    std::mt19937 random(static_cast<uint32_t>(quality));
    std::uniform_real_distribution<float> value(-1.0f, 1.0f);
    for (int trial = 0; trial < 200; ++trial) {
        const double scale = trial % 10 == 0 ? 2.0 : 0.05;
        double ring[vexa::kRingHalfEntries];
        for (double& v : ring) v = static_cast<typename F::sample>(value(random) * scale);
        for (int32_t b = 0; b <= 16; ++b) {
            int16_t plain[64] = {}, wide[64] = {};
            vexa::WindowRingPlain<F>(format.window, b, ring, subbands, plain);
            vexa::WindowRingWide(format.windowForward, format.windowMirrored, b, ring, subbands, wide);
            for (int32_t j = 0; j < subbands; ++j)
                ASSERT_EQ(wide[2 * j], plain[2 * j]) << "quality " << quality << " b " << b << " sample " << j;
        }
    }
}

TEST(FastPaths, WideWindowingEqualsPlainInBothFloatFormatsAndQualities) {
    for (int32_t quality = 0; quality < 3; ++quality) {
        ExpectWideWindowingEqualsPlain<vexa::SingleFormat>(quality);
        ExpectWideWindowingEqualsPlain<vexa::DoubleFormat>(quality);
    }
}

}  // namespace
