#include "decoder/layer3_side_info.h"

#include "decoder/bit_reader.h"
#include "decoder/layer3_standard_tables.h"

namespace vexa {
namespace {

int32_t Bits(int n) { return static_cast<int32_t>(GetBits(n)); }

// region0_count + region1_count + 2 may reach 24, one past the 23 band
// starts; such a region 2 starts at line 576 (pair 288), so it is empty.
int32_t LongStartPairs(int32_t sampleRateIndex, int32_t band) {
    return band > 22 ? kGranulePairs : tables::kLongBandStart[sampleRateIndex][band] / 2;
}

// Returns false for window switching with block_type 0.
bool ReadGranuleChannel(GranuleInfo& g, int32_t sampleRateIndex, int32_t lsf, int32_t& bitTotal) {
    g.part2_3_length = Bits(12);
    g.firstBit = bitTotal;
    bitTotal += g.part2_3_length;
    g.endBit = bitTotal;
    g.big_values = Bits(9);
    if (g.big_values > kGranulePairs) g.big_values = kGranulePairs;
    g.global_gain = Bits(8);
    g.scalefac_compress = Bits(lsf ? 9 : 4);
    if (Bits(1)) {
        g.block_type = Bits(2);
        g.mixed_block_flag = Bits(1);
        g.table_select[0] = Bits(5);
        g.table_select[1] = Bits(5);
        g.table_select[2] = 0;
        for (int w = 0; w < 3; ++w) g.subblockGainStep[w] = Bits(3) * 8;
        if (g.block_type == 0) return false;
        if (lsf == 0 || g.block_type == 2) g.region1Start = 18;
        else g.region1Start = sampleRateIndex == 8 ? 54 : 27;
        g.region2Start = kGranulePairs;
    } else {
        g.block_type = 0;
        g.mixed_block_flag = 0;
        for (int r = 0; r < 3; ++r) g.table_select[r] = Bits(5);
        for (int w = 0; w < 3; ++w) g.subblockGainStep[w] = 0;
        const int32_t region0Count = Bits(4);
        const int32_t region1Count = Bits(3);
        g.region1Start = LongStartPairs(sampleRateIndex, region0Count + 1);
        g.region2Start = LongStartPairs(sampleRateIndex, region0Count + region1Count + 2);
    }
    g.preflag = lsf ? 0 : Bits(1);
    g.scalefac_scale = Bits(1);
    g.count1table_select = Bits(1);
    return true;
}

}  // namespace

int32_t ReadSideInfo(SideInfo& info, int32_t channels, int32_t sampleRateIndex, int32_t lsf) {
    info.main_data_begin = Bits(lsf ? 8 : 9);
    if (lsf) Bits(channels == 1 ? 1 : 2);
    else Bits(channels == 1 ? 5 : 3);
    const int granules = lsf ? 1 : 2;
    if (!lsf) {
        for (int ch = 0; ch < channels; ++ch) {
            info.granule[0][ch].scfsi = -1;
            info.granule[1][ch].scfsi = Bits(4);
        }
    }
    int32_t bitTotal = 0;
    for (int gr = 0; gr < granules; ++gr)
        for (int ch = 0; ch < channels; ++ch)
            if (!ReadGranuleChannel(info.granule[gr][ch], sampleRateIndex, lsf, bitTotal)) return 0;
    return 1;
}

void SetGains(const GranuleInfo& granule, int32_t msStereo, int32_t channelSelect) {
    int32_t offset = (channelSelect == 3 ? 4 : 0) - granule.global_gain;
    if (msStereo) offset += 2;
    g_layer3.longGainBase = offset;
    for (int w = 0; w < 3; ++w) g_layer3.shortGainBase[w] = offset + granule.subblockGainStep[w];
}

}  // namespace vexa
