// The Layer III constants of the standards, as generated from their tables
// by scripts/gen_tables.py: band boundaries, scale-factor lengths, pretab,
// the LSF partitions, alias coefficients and the Huffman code trees.
#pragma once

#include <cstdint>

namespace vexa::tables {

// Long-block band starts in lines (0..576) and short-block band starts in
// lines of one window (0..192), by sampleRateIndex.
extern const int16_t kLongBandStart[9][23];
extern const int16_t kShortBandStart[9][14];

// MPEG-1 scale-factor lengths by scalefac_compress.
extern const uint8_t kSlen1[16];
extern const uint8_t kSlen2[16];
// Pre-emphasis added to long-band scale factors when preflag is set.
extern const uint8_t kPretab[22];
// LSF scale factors per part 0..3 by block kind (0 long, 1 short, 2 mixed)
// and length-table row 0..5.
extern const uint8_t kLsfPartition[3][6][4];
extern const float kAliasCoefficient[8];

// A code tree in pre-order: an inner node is -k, followed by its 0-branch
// subtree (k words) and then its 1-branch subtree; a leaf is a non-negative
// word (x * 16 + y for big values, v w x y as bits 3..0 for quadruples).
struct HuffmanTable {
    int32_t linbits;
    const int16_t* tree;
};

// Entries 0..31: big-value tables by table_select; 32: quadruple table A;
// 33: quadruple table B.
extern const HuffmanTable kHuffmanTables[34];
constexpr int kQuadTableA = 32;

}  // namespace vexa::tables
