// The Layer III tables built at stream open: band maps and sub-band limits
// from the standard's band boundaries, the LSF length tables, and the
// computed tables of every number format (gains, powers, alias
// coefficients, intensity factors, IMDCT windows and constants). All values
// are computed in double precision and stored per format through its
// fromDouble (the fixed format truncates toward zero).
#include <cmath>
#include <cstring>
#include <numbers>

#include "decoder/decoder.h"
#include "decoder/layer3_standard_tables.h"
#include "decoder/layer3_state.h"
#include "stream/frame_reader.h"

namespace vexa {

Layer3State g_layer3;

namespace {

constexpr double kPi = std::numbers::pi;
// The mid/side intensity factor, to 13 digits (not the double nearest the
// root): the engines' output is held to these digits.
constexpr double kRootTwo = 1.414213562373;

void BuildBandMaps(int rate) {
    Layer3SharedTables& shared = g_layer3.shared;
    const int16_t* longStart = tables::kLongBandStart[rate];
    const int16_t* shortStart = tables::kShortBandStart[rate];
    for (int band = 0; band < 22; ++band) {
        const int width = longStart[band + 1] - longStart[band];
        shared.longMap[rate][band] = {static_cast<int16_t>(width / 2), longStart[band], 3, static_cast<int8_t>(band)};
    }
    for (int band = 0; band < 13; ++band) {
        const int width = shortStart[band + 1] - shortStart[band];
        for (int window = 0; window < 3; ++window)
            shared.shortMap[rate][3 * band + window] = {static_cast<int16_t>(width / 2),
                                                        static_cast<int16_t>(3 * shortStart[band] + window),
                                                        static_cast<int8_t>(window), static_cast<int8_t>(band)};
    }
    // Mixed: eight long bands, then short bands 3..12 placed from the long
    // start of band 8 on.
    BandMapEntry* mixed = shared.mixedMap[rate];
    for (int band = 0; band < 8; ++band) *mixed++ = shared.longMap[rate][band];
    int base = longStart[8];
    for (int band = 3; band < 13; ++band) {
        const int width = shortStart[band + 1] - shortStart[band];
        for (int window = 0; window < 3; ++window)
            *mixed++ = {static_cast<int16_t>(width / 2), static_cast<int16_t>(base + window),
                        static_cast<int8_t>(window), static_cast<int8_t>(band)};
        base += 3 * width;
    }
    for (int band = 0; band < 14; ++band) shared.shortStart3[rate][band] = 3 * shortStart[band];
}

void BuildLimits(int rate, int32_t subbandCount) {
    Layer3SharedTables& shared = g_layer3.shared;
    for (int i = 0; i < 23; ++i) {
        const int32_t limit = (tables::kLongBandStart[rate][i] + 7) / 18 + 1;
        shared.longLimit[rate][i] = limit > subbandCount ? subbandCount : limit;
    }
    for (int i = 0; i < 14; ++i) {
        const int32_t limit = (shared.shortStart3[rate][i] - 1) / 18 + 1;
        shared.shortLimit[rate][i] = limit > subbandCount ? subbandCount : limit;
    }
}

uint16_t PackLengths(int l0, int l1, int l2, int l3, int row, int preflag) {
    return static_cast<uint16_t>(l0 | (l1 << 3) | (l2 << 6) | (l3 << 9) | (row << 12) | (preflag << 15));
}

void BuildLsfLengthTables() {
    Layer3SharedTables& shared = g_layer3.shared;
    for (int c = 0; c < 512; ++c) {
        if (c < 400) {
            shared.lsfNormal[c] = PackLengths(c / 80, (c / 16) % 5, (c / 4) % 4, c % 4, 0, 0);
        } else if (c < 500) {
            const int d = c - 400;
            shared.lsfNormal[c] = PackLengths(d / 20, (d / 4) % 5, d % 4, 0, 1, 0);
        } else {
            const int d = c - 500;
            shared.lsfNormal[c] = PackLengths(d / 3, d % 3, 0, 0, 2, 1);
        }
    }
    for (int c = 0; c < 256; ++c) {
        if (c < 180) {
            shared.lsfIntensity[c] = PackLengths(c / 36, (c / 6) % 6, c % 6, 0, 3, 0);
        } else if (c < 244) {
            const int d = c - 180;
            shared.lsfIntensity[c] = PackLengths(d / 16, (d / 4) % 4, d % 4, 0, 4, 0);
        } else {
            const int d = c - 244;
            shared.lsfIntensity[c] = PackLengths(d / 3, d % 3, 0, 0, 5, 0);
        }
    }
}

template <class F>
void BuildRequantisationTables(Layer3Format<F>& format) {
    for (int i = kGainIndexMin; i <= kGainIndexMax; ++i)
        format.gain[i - kGainIndexMin] = F::fromDouble(std::pow(2.0, -(i + 210) / 4.0));
    // The integer engine's powers use the exponent 1.1, not 4/3.
    const double exponent = F::kIsFixed ? 1.1 : 4.0 / 3.0;
    for (int m = 0; m < kPowerEntries; ++m) format.power[m] = F::fromDouble(std::pow(static_cast<double>(m), exponent));
}

template <class F>
void BuildStereoTables(Layer3Format<F>& format) {
    for (int i = 0; i < 8; ++i) {
        const double c = tables::kAliasCoefficient[i];
        const double cs = 1.0 / std::sqrt(1.0 + c * c);
        format.aliasCs[i] = F::fromDouble(cs);
        format.aliasCa[i] = F::fromDouble(c * cs);
    }
    std::memset(format.intensity, 0, sizeof format.intensity);
    // MPEG-1 positions 0..15; 16..31 cannot occur (4-bit scale factors) and stay 0.
    for (int p = 0; p < 16; ++p) {
        double left, right;
        if (p == 6 || p == 12) {
            left = 1.0;
            right = 0.0;
        } else if (p == 9) {
            left = 5.0;
            right = -5.0;
        } else {
            const double t = std::tan(p * kPi / 12.0);
            left = t / (1.0 + t);
            right = 1.0 / (1.0 + t);
        }
        format.intensity[0][0][p] = F::fromDouble(left);
        format.intensity[0][1][p] = F::fromDouble(right);
        format.intensity[1][0][p] = F::fromDouble(p == 9 ? 5.0 : kRootTwo * left);
        format.intensity[1][1][p] = F::fromDouble(p == 9 ? -5.0 : kRootTwo * right);
    }
    // LSF: the formula runs on past the 16 positions the tables were once
    // given, to the 31 that 5-bit lengths can code.
    for (int scale = 0; scale < 2; ++scale) {
        const double base = std::pow(2.0, -(scale + 1) / 4.0);
        for (int p = 0; p < kIntensityPositions; ++p) {
            double left = 1.0, right = 1.0;
            if (p % 2 == 1) left = std::pow(base, (p + 1) / 2);
            if (p > 0 && p % 2 == 0) right = std::pow(base, p / 2);
            const int pair = 2 + 2 * scale;
            format.intensity[pair][0][p] = F::fromDouble(left);
            format.intensity[pair][1][p] = F::fromDouble(right);
            format.intensity[pair + 1][0][p] = F::fromDouble(kRootTwo * left);
            format.intensity[pair + 1][1][p] = F::fromDouble(kRootTwo * right);
        }
    }
}

// The standard's window shapes divided by the factors the factored IMDCT
// leaves out: 2 cos(pi (2i + 19) / 72) for long blocks, 2 cos(pi (2i + 7) / 24)
// for short ones.
double ImdctWindowValue(int type, int i) {
    const double d = std::cos(kPi * (2 * i + 19) / 72.0);
    const double longShape = 0.5 * std::sin(kPi * (2 * i + 1) / 72.0) / d;
    switch (type) {
        case 1:
            if (i < 18) return longShape;
            if (i < 24) return 0.5 / d;
            if (i < 30) return 0.5 * std::sin(kPi * (2 * i - 35) / 24.0) / d;
            return 0.0;
        case 2:
            return i < 12 ? 0.5 * std::sin(kPi * (2 * i + 1) / 24.0) / std::cos(kPi * (2 * i + 7) / 24.0) : 0.0;
        case 3:
            if (i < 6) return 0.0;
            if (i < 12) return 0.5 * std::sin(kPi * (2 * i - 11) / 24.0) / d;
            if (i < 18) return 0.5 / d;
            return longShape;
        default:
            return longShape;
    }
}

template <class F>
void BuildImdctTables(Layer3Format<F>& format) {
    for (int type = 0; type < 4; ++type) {
        for (int i = 0; i < 36; ++i) {
            const double value = ImdctWindowValue(type, i);
            format.window[type][i] = F::fromDouble(value);
            // Odd sub-bands: every odd-indexed value negated, the frequency inversion.
            format.windowOdd[type][i] = F::fromDouble(i % 2 == 1 ? -value : value);
        }
    }
    format.cosine[0] = F::fromDouble(1.0);
    for (int k = 1; k < 9; ++k) format.cosine[k] = F::fromDouble(std::cos(k * kPi / 18.0));
    for (int k = 0; k < 9; ++k) format.longScale[k] = F::fromDouble(0.5 / std::cos((2 * k + 1) * kPi / 36.0));
    for (int k = 0; k < 3; ++k) format.shortScale[k] = F::fromDouble(0.5 / std::cos((2 * k + 1) * kPi / 12.0));
    format.shortC1 = F::fromDouble(std::cos(kPi / 6.0));
    format.shortC2 = F::fromDouble(std::cos(kPi / 3.0));
}

template <class F>
void ClearFormatState(Layer3Format<F>& format) {
    std::memset(format.spectrum, 0, sizeof format.spectrum);
    std::memset(format.overlap, 0, sizeof format.overlap);
    std::memset(format.hybrid, 0, sizeof format.hybrid);
}

template <class F>
void BuildFormatTables(Layer3Format<F>& format) {
    BuildRequantisationTables(format);
    BuildStereoTables(format);
    BuildImdctTables(format);
}

}  // namespace

void ResetLayer3State() {
    g_layer3.overlapToggle[0] = 0;
    g_layer3.overlapToggle[1] = 0;
    ClearFormatState(g_layer3.single);
    ClearFormatState(g_layer3.dual);
    ClearFormatState(g_layer3.fixed);
}

void SetUpLayer3Tables(const FrameHeader& header) {
    ResetLayer3State();
    g_layer3.rejectedFrames = 0;
    g_layer3.overrunFrames = 0;
    const int32_t subbandCount = header.subbandCount > 0 && header.subbandCount <= 32 ? header.subbandCount : 32;
    for (int rate = 0; rate < 9; ++rate) {
        BuildBandMaps(rate);
        BuildLimits(rate, subbandCount);
    }
    BuildLsfLengthTables();
    for (int table = 0; table < 34; ++table)
        BuildHuffmanLookup(tables::kHuffmanTables[table].tree, table < tables::kQuadTableA,
                           g_layer3.shared.huffmanLookup[table]);
    for (int table = 0; table < 2; ++table)
        BuildQuadrupleLookup(tables::kHuffmanTables[tables::kQuadTableA + table].tree,
                             g_layer3.shared.quadrupleLookup[table]);
    BuildFormatTables(g_layer3.single);
    BuildFormatTables(g_layer3.dual);
    BuildFormatTables(g_layer3.fixed);
}

void SetUpLayer3Tables() { SetUpLayer3Tables(g_header); }

}  // namespace vexa
