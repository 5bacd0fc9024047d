#include "decoder/layer3_scale_factors.h"

#include "decoder/bit_reader.h"
#include "decoder/layer3_standard_tables.h"

namespace vexa {
namespace {

int32_t Bits(int n) { return static_cast<int32_t>(GetBits(n)); }

void ReadValues(int32_t*& out, int count, int length) {
    for (int i = 0; i < count; ++i) *out++ = Bits(length);
}

void WriteZeros(int32_t*& out, int count) {
    for (int i = 0; i < count; ++i) *out++ = 0;
}

}  // namespace

void ReadScaleFactorsMpeg1(const GranuleInfo& granule, int32_t* scaleFactors) {
    g_bitReader.position = granule.firstBit;
    const int slen1 = tables::kSlen1[granule.scalefac_compress & 15];
    const int slen2 = tables::kSlen2[granule.scalefac_compress & 15];
    int32_t* out = scaleFactors;
    if (granule.block_type == 2) {
        ReadValues(out, granule.mixed_block_flag ? 17 : 18, slen1);
        ReadValues(out, 18, slen2);
        WriteZeros(out, 3);
        return;
    }
    if (granule.scfsi < 0) {
        ReadValues(out, 11, slen1);
        ReadValues(out, 10, slen2);
    } else {
        // Groups whose scfsi bit is set keep granule 0's scale factors.
        static constexpr int kGroupStart[5] = {0, 6, 11, 16, 21};
        for (int group = 0; group < 4; ++group) {
            const int count = kGroupStart[group + 1] - kGroupStart[group];
            if (granule.scfsi & (8 >> group)) {
                out += count;
            } else {
                ReadValues(out, count, group < 2 ? slen1 : slen2);
            }
        }
    }
    scaleFactors[21] = 0;
}

void ReadScaleFactorsLsf(GranuleInfo& granule, int32_t* scaleFactors, int32_t intensityRight) {
    g_bitReader.position = granule.firstBit;
    const uint16_t entry = intensityRight ? g_layer3.shared.lsfIntensity[(granule.scalefac_compress >> 1) & 255]
                                          : g_layer3.shared.lsfNormal[granule.scalefac_compress & 511];
    granule.preflag = entry >> 15;
    const int row = (entry >> 12) & 7;
    const int kind = granule.block_type != 2 ? 0 : (granule.mixed_block_flag ? 2 : 1);
    int32_t* out = scaleFactors;
    for (int part = 0; part < 4; ++part) {
        const int count = tables::kLsfPartition[kind][row][part];
        const int length = (entry >> (3 * part)) & 7;
        if (length > 0) ReadValues(out, count, length);
        else WriteZeros(out, count);
    }
    WriteZeros(out, 2 * kind + 1);
}

}  // namespace vexa
