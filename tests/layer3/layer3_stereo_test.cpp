// Mid/side, intensity, extent equalising and channel reduction on
// hand-filled spectra: channel 0 all 1.0, channel 1 all 0.25. Intensity
// coding is in none of the conformance vectors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>
#include <vector>

#include "decoder/layer3_standard_tables.h"
#include "decoder/layer3_stereo.h"

using namespace vexa;

namespace {

class Layer3Stereo : public ::testing::Test {
protected:
    void SetUp() override {
        header_.subbandCount = 32;
        header_.lineCount = 576;
        header_.mode = 1;
        SetUpLayer3Tables(header_);
        std::fill(L(), L() + 576, 1.0);
        std::fill(R(), R() + 576, 0.25);
    }
    static double* L() { return g_layer3.dual.spectrum; }
    static double* R() { return g_layer3.dual.spectrum + 576; }

    FrameHeader header_{};
    GranuleInfo left_{}, right_{};
    int32_t positions_[kScaleFactorCount] = {};
};

// One granule per case; positions not given are otherPositions (7: no
// intensity coding).
// Checks name a channel (0 or 1), a line or (from 1000 on) a long band's
// first line at 44.1 kHz, and the value it must hold afterwards.
using Check = std::tuple<int, int, double>;

struct StereoCase {
    const char* what;
    int32_t modeExtension;
    std::vector<std::pair<int, int32_t>> positions = {};  // band, position
    int32_t otherPositions = 7;
    std::vector<Check> checks = {};
    int32_t mode = 1;
    int32_t leftSubbands = 32;
    int32_t rightSubbands = 32;
    int32_t rightLongBandEnd = 0;  // 0: channel 1 empty, intensity from band 0 on
    bool rightZero = false;
    int32_t lineCount = 576;
    int32_t channelSelect = -1;
    int32_t equalisedSubbands = -1;  // -1: not checked
    int32_t lsfScalefacCompress = -1;  // >= 0: a 24 kHz stream with this value on channel 1
};

constexpr int Band(int band) { return 1000 + band; }

TEST_F(Layer3Stereo, Cases) {
    const double halfRootTwo = std::sqrt(0.5);
    const StereoCase cases[] = {
        {.what = "MPEG-1 intensity positions: none, 1 + tan = 0, like 6, half each", .modeExtension = 1,
         .positions = {{0, 7}, {1, 9}, {2, 12}, {3, 3}},
         .checks = {{0, Band(0), 1.0}, {1, Band(0), 0.25}, {0, Band(1), 5.0}, {1, Band(1), -5.0}, {0, Band(2), 1.0},
                    {1, Band(2), 0.0}, {0, Band(3), 0.5}, {1, Band(3), 0.5}, {1, Band(4), 0.25}}},
        {.what = "band 21 takes band 20's position", .modeExtension = 1, .positions = {{20, 12}},
         .checks = {{1, Band(20), 0.0}, {1, Band(21), 0.0}, {1, 575, 0.0}, {1, Band(20) - 1, 0.25}}},
        {.what = "intensity only above channel 1's last band", .modeExtension = 1, .positions = {{2, 12}, {5, 12}},
         .checks = {{1, Band(2), 0.25}, {1, Band(5), 0.0}}, .rightLongBandEnd = 3},
        {.what = "mid/side then intensity cancels the gains' root two", .modeExtension = 3, .otherPositions = 3,
         .checks = {{0, 100, halfRootTwo}, {1, 100, halfRootTwo}}, .rightZero = true},
        {.what = "mid/side only up to the larger extent", .modeExtension = 2,
         .checks = {{0, 53, 1.25}, {1, 53, 0.75}, {0, 54, 1.0}}, .leftSubbands = 2, .rightSubbands = 3,
         .equalisedSubbands = 3},
        {.what = "LSF intensity, scalefac_compress even", .modeExtension = 1, .otherPositions = 1,
         .checks = {{0, 0, std::pow(2.0, -0.25)}, {1, 0, 1.0}}, .lsfScalefacCompress = 10},
        {.what = "LSF intensity, scalefac_compress odd", .modeExtension = 1, .otherPositions = 1,
         .checks = {{0, 0, std::pow(2.0, -0.5)}, {1, 0, 1.0}}, .lsfScalefacCompress = 11},
        {.what = "mix at quality 1 covers the first 288 lines", .modeExtension = 0,
         .checks = {{0, 0, 1.25}, {0, 287, 1.25}, {0, 288, 1.0}, {0, 575, 1.0}}, .mode = 0, .leftSubbands = 4,
         .rightSubbands = 9, .lineCount = 288, .channelSelect = 3, .equalisedSubbands = 9},
        {.what = "right channel selected", .modeExtension = 0, .checks = {{0, 300, 0.25}}, .mode = 0,
         .channelSelect = 1},
    };
    for (const StereoCase& c : cases) {
        SCOPED_TRACE(c.what);
        SetUp();
        header_.mode = c.mode;
        header_.modeExtension = c.modeExtension;
        header_.lineCount = c.lineCount;
        if (c.lsfScalefacCompress >= 0) {
            header_.lsf = 1;
            header_.sampleRateIndex = 3;
            right_.scalefac_compress = c.lsfScalefacCompress;
        }
        std::fill(positions_, positions_ + 21, c.otherPositions);
        for (const auto& [band, position] : c.positions) positions_[band] = position;
        left_.activeSubbands = c.leftSubbands;
        right_.activeSubbands = c.rightSubbands;
        right_.longBandEnd = c.rightLongBandEnd;
        if (c.rightZero) std::fill(R(), R() + 576, 0.0);
        ProcessStereo<DoubleFormat>(left_, right_, positions_, g_layer3.dual.spectrum, header_, c.channelSelect);
        for (const auto& [channel, at, value] : c.checks) {
            const int line = at >= 1000 ? tables::kLongBandStart[0][at - 1000] : at;
            EXPECT_NEAR((channel == 0 ? L() : R())[line], value, 1e-12) << "channel " << channel << " line " << line;
        }
        if (c.equalisedSubbands >= 0) { EXPECT_EQ(left_.activeSubbands, c.equalisedSubbands); }
    }
}

}  // namespace
