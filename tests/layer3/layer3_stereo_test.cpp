// Mid/side, intensity, extent equalising, channel reduction and alias
// reduction on hand-filled spectra.
#include <gtest/gtest.h>

#include <cmath>

#include "decoder/layer3_standard_tables.h"
#include "decoder/layer3_alias.h"
#include "decoder/layer3_stereo.h"

using namespace vexa;

namespace {

constexpr double kRootTwo = 1.414213562373;

class Layer3Stereo : public ::testing::Test {
protected:
    void SetUp() override {
        header_.subbandCount = 32;
        header_.lineCount = 576;
        header_.mode = 1;
        SetUpLayer3Tables(header_);
        for (int i = 0; i < 576; ++i) {
            L()[i] = 1.0;
            R()[i] = 0.25;
        }
        left_.activeSubbands = right_.activeSubbands = 32;
        right_.longBandEnd = 0;  // channel 1 empty: intensity from band 0 on
    }
    static double* L() { return g_layer3.dual.spectrum; }
    static double* R() { return g_layer3.dual.spectrum + 576; }
    void Process(int32_t channelSelect = -1) {
        ProcessStereo<DoubleFormat>(left_, right_, positions_, g_layer3.dual.spectrum, header_, channelSelect);
    }
    // Lines of long band b at 44.1 kHz.
    static int Start(int band) { return tables::kLongBandStart[0][band]; }

    FrameHeader header_{};
    GranuleInfo left_{}, right_{};
    int32_t positions_[kScaleFactorCount] = {};
};

TEST_F(Layer3Stereo, Mpeg1IntensityPositions) {
    header_.modeExtension = 1;
    positions_[0] = 7;   // not intensity coded
    positions_[1] = 9;   // 1 + tan is 0: +5 / -5
    positions_[2] = 12;  // like 6: all to the left
    positions_[3] = 3;   // tan = 1: half each
    for (int b = 4; b < 21; ++b) positions_[b] = 7;
    Process();
    EXPECT_EQ(L()[Start(0)], 1.0);
    EXPECT_EQ(R()[Start(0)], 0.25);
    EXPECT_EQ(L()[Start(1)], 5.0);
    EXPECT_EQ(R()[Start(1)], -5.0);
    EXPECT_EQ(L()[Start(2)], 1.0);
    EXPECT_EQ(R()[Start(2)], 0.0);
    EXPECT_NEAR(L()[Start(3)], 0.5, 1e-12);
    EXPECT_NEAR(R()[Start(3)], 0.5, 1e-12);
    EXPECT_EQ(R()[Start(4)], 0.25);
}

TEST_F(Layer3Stereo, Band21TakesBand20sPosition) {
    header_.modeExtension = 1;
    for (int b = 0; b < 21; ++b) positions_[b] = 7;
    positions_[20] = 12;
    Process();
    EXPECT_EQ(R()[Start(20)], 0.0);
    EXPECT_EQ(R()[Start(21)], 0.0);
    EXPECT_EQ(R()[575], 0.0);
    EXPECT_EQ(R()[Start(20) - 1], 0.25);
}

TEST_F(Layer3Stereo, IntensityOnlyAboveChannel1sLastBand) {
    header_.modeExtension = 1;
    positions_[2] = 12;
    positions_[5] = 12;
    right_.longBandEnd = 3;
    Process();
    EXPECT_EQ(R()[Start(2)], 0.25);  // below longBandEnd: untouched
    EXPECT_EQ(R()[Start(5)], 0.0);
}

TEST_F(Layer3Stereo, MidSideThenIntensityCancelsTheGainsRootTwo) {
    header_.modeExtension = 3;
    for (int i = 0; i < 576; ++i) R()[i] = 0.0;  // channel 1 decoded to zero
    for (int b = 0; b < 21; ++b) positions_[b] = 3;
    Process();
    // Mid/side makes both x = 1; intensity then gives x * 1.414... * 0.5.
    EXPECT_NEAR(L()[100], kRootTwo * 0.5, 1e-12);
    EXPECT_NEAR(R()[100], kRootTwo * 0.5, 1e-12);
}

TEST_F(Layer3Stereo, MidSideOnlyUpToTheLargerExtent) {
    header_.modeExtension = 2;
    left_.activeSubbands = 2;
    right_.activeSubbands = 3;
    Process();
    EXPECT_EQ(L()[53], 1.25);
    EXPECT_EQ(R()[53], 0.75);
    EXPECT_EQ(L()[54], 1.0);
    EXPECT_EQ(left_.activeSubbands, 3);  // equalised
}

TEST_F(Layer3Stereo, LsfIntensityTablePairFollowsScalefacCompress) {
    header_.lsf = 1;
    header_.sampleRateIndex = 3;
    header_.modeExtension = 1;
    for (int b = 0; b < 21; ++b) positions_[b] = 1;
    for (int sfc : {10, 11}) {
        SetUp();
        header_.lsf = 1;
        header_.sampleRateIndex = 3;
        header_.modeExtension = 1;
        right_.scalefac_compress = sfc;
        Process();
        // Odd position 1 scales the left channel by 2^(-(s + 1) / 4).
        EXPECT_NEAR(L()[0], std::pow(2.0, -(sfc % 2 + 1) / 4.0), 1e-12) << sfc;
        EXPECT_EQ(R()[0], 1.0) << sfc;
    }
}

TEST_F(Layer3Stereo, MixAtQuality1CoversTheFirst288Lines) {
    header_.mode = 0;
    header_.lineCount = 288;
    left_.activeSubbands = 4;
    right_.activeSubbands = 9;
    Process(3);
    EXPECT_EQ(L()[0], 1.25);
    EXPECT_EQ(L()[287], 1.25);
    EXPECT_EQ(L()[288], 1.0);
    EXPECT_EQ(L()[575], 1.0);
    EXPECT_EQ(left_.activeSubbands, 9);
}

TEST_F(Layer3Stereo, RightChannelSelection) {
    header_.mode = 0;
    Process(1);
    EXPECT_EQ(L()[300], 0.25);
}

struct AliasCase {
    const char* what;
    int32_t blockType;
    int32_t mixed;
    int32_t activeSubbands;
    int32_t boundaries;
};

TEST_F(Layer3Stereo, AliasReductionBoundaries) {
    const AliasCase cases[] = {
        {"pure short block", 2, 0, 32, 0},
        {"mixed block: sub-bands 0 and 1 only", 2, 1, 32, 1},
        {"one active sub-band", 0, 0, 1, 0},
        {"three active sub-bands", 0, 0, 3, 2},
    };
    for (const AliasCase& c : cases) {
        double* x = g_layer3.dual.spectrum;
        for (int i = 0; i < 576; ++i) x[i] = 1.0;
        GranuleInfo g{};
        g.block_type = c.blockType;
        g.mixed_block_flag = c.mixed;
        g.activeSubbands = c.activeSubbands;
        ReduceAliases<DoubleFormat>(g, x);
        for (int k = 0; k < 31; ++k) {
            const bool changed = x[18 * k + 17] != 1.0 || x[18 * (k + 1)] != 1.0;
            EXPECT_EQ(changed, k < c.boundaries) << c.what << ", boundary " << k;
        }
        // The butterfly: a' = a cs - b ca, b' = b cs + a ca with a = b = 1.
        if (c.boundaries > 0) {
            const double cs = 1.0 / std::sqrt(1.0 + 0.36), ca = -0.6 * cs;
            EXPECT_NEAR(x[17], cs - ca, 1e-7) << c.what;
            EXPECT_NEAR(x[18], cs + ca, 1e-7) << c.what;
        }
    }
}

}  // namespace

