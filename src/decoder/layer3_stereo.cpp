#include "decoder/layer3_stereo.h"

#include "decoder/layer3_imdct_lanes.h"
#include "decoder/layer3_standard_tables.h"

namespace vexa {
namespace {

template <class F>
struct IntensityPair {
    using value = Layer3Value<F>;
    const typename F::constant* leftFactor;
    const typename F::constant* rightFactor;
    value* left;
    value* right;

    // Position 7 marks a band without intensity coding.
    void Apply(int32_t position, int32_t firstLine, int32_t count, int32_t step) const {
        if (position == 7) return;
        const int32_t p = position & (kIntensityPositions - 1);
        for (int32_t i = 0; i < count; ++i) {
            const int32_t line = firstLine + i * step;
            const value v = left[line];
            left[line] = Layer3Arith<F>::mul(v, leftFactor[p]);
            right[line] = Layer3Arith<F>::mul(v, rightFactor[p]);
        }
    }
};

template <class F>
void IntensityShort(const IntensityPair<F>& pair, const GranuleInfo& g, const int32_t* positions, int rate) {
    const int16_t* shortStart = tables::kShortBandStart[rate];
    const int16_t* longStart = tables::kLongBandStart[rate];
    const int32_t mixed = g.mixed_block_flag;
    bool doLong = mixed != 0;
    for (int w = 0; w < 3; ++w) {
        const int32_t first = g.shortBandEnd[w];
        if (first > 3) doLong = false;
        for (int32_t band = first < 0 ? 0 : first; band < 12; ++band) {
            const int32_t index = 3 * band + w - mixed;
            if (index < 0) continue;
            pair.Apply(positions[index], 3 * shortStart[band] + w, shortStart[band + 1] - shortStart[band], 3);
        }
        // Band 12 has no position of its own: it takes band 11's.
        pair.Apply(positions[33 + w - mixed], 3 * shortStart[12] + w, shortStart[13] - shortStart[12], 3);
    }
    if (doLong) {
        for (int32_t band = g.longBandEnd; band < 8; ++band)
            pair.Apply(positions[band], longStart[band], longStart[band + 1] - longStart[band], 1);
    }
}

template <class F>
void IntensityLong(const IntensityPair<F>& pair, const GranuleInfo& g, const int32_t* positions, int rate) {
    const int16_t* longStart = tables::kLongBandStart[rate];
    if (g.longBandEnd > 21) return;
    for (int32_t band = g.longBandEnd < 0 ? 0 : g.longBandEnd; band < 21; ++band)
        pair.Apply(positions[band], longStart[band], longStart[band + 1] - longStart[band], 1);
    // Band 21 has no position of its own: it takes band 20's.
    pair.Apply(positions[20], longStart[21], longStart[22] - longStart[21], 1);
}

}  // namespace

template <class F>
void ProcessStereo(GranuleInfo& left, GranuleInfo& right, const int32_t* scaleFactors1, Layer3Value<F>* spectrum,
                   const FrameHeader& header, int32_t channelSelect) {
    using value = Layer3Value<F>;
    value* l = spectrum;
    value* r = spectrum + kGranuleLines;
    const bool jointStereo = header.mode == 1;
    const bool midSide = jointStereo && (header.modeExtension & 2) != 0;
    const bool intensity = jointStereo && (header.modeExtension & 1) != 0;
    const int rate = header.sampleRateIndex >= 0 && header.sampleRateIndex < 9 ? header.sampleRateIndex : 0;

    if (midSide) {
        const int32_t subbands = left.activeSubbands > right.activeSubbands ? left.activeSubbands : right.activeSubbands;
        for (int32_t line = 0; line < 18 * subbands; ++line) {
            const value sum = l[line] + r[line];
            r[line] = l[line] - r[line];
            l[line] = sum;
        }
    }
    if (intensity) {
        const int32_t lsf = header.lsf ? 1 : 0;
        const int32_t pairIndex = (midSide ? 1 : 0) + 2 * (lsf + (lsf & right.scalefac_compress));
        Layer3Format<F>& format = Layer3For<F>();
        const IntensityPair<F> pair{format.intensity[pairIndex][0], format.intensity[pairIndex][1], l, r};
        if (right.block_type == 2) IntensityShort(pair, right, scaleFactors1, rate);
        else IntensityLong(pair, right, scaleFactors1, rate);
    }
    if (midSide || intensity || channelSelect == 3) {
        const int32_t subbands = left.activeSubbands > right.activeSubbands ? left.activeSubbands : right.activeSubbands;
        left.activeSubbands = subbands;
        right.activeSubbands = subbands;
    }
    if (channelSelect >= 0) {
        const int32_t lines = header.lineCount > 0 && header.lineCount <= kGranuleLines ? header.lineCount : kGranuleLines;
        // The mix's halving is already in the gains.
        if (channelSelect == 1) {
            for (int32_t line = 0; line < lines; ++line) l[line] = r[line];
        } else if (channelSelect == 3) {
            for (int32_t line = 0; line < lines; ++line) l[line] += r[line];
        }
    }
}

#define VEXA_LAYER3_STEREO(F)                                                                                 \
    template void ProcessStereo<F>(GranuleInfo&, GranuleInfo&, const int32_t*, Layer3Value<F>*,             \
                                   const FrameHeader&, int32_t);
VEXA_LAYER3_STEREO(SingleFormat)
VEXA_LAYER3_STEREO(DoubleFormat)
VEXA_LAYER3_STEREO(FixedFormat)
#undef VEXA_LAYER3_STEREO

}  // namespace vexa
