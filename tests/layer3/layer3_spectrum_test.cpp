// Side information, scale factors and the Huffman walk on hand-made bits.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "decoder/bit_reader.h"
#include "decoder/layer3_scale_factors.h"
#include "decoder/layer3_side_info.h"
#include "decoder/layer3_standard_tables.h"
#include "decoder/layer3_spectrum.h"
#include "layer3_harness.h"

using namespace vexa;
using layer3test::BitWriter;

namespace {

class Layer3Spectrum : public ::testing::Test {
protected:
    void SetUp() override { layer3test::SetUpTablesAtQuality(0); }

    // A long-block granule whose whole big-value part uses one table, at
    // gain 1.0 (global_gain 210, scale factors 0).
    static GranuleInfo LongGranule(int32_t bigValues, int32_t table, int32_t part23, int32_t firstBit = 0) {
        GranuleInfo g{};
        g.scfsi = -1;
        g.part2_3_length = part23;
        g.firstBit = firstBit;
        g.endBit = firstBit + part23;
        g.big_values = bigValues;
        g.table_select[0] = g.table_select[1] = g.table_select[2] = table;
        g.region1Start = 288;
        g.region2Start = 288;
        g.global_gain = 210;
        return g;
    }

    // Decodes from startBit of bytes; values not written keep 999.
    template <class F>
    int32_t Decode(GranuleInfo& g, const std::vector<uint8_t>& bytes, int32_t startBit, int32_t rate = 0) {
        bytes_ = bytes;
        g_bitReader.base = bytes_.data();
        g_bitReader.position = startBit;
        SetGains(g, 0, -1);
        auto& spectrum = Layer3For<F>().spectrum;
        for (auto& v : spectrum) v = typename Layer3Arith<F>::value(999);
        return DecodeSpectrum<F>(g, spectrum, scaleFactors_, rate);
    }

    static double Value(int line) { return g_layer3.dual.spectrum[line]; }
    static void ExpectAllZero(int from = 0, int to = 576) {
        for (int i = from; i < to; ++i) ASSERT_EQ(Value(i), 0.0) << "line " << i;
    }