namespace {

// The integer engine: every product with a table value is shifted on its own.
TEST(Layer3StereoFixed, ProductsAreShiftedOneByOne) {
    FrameHeader header{};
    header.subbandCount = 32;
    header.lineCount = 576;
    header.mode = 1;
    header.modeExtension = 1;
    SetUpLayer3Tables(header);
    Layer3Format<FixedFormat>& f = g_layer3.fixed;
    for (int i = 0; i < 576; ++i) {
        f.spectrum[i] = -12345;
        f.spectrum[576 + i] = 0;
    }
    GranuleInfo left{}, right{};
    left.activeSubbands = right.activeSubbands = 32;
    int32_t positions[kScaleFactorCount] = {};
    for (int b = 0; b < 21; ++b) positions[b] = 2;
    ProcessStereo<FixedFormat>(left, right, positions, f.spectrum, header, -1);
    const int32_t l = f.intensity[0][0][2], r = f.intensity[0][1][2];
    EXPECT_EQ(f.spectrum[0].v, (-12345 * l) >> 15);
    EXPECT_EQ(f.spectrum[576].v, (-12345 * r) >> 15);

    for (int i = 0; i < 576; ++i) f.spectrum[i] = (i % 2) ? 30000 : -20000;
    GranuleInfo g{};
    g.activeSubbands = 2;
    ReduceAliases<FixedFormat>(g, f.spectrum);
    const int32_t x17 = 30000, x18 = -20000;
    EXPECT_EQ(f.spectrum[17].v, ((x17 * f.aliasCs[0]) >> 15) - ((x18 * f.aliasCa[0]) >> 15));
    EXPECT_EQ(f.spectrum[18].v, ((x18 * f.aliasCs[0]) >> 15) + ((x17 * f.aliasCa[0]) >> 15));
}

}  // namespace
