// Side information, scale factors and the Huffman walk on hand-made bits.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "decoder/bit_reader.h"
#include "decoder/layer3_scale_factors.h"
#include "decoder/layer3_side_info.h"
#include "decoder/layer3_spectrum.h"
#include "decoder/layer3_state.h"
#include "support/decode_support.h"

using namespace vexa;
using vexatest::BitWriter;

namespace {

class Layer3Spectrum : public ::testing::Test {
protected:
    void SetUp() override {
        FrameHeader header{};
        header.subbandCount = 32;
        header.lineCount = 576;
        SetUpLayer3Tables(header);
    }

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
        g.region1Start = g.region2Start = 288;
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

    std::vector<uint8_t> bytes_;
    int32_t scaleFactors_[kScaleFactorCount] = {};
};

std::vector<uint8_t> Ones(size_t count) { return std::vector<uint8_t>(count, 0xFF); }

// One hand-made granule per case, decoded with table 1 (or the one given)
// over the whole big-value part: codes written in order, part2_3_length as
// given (-1: exactly the codes' bits), and the lines, position and extents
// the decoder must leave. Lines not listed must be zero.
struct SpectrumCase {
    const char* what;
    std::string codes = {};  // code words one after another
    int32_t bigValues;
    int32_t table = 1;
    int32_t part23 = -1;
    int32_t blockType = 0;
    int32_t mixed = 0;
    int32_t result = 0;                        // 1: overrun
    std::vector<std::pair<int, double>> lines = {};  // non-zero lines
    int32_t position = -1;                      // bit position after; -1: the granule's end
    int32_t longBandEnd = -1;                   // -1: not checked
    int32_t shortBandEnd0 = -1;
    int32_t activeSubbands = -1;
    int32_t firstBit = 0;
};

std::string Repeat(const std::string& code, int count) {
    std::string codes;
    while (count-- > 0) codes += code;
    return codes;
}

// +1, -1, +1, ... at count lines from first on, step lines apart.
std::vector<std::pair<int, double>> AlternatingOnes(int first, int step, int count) {
    std::vector<std::pair<int, double>> lines;
    for (int i = 0; i < count; ++i) lines.emplace_back(first + step * i, i % 2 == 0 ? 1.0 : -1.0);
    return lines;
}

TEST_F(Layer3Spectrum, HandMadeGranules) {
    const SpectrumCase cases[] = {
        {.what = "table 0 reads no bits", .bigValues = 100, .table = 0, .part23 = 0, .position = 0, .longBandEnd = 0},
        // An empty granule off a byte boundary gives the alignment bits back.
        {.what = "empty granule at bit 3", .bigValues = 0, .part23 = 0, .position = 3, .activeSubbands = 1, .firstBit = 3},
        {.what = "table 4 reads no bits", .bigValues = 100, .table = 4, .part23 = 0, .position = 0, .longBandEnd = 0},
        // 44.1 kHz: band 21 starts at line 418, pair 209; (1, 1) there is dropped.
        {.what = "band 21 decodes to zero but counts for the extent",
         .codes = Repeat("1", 209) + Repeat("00000", 79), .bigValues = 288, .longBandEnd = 22,
         .activeSubbands = 32},
        {.what = "big_values 288 leave no room for quadruples", .codes = Repeat("1", 288) + Repeat("01010", 4),
         .bigValues = 288},
        // Table A code 0101 is (0, 0, 0, 1); the sign bit 1 makes it -1.
        {.what = "quadruple and sign end at the granule's end", .codes = "01011" "0101", .bigValues = 0,
         .part23 = 5, .lines = {{3, -1.0}}},
        // 44.1 kHz: bands 6 and 7 hold three pairs each, so the second
        // quadruple straddles them; the last ones come within a quadruple's
        // longest code and signs of the end.
        {.what = "quadruples across bands up to the granule's end",
         .codes = Repeat("1", 12) + Repeat("01010" "01011", 10), .bigValues = 12,
         .lines = AlternatingOnes(27, 4, 20), .longBandEnd = 14},
        // Short bands 0 to 2 hold two pairs per window: one quadruple each.
        {.what = "quadruples through short windows", .codes = Repeat("01010" "01011", 4), .bigValues = 0,
         .blockType = 2, .lines = {{9, 1.0}, {10, -1.0}, {11, 1.0}, {21, -1.0}, {22, 1.0}, {23, -1.0}, {33, 1.0},
                                   {34, -1.0}},
         .shortBandEnd0 = 3},
        {.what = "quadruple's sign past the end", .codes = "01011" "0101", .bigValues = 0, .part23 = 4},
        {.what = "quadruple's code past the end", .codes = "01011" "0101", .bigValues = 0, .part23 = 3},
        {.what = "big values end exactly", .codes = "000" "01", .bigValues = 1, .part23 = 5,
         .lines = {{0, 1.0}, {1, -1.0}}},
        {.what = "one bit of big values too many", .codes = "000" "01", .bigValues = 1, .part23 = 4, .result = 1,
         .lines = {{0, 1.0}, {1, -1.0}}, .position = -2},
        {.what = "short blocks interleave windows", .codes = "00000", .bigValues = 1, .blockType = 2,
         .lines = {{0, 1.0}, {3, 1.0}}, .shortBandEnd0 = 1, .activeSubbands = 1},
        {.what = "mixed blocks start long, short windows from band 3", .codes = "00000", .bigValues = 1,
         .blockType = 2, .mixed = 1, .lines = {{0, 1.0}, {1, 1.0}}, .longBandEnd = 1, .shortBandEnd0 = 3},
    };
    for (const SpectrumCase& c : cases) {
        SCOPED_TRACE(c.what);
        BitWriter bits;
        bits.PutCode(c.codes);
        GranuleInfo g = LongGranule(c.bigValues, c.table, c.part23 < 0 ? bits.bitCount() : c.part23, c.firstBit);
        g.block_type = c.blockType;
        g.mixed_block_flag = c.mixed;
        if (c.blockType == 2) g.region1Start = 18;
        EXPECT_EQ(Decode<DoubleFormat>(g, c.codes.empty() ? Ones(700) : bits.Bytes(), c.firstBit), c.result);
        std::vector<double> expected(576, 0.0);
        for (const auto& [line, value] : c.lines) expected[static_cast<size_t>(line)] = value;
        for (int line = 0; line < 576; ++line)
            ASSERT_EQ(g_layer3.dual.spectrum[line], expected[static_cast<size_t>(line)]) << "line " << line;
        if (c.position != -2) { EXPECT_EQ(g_bitReader.position, c.position < 0 ? g.endBit : c.position); }
        if (c.longBandEnd >= 0) { EXPECT_EQ(g.longBandEnd, c.longBandEnd); }
        if (c.shortBandEnd0 >= 0) { EXPECT_EQ(g.shortBandEnd[0], c.shortBandEnd0); }
        if (c.activeSubbands >= 0) { EXPECT_EQ(g.activeSubbands, c.activeSubbands); }
        if (c.mixed) { EXPECT_EQ(g.activeSubbands, g_layer3.shared.shortLimit[0][3]); }
    }
}

// LSF, one channel, one granule switching windows with the given block type.
std::vector<uint8_t> LsfMonoSideInfo(int blockType) {
    // main_data_begin, private bits; part2_3_length, big_values, global_gain,
    // scalefac_compress; window switching, block type, mixed; two tables,
    // three subblock gains, scalefac_scale and count1 table.
    const std::pair<uint32_t, int> fields[] = {{0, 8},   {0, 1}, {100, 12}, {50, 9}, {210, 8},
                                               {0, 9},   {1, 1}, {static_cast<uint32_t>(blockType), 2},
                                               {0, 1},   {1, 5}, {1, 5},    {0, 9},  {0, 2}};
    BitWriter bits;
    for (const auto& [value, width] : fields) bits.Put(value, width);
    return bits.Bytes();
}

TEST_F(Layer3Spectrum, LsfRegion1StartWithWindowSwitching) {
    // Rate, block type, region 1's start: short blocks start region 1 at
    // pair 18 at every rate, 8 kHz included; start and stop blocks at pair
    // 27, or 54 at 8 kHz.
    const int cases[][3] = {{3, 2, 18}, {8, 2, 18}, {3, 1, 27}, {5, 3, 27}, {8, 1, 54}, {8, 3, 54}};
    for (const auto& [rate, blockType, region1Start] : cases) {
        SideInfo info{};
        const auto bytes = LsfMonoSideInfo(blockType);
        g_bitReader = {bytes.data(), 0};
        ASSERT_EQ(ReadSideInfo(info, 1, rate, 1), 1);
        EXPECT_EQ(info.granule[0][0].region1Start, region1Start) << "rate " << rate << " type " << blockType;
        EXPECT_EQ(info.granule[0][0].region2Start, 288);
        EXPECT_EQ(g_bitReader.position, 8 + 1 + 12 + 9 + 8 + 9 + 1 + 2 + 1 + 10 + 9 + 2);
    }
}

TEST_F(Layer3Spectrum, LsfLengthsComeFromTheIntensityTableForChannel1) {
    const auto bytes = Ones(64);
    int32_t scaleFactors[kScaleFactorCount] = {};
    GranuleInfo g{};
    g.scalefac_compress = 2 * 196;  // intensity entry 196: lengths (1, 0, 0, 0), row 4 (6, 6, 6, 3)
    g_bitReader = {bytes.data(), 0};
    ReadScaleFactorsLsf(g, scaleFactors, 1);
    EXPECT_EQ(std::make_tuple(g_bitReader.position, scaleFactors[5], scaleFactors[6]), std::make_tuple(6, 1, 0));
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

}  // namespace