    std::vector<uint8_t> bytes_;
    int32_t scaleFactors_[kScaleFactorCount] = {};
};

std::vector<uint8_t> Ones(size_t count) { return std::vector<uint8_t>(count, 0xFF); }

TEST_F(Layer3Spectrum, TablesWithoutCodesReadNoBits) {
    for (int table : {0, 4, 14}) {
        GranuleInfo g = LongGranule(100, table, 0);
        EXPECT_EQ(Decode<DoubleFormat>(g, Ones(700), 0), 0) << table;
        ExpectAllZero();
        EXPECT_EQ(g_bitReader.position, 0) << table;
        EXPECT_EQ(g.longBandEnd, 0);
    }
}

TEST_F(Layer3Spectrum, EmptyGranuleOffAByteBoundary) {
    GranuleInfo g = LongGranule(0, 1, 0, 3);
    EXPECT_EQ(Decode<DoubleFormat>(g, Ones(700), 3), 0);
    ExpectAllZero();
    EXPECT_EQ(g_bitReader.position, 3);  // the alignment bits are given back
    EXPECT_EQ(g.activeSubbands, 1);
}

TEST_F(Layer3Spectrum, Band21DecodesToZeroButCountsForTheExtent) {
    // 44.1 kHz: band 21 starts at line 418, pair 209.
    BitWriter bits;
    for (int pair = 0; pair < 209; ++pair) bits.PutCode("1");  // (0, 0) in table 1
    for (int pair = 209; pair < 288; ++pair) bits.PutCode("00000");  // (1, 1), both signs +
    GranuleInfo g = LongGranule(288, 1, bits.bitCount());
    EXPECT_EQ(Decode<DoubleFormat>(g, bits.Bytes(), 0), 0);
    ExpectAllZero();
    EXPECT_EQ(g.longBandEnd, 22);
    EXPECT_EQ(g.activeSubbands, 32);
}

TEST_F(Layer3Spectrum, BigValues288LeaveNoRoomForQuadruples) {
    BitWriter bits;
    for (int pair = 0; pair < 288; ++pair) bits.PutCode("1");
    for (int quad = 0; quad < 4; ++quad) bits.PutCode("01010");  // would be (0, 0, 0, +1)
    GranuleInfo g = LongGranule(288, 1, bits.bitCount());
    EXPECT_EQ(Decode<DoubleFormat>(g, bits.Bytes(), 0), 0);
    ExpectAllZero();
    EXPECT_EQ(g_bitReader.position, g.endBit);  // the rest is skipped
}

struct QuadCase {
    const char* what;
    int32_t part23;
    int32_t result;
    double line3;
};

TEST_F(Layer3Spectrum, QuadruplesAtTheEndOfTheGranule) {
    // Table A code 0101 is (0, 0, 0, 1); its sign bit 1 makes it -1.
    const QuadCase cases[] = {
        {"code and sign end exactly at endBit", 5, 0, -1.0},
        {"sign bit one past endBit", 4, 0, 0.0},
        {"code one past endBit", 3, 0, 0.0},
    };
    for (const QuadCase& c : cases) {
        BitWriter bits;
        bits.PutCode("01011");
        bits.PutCode("0101");
        GranuleInfo g = LongGranule(0, 1, c.part23);
        EXPECT_EQ(Decode<DoubleFormat>(g, bits.Bytes(), 0), c.result) << c.what;
        EXPECT_EQ(Value(3), c.line3) << c.what;
        ExpectAllZero(4, 576);
        EXPECT_EQ(g_bitReader.position, c.part23) << c.what;
    }
}

TEST_F(Layer3Spectrum, OneBitOfBigValuesTooManyIsAnOverrun) {
    BitWriter bits;
    bits.PutCode("000");  // (1, 1) in table 1
    bits.PutCode("01");   // signs
    GranuleInfo exact = LongGranule(1, 1, 5);
    EXPECT_EQ(Decode<DoubleFormat>(exact, bits.Bytes(), 0), 0);
    EXPECT_EQ(Value(0), 1.0);
    EXPECT_EQ(Value(1), -1.0);
    GranuleInfo short1 = LongGranule(1, 1, 4);
    EXPECT_EQ(Decode<DoubleFormat>(short1, bits.Bytes(), 0), 1);
}

TEST_F(Layer3Spectrum, IntegerEngineUsesExponentOnePointOne) {
    // Table 2: (2, 0) is 00011. Gain index -198 is 4096 in Q15.
    for (const char* sign : {"0", "1"}) {
        BitWriter bits;
        bits.PutCode("00011");
        bits.PutCode(sign);
        GranuleInfo g = LongGranule(1, 2, 6);
        g.global_gain = 198;
        EXPECT_EQ(Decode<FixedFormat>(g, bits.Bytes(), 0), 0);
        // Negative products round toward minus infinity.
        EXPECT_EQ(g_layer3.fixed.spectrum[0].v, sign[0] == '0' ? 8779 : -8780);
        EXPECT_EQ(g_layer3.fixed.spectrum[1].v, 0);
        EXPECT_EQ(Decode<DoubleFormat>(g, bits.Bytes(), 0), 0);
        EXPECT_NEAR(std::fabs(Value(0)), std::pow(2.0, 4.0 / 3.0) / 8.0, 1e-12);
    }
}

TEST_F(Layer3Spectrum, LinbitsOnlyWhereTheTableHasThem) {
    // Table 15 has no linbits, so 15 is the magnitude 15; table 23 adds 13
    // bits to it. The codes are found by searching the trees.
    auto codeOf = [](int table, int value) {
        const int16_t* tree = tables::kHuffmanTables[table].tree;
        std::string found;
        std::function<bool(const int16_t*, std::string)> search = [&](const int16_t* node, std::string prefix) {
            if (*node >= 0) {
                if (*node == value) found = prefix;
                return *node == value;
            }
            const int skip = -*node;
            return search(node + 1, prefix + "0") || search(node + 1 + skip, prefix + "1");
        };
        search(tree, "");
        return found;
    };
    {
        BitWriter bits;
        bits.PutCode(codeOf(15, 15 * 16));
        bits.PutCode("0");
        GranuleInfo g = LongGranule(1, 15, bits.bitCount());
        EXPECT_EQ(Decode<DoubleFormat>(g, bits.Bytes(), 0), 0);
        EXPECT_NEAR(Value(0), std::pow(15.0, 4.0 / 3.0), 1e-9);
    }
    {
        BitWriter bits;
        bits.PutCode(codeOf(23, 15 * 16));  // table 23: linbits 13
        bits.Put(8191, 13);
        bits.PutCode("1");
        GranuleInfo g = LongGranule(1, 23, bits.bitCount());
        EXPECT_EQ(Decode<DoubleFormat>(g, bits.Bytes(), 0), 0);
        EXPECT_NEAR(Value(0), -std::pow(8206.0, 4.0 / 3.0), 1e-6);
    }
}

TEST_F(Layer3Spectrum, ShortBlocksWriteInterleavedWindows) {
    BitWriter bits;
    bits.PutCode("00000");  // (1, 1): window 0 of band 0, lines 0 and 3
    GranuleInfo g = LongGranule(1, 1, 5);
    g.block_type = 2;
    g.region1Start = 18;
    EXPECT_EQ(Decode<DoubleFormat>(g, bits.Bytes(), 0), 0);
    EXPECT_EQ(Value(0), 1.0);
    EXPECT_EQ(Value(3), 1.0);
    EXPECT_EQ(Value(1), 0.0);
    EXPECT_EQ(Value(6), 0.0);
    ExpectAllZero(4, 576);
    EXPECT_EQ(g.shortBandEnd[0], 1);
    EXPECT_EQ(g.shortBandEnd[1], 0);
    EXPECT_EQ(g.activeSubbands, 1);
}

TEST_F(Layer3Spectrum, MixedBlocksStartLongAndCountShortWindowsFromBand3) {
    BitWriter bits;
    bits.PutCode("00000");  // (1, 1) on long lines 0 and 1
    GranuleInfo g = LongGranule(1, 1, 5);
    g.block_type = 2;
    g.mixed_block_flag = 1;
    g.region1Start = 18;
    EXPECT_EQ(Decode<DoubleFormat>(g, bits.Bytes(), 0), 0);
    EXPECT_EQ(Value(0), 1.0);
    EXPECT_EQ(Value(1), 1.0);
    ExpectAllZero(2, 576);
    EXPECT_EQ(g.longBandEnd, 1);
    EXPECT_EQ(g.shortBandEnd[0], 3);
    EXPECT_EQ(g.activeSubbands, g_layer3.shared.shortLimit[0][3]);
}

// Side information of an MPEG-1 single-channel frame, with the fields given.
std::vector<uint8_t> Mpeg1MonoSideInfo(int region0, int region1, int bigValues, bool switching, int blockType) {
    BitWriter bits;
    bits.Put(0, 9);   // main_data_begin
    bits.Put(0, 5);   // private
    bits.Put(0, 4);   // scfsi
    for (int gr = 0; gr < 2; ++gr) {
        bits.Put(100, 12);
        bits.Put(static_cast<uint32_t>(bigValues), 9);
        bits.Put(210, 8);
        bits.Put(0, 4);
        bits.Put(switching ? 1 : 0, 1);
        if (switching) {
            bits.Put(static_cast<uint32_t>(blockType), 2);
            bits.Put(0, 1);
            bits.Put(1, 5);
            bits.Put(1, 5);
            bits.Put(0, 9);
        } else {
            bits.Put(1, 15);
            bits.Put(static_cast<uint32_t>(region0), 4);
            bits.Put(static_cast<uint32_t>(region1), 3);
        }
        bits.Put(0, 3);
    }
    return bits.Bytes();
}

TEST_F(Layer3Spectrum, SideInformation) {
    SideInfo info{};
    auto bytes = Mpeg1MonoSideInfo(15, 7, 500, false, 0);
    g_bitReader = {bytes.data(), 0};
    ASSERT_EQ(ReadSideInfo(info, 1, 0, 0), 1);
    EXPECT_EQ(info.granule[0][0].big_values, 288);  // lowered from 500
    EXPECT_EQ(info.granule[0][0].region1Start, 162 / 2);  // long start of band 16
    EXPECT_EQ(info.granule[0][0].region2Start, 288);      // band 24 lies past the table
    EXPECT_EQ(info.granule[1][0].firstBit, 100);
    EXPECT_EQ(info.granule[1][0].endBit, 200);
    EXPECT_EQ(info.granule[0][0].scfsi, -1);

    bytes = Mpeg1MonoSideInfo(0, 0, 10, true, 0);
    g_bitReader = {bytes.data(), 0};
    EXPECT_EQ(ReadSideInfo(info, 1, 0, 0), 0) << "window switching with block_type 0";

    bytes = Mpeg1MonoSideInfo(0, 0, 10, true, 2);
    g_bitReader = {bytes.data(), 0};
    ASSERT_EQ(ReadSideInfo(info, 1, 0, 0), 1);
    EXPECT_EQ(info.granule[0][0].region1Start, 18);
    EXPECT_EQ(info.granule[0][0].region2Start, 288);
}

// LSF, one channel, one granule switching windows with the given block type.
std::vector<uint8_t> LsfMonoSideInfo(int blockType) {
    BitWriter bits;
    bits.Put(0, 8);   // main_data_begin
    bits.Put(0, 1);   // private
    bits.Put(100, 12);
    bits.Put(50, 9);
    bits.Put(210, 8);
    bits.Put(0, 9);
    bits.Put(1, 1);   // window switching
    bits.Put(static_cast<uint32_t>(blockType), 2);
    bits.Put(0, 1);
    bits.Put(1, 5);
    bits.Put(1, 5);
    bits.Put(0, 9);
    bits.Put(0, 2);
    return bits.Bytes();
}

TEST_F(Layer3Spectrum, LsfRegion1StartWithWindowSwitching) {
    struct Case {
        int rate;
        int blockType;
        int32_t region1Start;
    };
    // Short blocks start region 1 at pair 18 at every rate, 8 kHz included;
    // start and stop blocks at pair 27, or 54 at 8 kHz.
    const Case cases[] = {{3, 2, 18}, {8, 2, 18}, {3, 1, 27}, {5, 3, 27}, {8, 1, 54}, {8, 3, 54}};
    for (const Case& c : cases) {
        SideInfo info{};
        const auto bytes = LsfMonoSideInfo(c.blockType);
        g_bitReader = {bytes.data(), 0};
        ASSERT_EQ(ReadSideInfo(info, 1, c.rate, 1), 1);
        EXPECT_EQ(info.granule[0][0].region1Start, c.region1Start) << "rate " << c.rate << " type " << c.blockType;
        EXPECT_EQ(info.granule[0][0].region2Start, 288);
        EXPECT_EQ(g_bitReader.position, 8 + 1 + 12 + 9 + 8 + 9 + 1 + 2 + 1 + 10 + 9 + 2);
    }
}

TEST_F(Layer3Spectrum, ScfsiReusesGranule0ScaleFactors) {
    int32_t scaleFactors[kScaleFactorCount];
    for (int i = 0; i < kScaleFactorCount; ++i) scaleFactors[i] = i % 7;
    GranuleInfo g{};
    g.scfsi = 15;
    g.scalefac_compress = 15;  // slen 4 and 3: would read 74 bits
    g.firstBit = 5;
    const auto bytes = Ones(64);
    g_bitReader = {bytes.data(), 0};
    ReadScaleFactorsMpeg1(g, scaleFactors);
    EXPECT_EQ(g_bitReader.position, 5);
    for (int i = 0; i < 21; ++i) EXPECT_EQ(scaleFactors[i], i % 7);
    g.scfsi = 8 | 1;  // groups 0-5 and 16-20 kept, 6-15 read
    ReadScaleFactorsMpeg1(g, scaleFactors);
    EXPECT_EQ(g_bitReader.position, 5 + 5 * 4 + 5 * 3);
    EXPECT_EQ(scaleFactors[5], 5);
    EXPECT_EQ(scaleFactors[6], 15);
    EXPECT_EQ(scaleFactors[15], 7);
    EXPECT_EQ(scaleFactors[16], 16 % 7);
}

TEST_F(Layer3Spectrum, LsfLengthsComeFromTheIntensityTableForChannel1) {
    const auto bytes = Ones(64);
    int32_t scaleFactors[kScaleFactorCount] = {};
    GranuleInfo g{};
    g.scalefac_compress = 2 * 196;  // intensity entry 196: lengths (1, 0, 0, 0), row 4 (6, 6, 6, 3)
    g_bitReader = {bytes.data(), 0};
    ReadScaleFactorsLsf(g, scaleFactors, 1);
    EXPECT_EQ(g_bitReader.position, 6);
    EXPECT_EQ(scaleFactors[5], 1);
    EXPECT_EQ(scaleFactors[6], 0);
    // The normal table's entry 392: lengths (4, 4, 2, 0), row 0 (6, 5, 5, 5).
    g_bitReader = {bytes.data(), 0};
    ReadScaleFactorsLsf(g, scaleFactors, 0);
    EXPECT_EQ(g_bitReader.position, 6 * 4 + 5 * 4 + 5 * 2);
    EXPECT_EQ(g.preflag, 0);
    g.scalefac_compress = 505;  // normal entries 500..511 set preflag
    g_bitReader = {bytes.data(), 0};
    ReadScaleFactorsLsf(g, scaleFactors, 0);
    EXPECT_EQ(g.preflag, 1);
}

TEST_F(Layer3Spectrum, GainOffsetsForMixAndMidSide) {
    GranuleInfo g{};
    g.global_gain = 200;
    g.subblockGainStep[1] = 16;
    SetGains(g, 1, 3);
    EXPECT_EQ(g_layer3.longGainBase, 4 - 200 + 2);
    EXPECT_EQ(g_layer3.shortGainBase[1], 4 - 200 + 2 + 16);
    SetGains(g, 0, -1);
    EXPECT_EQ(g_layer3.longGainBase, -200);
}

}  // namespace
