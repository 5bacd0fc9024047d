// The Layer III decoder's records: side information, the tables built at
// stream open (shared ones and one set per number format), and the state
// that lives from granule to granule (spectra, overlap buffers, toggles).
//
// Threads: the tables are built by the thread that opens the stream before
// the playback thread decodes; everything else is used by the playback
// thread only.
//
// Points the bitstream leaves open, and what this decoder does:
// - region0_count + region1_count + 2 = 24 (past the 23 band starts): region 2
//   starts at line 576, pair 288, and is empty (layer3_side_info.cpp).
// - Gain-table indices outside -256 .. 121: clamped to the table (GainAt).
// - LSF intensity positions 16 .. 31: the table formula carried on
//   (layer3_tables.cpp); position 7 still means "not intensity coded".
// - Integer overflow: the integer engine's sums wrap in 32 bits (Wrapping32)
//   and its products wrap before the shift (FixedFormat::mul), which is the
//   result the engine defines; the only guards are clamps of counts and
//   indices that a corrupt frame could push past a table (sub-band counts
//   above 32, intensity positions above 31, a band map running out), none of
//   which a well-formed stream reaches.
#pragma once

#include <cstdint>
#include <type_traits>

#include "decoder/layer3_arith.h"
#include "decoder/layer3_huffman.h"
#include "decoder/number_format.h"
#include "stream/frame_header.h"

namespace vexa {

constexpr int kGranuleLines = 576;
constexpr int kGranulePairs = 288;
constexpr int kScaleFactorCount = 39;
// Gain table indices -256 .. 121.
constexpr int kGainIndexMin = -256;
constexpr int kGainIndexMax = 121;
constexpr int kGainEntries = kGainIndexMax - kGainIndexMin + 1;  // 378
// Magnitudes 0 .. 15 + 8191 (the largest 13-bit linbits extension).
constexpr int kPowerEntries = 8207;
// Intensity positions: MPEG-1 uses 0..15 (4-bit scale factors), LSF up to 31
// (5-bit lengths occur in the intensity length table).
constexpr int kIntensityPositions = 32;
// A mixed block of an LSF stream places its short bands from the long start
// of band 8, beyond the short layout: its last windows reach up to line 611
// (8 kHz). The spectrum buffer keeps that much room behind channel 1.
constexpr int kSpectrumSlack = 48;

struct GranuleInfo {
    int32_t scfsi;             // MPEG-1 granule 1: 4 bits; granule 0: -1
    int32_t part2_3_length;
    int32_t big_values;        // pairs, at most 288
    int32_t scalefac_compress;
    int32_t block_type;
    int32_t mixed_block_flag;
    int32_t table_select[3];
    int32_t subblockGainStep[3];  // subblock_gain * 8
    int32_t shortBandEnd[3];
    int32_t longBandEnd;
    int32_t activeSubbands;
    int32_t region1Start;      // pairs
    int32_t region2Start;      // pairs
    int32_t preflag;
    int32_t scalefac_scale;
    int32_t count1table_select;
    int32_t firstBit;          // from the first reservoir byte
    int32_t endBit;
    int32_t global_gain;
};

struct SideInfo {
    int32_t main_data_begin;
    GranuleInfo granule[2][2];  // [granule][channel]
};

// One step of the Huffman walk: a band (or band window) of pairCount pairs
// written from startLine, three lines apart for short windows 0..2, one line
// apart for window 3 (long bands).
struct BandMapEntry {
    int16_t pairCount;
    int16_t startLine;
    int8_t window;
    int8_t band;
};

struct BandMap {
    const BandMapEntry* begin;
    const BandMapEntry* end;
};

// Tables shared by the three number formats, per sampleRateIndex.
struct Layer3SharedTables {
    BandMapEntry longMap[9][22];
    BandMapEntry shortMap[9][39];
    BandMapEntry mixedMap[9][38];
    int32_t shortStart3[9][14];  // short band starts in interleaved lines
    int32_t longLimit[9][23];    // sub-bands reached, clamped to subbandCount
    int32_t shortLimit[9][14];
    // Packed lengths: bits 0-11 four 3-bit lengths, 12-14 row, 15 preflag.
    uint16_t lsfNormal[512];
    uint16_t lsfIntensity[256];
    // Per entry of the Huffman directory (tables::kHuffmanTables).
    uint32_t huffmanLookup[34][kHuffmanLookupEntries];
    // Per quadruple table (A, B): code words with their signs.
    uint16_t quadrupleLookup[2][kQuadrupleLookupEntries];
};

// Tables and state of one number format.
template <class F>
struct Layer3Format {
    using constant = typename F::constant;
    using value = Layer3Value<F>;
    using sample = typename F::sample;

    constant gain[kGainEntries];  // index i - kGainIndexMin: 2^(-(i + 210) / 4)
    constant power[kPowerEntries];
    constant aliasCs[8];
    constant aliasCa[8];
    constant intensity[6][2][kIntensityPositions];  // [pair][left/right][position]
    constant window[4][36];
    constant windowOdd[4][36];
    constant cosine[9];      // entries 1..8: cos(k pi / 18)
    constant longScale[9];   // 0.5 / cos((2k + 1) pi / 36)
    constant shortScale[3];  // 0.5 / cos((2k + 1) pi / 12)
    constant shortC1;        // cos(pi / 6)
    constant shortC2;        // cos(pi / 3)

    value spectrum[2 * kGranuleLines + kSpectrumSlack];  // channel 1 at kGranuleLines
    value overlap[2][2][kGranuleLines];                    // [buffer][channel][18 sb + k]
    sample hybrid[2][kGranuleLines];                       // [channel][32 ss + sb]
};

struct Layer3State {
    Layer3SharedTables shared;
    Layer3Format<SingleFormat> single;
    Layer3Format<DoubleFormat> dual;
    Layer3Format<FixedFormat> fixed;
    // Gain-table indices of the granule and channel being decoded, the same
    // for every format.
    int32_t longGainBase;
    int32_t shortGainBase[3];
    int32_t overlapToggle[2];
    int32_t scaleFactors[2][kScaleFactorCount];
    SideInfo sideInfo;
    // Frames ended early since the stream open: side information rejected,
    // or a granule's big values overran its bits. Counted for diagnostics.
    int32_t rejectedFrames;
    int32_t overrunFrames;
};

extern Layer3State g_layer3;

template <class F>
Layer3Format<F>& Layer3For() {
    if constexpr (std::is_same_v<F, SingleFormat>) return g_layer3.single;
    else if constexpr (std::is_same_v<F, DoubleFormat>) return g_layer3.dual;
    else return g_layer3.fixed;
}

// Builds every Layer III table for the stream whose first header is given
// and clears the state (ResetLayer3State). SetUpLayer3Tables() uses g_header.
void SetUpLayer3Tables(const FrameHeader& header);

// The gain-table entry for index i, clamped to the table: indices beyond it
// only arise from extreme gain combinations, and the nearest entry is the
// closest value the table can give.
template <class F>
typename F::constant GainAt(int32_t index) {
    if (index < kGainIndexMin) index = kGainIndexMin;
    if (index > kGainIndexMax) index = kGainIndexMax;
    return Layer3For<F>().gain[index - kGainIndexMin];
}

}  // namespace vexa
