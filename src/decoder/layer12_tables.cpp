// Layer I and II tables: scale-factor multipliers in three formats, the
// grouping tables, and the choice of Layer II allocation table.
#include <cmath>
#include <cstring>
#include <type_traits>

#include "decoder/decoder.h"
#include "decoder/layer12.h"

namespace vexa {

Layer12Tables g_layer12;

namespace {

// Level rows of the grouped quantisers, lowest level first.
constexpr uint8_t kLevels3[3] = {1, 0, 2};                       // -2/3, 0, 2/3
constexpr uint8_t kLevels5[5] = {17, 18, 0, 19, 20};             // -0.8 .. 0.8
constexpr uint8_t kLevels9[9] = {21, 1, 22, 23, 0, 24, 25, 2, 26};  // -8/9 .. 8/9

// Entry c + n*b + n^2*a holds (level c, level b, level a): the first sample
// is the least significant base-n digit of the code.
template <int N, int Codes>
void FillGroupingTable(const uint8_t (&levels)[N], uint8_t (&table)[Codes][3]) {
    std::memset(table, 0, sizeof table);
    int32_t code = 0;
    for (int a = 0; a < N; ++a)
        for (int b = 0; b < N; ++b)
            for (int c = 0; c < N; ++c, ++code) {
                table[code][0] = levels[c];
                table[code][1] = levels[b];
                table[code][2] = levels[a];
            }
}

// Layer II bitrate classes by bitrate per channel (MPEG-1).
enum class RateClass { Low, Middle, High };  // <= 48, 56..80, >= 96 kbit/s

RateClass ClassifyBitrate(const FrameHeader& header) {
    const int32_t index = header.bitrateIndex;
    if (header.channels == 2) return index <= 6 ? RateClass::Low : (index <= 9 ? RateClass::Middle : RateClass::High);
    return index <= 2 ? RateClass::Low : (index <= 5 ? RateClass::Middle : RateClass::High);
}

}  // namespace

double Layer12Multiplier(int32_t row) {
    static const double kGrouped[10] = {-0.8, -0.4, 0.4, 0.8, -8.0 / 9, -4.0 / 9, -2.0 / 9, 2.0 / 9, 4.0 / 9, 8.0 / 9};
    if (row == 0) return 0.0;
    if (row == 1) return -2.0 / 3.0;
    if (row <= 16) return 2.0 / (std::ldexp(1.0, row) - 1.0);
    return kGrouped[row - 17];
}

void BuildLayer12Tables() {
    g_layer12.multipliers.forEach([](auto& multipliers) {
        using Format = typename std::remove_cvref_t<decltype(multipliers)>::Format;
        for (int32_t r = 0; r < kMultiplierRows; ++r) {
            for (int32_t s = 0; s < kScaleFactors - 1; ++s)
                multipliers.step[r][s] = Format::fromDouble(Layer12Multiplier(r) * std::pow(2.0, (3 - s) / 3.0));
            multipliers.step[r][kScaleFactors - 1] = 0;
        }
    });
    FillGroupingTable(kLevels3, g_layer12.group3);
    FillGroupingTable(kLevels5, g_layer12.group5);
    FillGroupingTable(kLevels9, g_layer12.group9);
    ResetLayer2State();
}

void ResetLayer2State() { std::memset(g_layer12.selection, 0, sizeof g_layer12.selection); }

Layer2TableIndex SelectLayer2Table(const FrameHeader& header) {
    if (header.lsf) return kLayer2TableLsf;
    const RateClass rateClass = ClassifyBitrate(header);
    const bool is32kHz = header.sampleRateIndex == 2;
    const bool is48kHz = header.sampleRateIndex == 1;
    if (rateClass == RateClass::Low) return is32kHz ? kLayer2TableD : kLayer2TableC;
    if (rateClass == RateClass::Middle || is48kHz) return kLayer2TableA;
    return kLayer2TableB;
}

}  // namespace vexa
