// The generated Huffman trees against the code words they were made from,
// and the tables built at stream open.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "decoder/layer3_standard_tables.h"
#include "decoder/layer3_state.h"
#include "layer3_harness.h"
#include "support/test_support.h"

using namespace vexa;

namespace {

struct CodeWord {
    int value;  // x * 16 + y, or v w x y as bits 3..0
    std::string code;
};

// The code tables of huffman.txt, keyed by table number (quadruple tables
// as 32 and 33).
std::map<int, std::vector<CodeWord>> ReadCodeTables() {
    std::map<int, std::vector<CodeWord>> tables;
    std::ifstream in(vexatest::SharedPath("tables/huffman.txt"));
    std::string line;
    std::vector<CodeWord>* current = nullptr;
    while (std::getline(in, line)) {
        line = line.substr(0, line.find('#'));
        std::istringstream words(line);
        std::string first;
        if (!(words >> first)) continue;
        if (first == "table") {
            int number;
            words >> number;
            current = &tables[number];
        } else if (first == "quad") {
            std::string name;
            words >> name;
            current = &tables[name == "A" ? 32 : 33];
        } else if (current == &tables[32] || current == &tables[33]) {
            int w, x, y, length;
            std::string code;
            words >> w >> x >> y >> length >> code;
            current->push_back({std::stoi(first) * 8 + w * 4 + x * 2 + y, code});
        } else {
            int y, length;
            std::string code;
            words >> y >> length >> code;
            current->push_back({std::stoi(first) * 16 + y, code});
        }
    }
    return tables;
}

// Walks a pre-order tree along the code's bits; -1 when the code ends on an
// inner node or runs past a leaf.
int Walk(const int16_t* node, const std::string& code) {
    size_t used = 0;
    while (*node < 0) {
        if (used == code.size()) return -1;
        const int skip = -*node;
        ++node;
        if (code[used++] == '1') node += skip;
    }
    return used == code.size() ? *node : -1;
}

TEST(Layer3Tables, EveryCodeWordWalksToItsOwnValue) {
    const auto codeTables = ReadCodeTables();
    ASSERT_EQ(codeTables.size(), 17u);  // 15 big-value tables with codes, A and B
    for (const auto& [number, words] : codeTables) {
        const int16_t* tree = tables::kHuffmanTables[number].tree;
        for (const CodeWord& word : words)
            EXPECT_EQ(Walk(tree, word.code), word.value) << "table " << number << " code " << word.code;
    }
}

TEST(Layer3Tables, SharedTreesAndLinbits) {
    static const int kLinbits[32] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                                     1, 2, 3, 4, 6, 8, 10, 13, 4, 5, 6, 7, 8, 9, 11, 13};
    for (int t = 0; t < 32; ++t) {
        EXPECT_EQ(tables::kHuffmanTables[t].linbits, kLinbits[t]) << t;
        const int shared = t > 16 && t < 24 ? 16 : (t > 24 ? 24 : t);
        EXPECT_EQ(tables::kHuffmanTables[t].tree, tables::kHuffmanTables[shared].tree) << t;
    }
    for (int t : {0, 4, 14}) {
        EXPECT_EQ(tables::kHuffmanTables[t].tree[0], 0) << "table " << t << " is one leaf (0, 0)";
    }
}

class Layer3SetUp : public ::testing::Test {
protected:
    void SetUpFor(int32_t quality) { layer3test::SetUpTablesAtQuality(quality); }
};

TEST_F(Layer3SetUp, BandMapsCoverTheGranule) {
    SetUpFor(0);
    for (int rate = 0; rate < 9; ++rate) {
        int longPairs = 0, shortPairs = 0, mixedPairs = 0;
        for (const BandMapEntry& e : g_layer3.shared.longMap[rate]) longPairs += e.pairCount;
        for (const BandMapEntry& e : g_layer3.shared.shortMap[rate]) shortPairs += e.pairCount;
        for (const BandMapEntry& e : g_layer3.shared.mixedMap[rate]) mixedPairs += e.pairCount;
        EXPECT_EQ(longPairs, 288) << rate;
        EXPECT_EQ(shortPairs, 288) << rate;
        EXPECT_GE(mixedPairs, 288) << rate;
    }
    // Mixed short bands start at the long start of band 8: 36 lines at
    // 44.1 kHz, 54 at 22.05 kHz, 108 at 8 kHz.
    EXPECT_EQ(g_layer3.shared.mixedMap[0][8].startLine, 36);
    EXPECT_EQ(g_layer3.shared.mixedMap[3][8].startLine, 54);
    EXPECT_EQ(g_layer3.shared.mixedMap[8][8].startLine, 108);
    EXPECT_EQ(g_layer3.shared.mixedMap[0][8].band, 3);
    EXPECT_EQ(g_layer3.shared.mixedMap[0][9].startLine, 37);  // window 1 of band 3
}

