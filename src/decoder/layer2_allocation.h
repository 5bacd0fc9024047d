// The Layer II bit allocation tables of the standards (generated from the
// standard's tables by scripts/gen_tables.py).
#pragma once

#include <cstdint>

namespace vexa {

// Entry 0 of a sub-band holds (nbal, 0): the width of its allocation field.
// Entry a >= 1 holds the quantiser of allocation a: for an ungrouped one
// (bits per code, -(2^(bits - 1) - 1)); for a grouped one (bits of the code
// for three samples, level count 3, 5 or 9).
struct Layer2Quantiser {
    int16_t bits;
    int16_t d;
};

struct Layer2AllocationTable {
    int32_t sbLimit;
    const Layer2Quantiser* entries;
    int32_t firstEntry[32];  // index of each sub-band's entry 0
};

enum Layer2TableIndex : int32_t { kLayer2TableA, kLayer2TableB, kLayer2TableC, kLayer2TableD, kLayer2TableLsf };

namespace tables {
// a, b, c, d (MPEG-1, chosen by rate and bitrate per channel) and the lsf
// table (MPEG-2 and 2.5).
extern const Layer2AllocationTable kLayer2Allocation[5];
}  // namespace tables

}  // namespace vexa
