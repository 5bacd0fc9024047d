// The Layer III frame decoder: side information, reservoir, then per granule
// the scale factors, Huffman data, stereo processing, alias reduction and
// hybrid filterbank of each channel, and the synthesis of its 18 time slots.
#include <cstring>

#include "decoder/bit_reader.h"
#include "decoder/decoder.h"
#include "decoder/layer3.h"
#include "decoder/layer3_alias.h"
#include "decoder/layer3_hybrid.h"
#include "decoder/layer3_line_hook.h"
#include "decoder/layer3_scale_factors.h"
#include "decoder/layer3_side_info.h"
#include "decoder/layer3_spectrum.h"
#include "decoder/layer3_stereo.h"
#include "decoder/synthesis.h"
#include "decoder/synthesis_slots.h"

namespace vexa {
namespace {

struct FrameLayout {
    int32_t channels;
    int32_t selection;  // effective: negative both, 0 left, 1 right, 3 mix
    int32_t outputs;    // channels that go through the filterbank
    int32_t granules;
    int32_t midSide;
    int32_t intensity;
};

FrameLayout LayoutOf(const FrameHeader& header) {
    FrameLayout layout{};
    layout.channels = header.channels == 1 ? 1 : 2;
    layout.selection = layout.channels == 1 ? 0 : header.channelSelect;
    layout.outputs = layout.channels == 2 && layout.selection < 0 ? 2 : 1;
    layout.granules = header.lsf ? 1 : 2;
    const bool joint = header.mode == 1;
    layout.midSide = joint && (header.modeExtension & 2) ? 1 : 0;
    layout.intensity = joint && (header.modeExtension & 1) ? 1 : 0;
    return layout;
}

// Decodes one channel's scale factors and spectrum; false on overrun.
template <class F>
bool DecodeChannel(const FrameHeader& header, const FrameLayout& layout, GranuleInfo& granule, int32_t channel) {
    int32_t* scaleFactors = g_layer3.scaleFactors[channel];
    if (header.lsf) ReadScaleFactorsLsf(granule, scaleFactors, channel == 1 ? layout.intensity : 0);
    else ReadScaleFactorsMpeg1(granule, scaleFactors);
    SetGains(granule, layout.midSide, layout.selection);
    Layer3Value<F>* spectrum = Layer3For<F>().spectrum + channel * kGranuleLines;
    return DecodeSpectrum<F>(granule, spectrum, scaleFactors, header.sampleRateIndex) == 0;
}

template <class F>
void SynthesiseGranule(const FrameLayout& layout, int32_t deliver) {
    Layer3Format<F>& format = Layer3For<F>();
    alignas(8) uint8_t pcm[128];
    const SynthesisSlots& slots = g_synthesisSlots;
    for (int ss = 0; ss < 18; ++ss) {
        if (layout.outputs == 2) {
            slots.stereo(&format.hybrid[0][32 * ss], 0, pcm);
            slots.stereo(&format.hybrid[1][32 * ss], 1, pcm);
        } else {
            slots.single(&format.hybrid[0][32 * ss], pcm);
        }
        if (deliver) DeliverPcm(pcm, slots.blockBytes);
    }
}

}  // namespace

template <class F>
void DecodeLayer3Frame(FrameHeader& header, int32_t deliver) {
    const FrameLayout layout = LayoutOf(header);
    std::memset(g_layer3.scaleFactors, 0, sizeof g_layer3.scaleFactors);
    SideInfo& info = g_layer3.sideInfo;
    if (!ReadSideInfo(info, layout.channels, header.sampleRateIndex, header.lsf)) {
        ++g_layer3.rejectedFrames;
        return;
    }
    StartMainData(info.main_data_begin);
    Layer3Format<F>& format = Layer3For<F>();
    for (int gr = 0; gr < layout.granules; ++gr) {
        GranuleInfo* granules = info.granule[gr];
        for (int ch = 0; ch < layout.channels; ++ch) {
            if (!DecodeChannel<F>(header, layout, granules[ch], ch)) {
                ++g_layer3.overrunFrames;  // the frame ends here
                return;
            }
        }
        if (layout.channels == 2)
            ProcessStereo<F>(granules[0], granules[1], g_layer3.scaleFactors[1], format.spectrum, header,
                             layout.selection);
        for (int ch = 0; ch < layout.outputs; ++ch) {
            Layer3Value<F>* spectrum = format.spectrum + ch * kGranuleLines;
            ReduceAliases<F>(granules[ch], spectrum);
            if (deliver) LineHook<F>(spectrum, layout.outputs == 2 ? ch : -1);
            Hybrid<F>(granules[ch], spectrum, format.hybrid[ch], ch, g_synthesis.subbands);
        }
        SynthesiseGranule<F>(layout, deliver);
    }
}

template void DecodeLayer3Frame<SingleFormat>(FrameHeader&, int32_t);
template void DecodeLayer3Frame<DoubleFormat>(FrameHeader&, int32_t);
template void DecodeLayer3Frame<FixedFormat>(FrameHeader&, int32_t);

void DecodeLayer3Single(FrameHeader& header, int32_t deliver) { DecodeLayer3Frame<SingleFormat>(header, deliver); }
void DecodeLayer3Double(FrameHeader& header, int32_t deliver) { DecodeLayer3Frame<DoubleFormat>(header, deliver); }
void DecodeLayer3Fixed(FrameHeader& header, int32_t deliver) { DecodeLayer3Frame<FixedFormat>(header, deliver); }

}  // namespace vexa