TEST_F(Layer3SetUp, LimitsAreClampedToTheQuality) {
    for (int quality = 0; quality < 3; ++quality) {
        SetUpFor(quality);
        const int32_t limit = 32 >> quality;
        EXPECT_EQ(g_layer3.shared.longLimit[0][22], limit);
        EXPECT_EQ(g_layer3.shared.shortLimit[0][13], limit);
        EXPECT_EQ(g_layer3.shared.shortLimit[0][0], 1);  // (0 - 1) / 18 truncates to 0
        EXPECT_EQ(g_layer3.shared.longLimit[0][0], 1);
        EXPECT_EQ(g_layer3.shared.longLimit[0][8], 3);  // line 36: (36 + 7) / 18 + 1
    }
}

TEST_F(Layer3SetUp, LsfLengthTables) {
    SetUpFor(0);
    auto lengths = [](uint16_t e) {
        return std::vector<int>{e & 7, (e >> 3) & 7, (e >> 6) & 7, (e >> 9) & 7, (e >> 12) & 7, e >> 15};
    };
    EXPECT_EQ(lengths(g_layer3.shared.lsfNormal[399]), (std::vector<int>{4, 4, 3, 3, 0, 0}));
    EXPECT_EQ(lengths(g_layer3.shared.lsfNormal[499]), (std::vector<int>{4, 4, 3, 0, 1, 0}));
    EXPECT_EQ(lengths(g_layer3.shared.lsfNormal[511]), (std::vector<int>{3, 2, 0, 0, 2, 1}));
    EXPECT_EQ(lengths(g_layer3.shared.lsfIntensity[179]), (std::vector<int>{4, 5, 5, 0, 3, 0}));
    EXPECT_EQ(lengths(g_layer3.shared.lsfIntensity[243]), (std::vector<int>{3, 3, 3, 0, 4, 0}));
    EXPECT_EQ(lengths(g_layer3.shared.lsfIntensity[255]), (std::vector<int>{3, 2, 0, 0, 5, 0}));
}

TEST_F(Layer3SetUp, PowersAndGains) {
    SetUpFor(0);
    // The integer engine's exponent is 1.1: 32768 * 2^1.1 = 70239.8.
    EXPECT_EQ(g_layer3.fixed.power[2], 70239);
    EXPECT_NEAR(g_layer3.dual.power[2], std::pow(2.0, 4.0 / 3.0), 1e-12);
    EXPECT_EQ(g_layer3.single.power[8206], static_cast<float>(std::pow(8206.0, 4.0 / 3.0)));
    EXPECT_EQ(GainAt<FixedFormat>(-198), 4096);  // 2^-3
    EXPECT_EQ(GainAt<DoubleFormat>(-210), 1.0);
    // Indices outside the table take its nearest entry.
    EXPECT_EQ(GainAt<DoubleFormat>(500), GainAt<DoubleFormat>(121));
    EXPECT_EQ(GainAt<DoubleFormat>(-500), GainAt<DoubleFormat>(-256));
}

TEST_F(Layer3SetUp, IntensityTables) {
    SetUpFor(0);
    const auto& f = g_layer3.dual.intensity;
    EXPECT_EQ(f[0][0][6], 1.0);
    EXPECT_EQ(f[0][1][6], 0.0);
    EXPECT_EQ(f[0][0][12], 1.0);
    EXPECT_EQ(f[0][1][12], 0.0);
    EXPECT_EQ(f[0][0][9], 5.0);
    EXPECT_EQ(f[0][1][9], -5.0);
    EXPECT_EQ(f[1][0][9], 5.0);
    EXPECT_EQ(f[1][0][6], 1.414213562373);
    EXPECT_NEAR(f[0][0][3] + f[0][1][3], 1.0, 1e-12);
    // LSF: odd positions scale the left channel, even ones the right; the
    // formula runs on to position 31.
    EXPECT_NEAR(f[2][0][1], std::pow(2.0, -0.25), 1e-12);
    EXPECT_EQ(f[2][1][1], 1.0);
    EXPECT_NEAR(f[4][1][2], std::pow(2.0, -0.5), 1e-12);
    EXPECT_NEAR(f[2][0][31], std::pow(2.0, -0.25 * 16), 1e-12);
    EXPECT_NEAR(f[5][1][30], 1.414213562373 * std::pow(2.0, -0.5 * 15), 1e-12);
}

TEST_F(Layer3SetUp, OddWindowsNegateOddValues) {
    SetUpFor(0);
    for (int type = 0; type < 4; ++type)
        for (int i = 0; i < 36; ++i)
            EXPECT_EQ(g_layer3.dual.windowOdd[type][i], (i % 2) ? -g_layer3.dual.window[type][i] : g_layer3.dual.window[type][i]);
}

}  // namespace
