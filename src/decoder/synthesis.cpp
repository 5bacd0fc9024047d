// Synthesise: one sub-band block of one channel through the DCT into the V
// ring, then the windowing pass that yields M PCM samples.
#include "decoder/synthesis.h"

#include <cstring>

#include "decoder/dct_lanes.h"
#include "decoder/synthesis_window.h"
#include "dsp/decoder_hooks.h"

namespace vexa {

SynthesisState g_synthesis;

namespace {

template <int N, class F>
[[gnu::flatten]] void FlatDct(const typename F::sample* in, typename F::sample* out) {
#if defined(VEXA_DCT_LANES)
    if constexpr (N >= 16 && !std::is_same_v<F, DoubleFormat>) {
        DctInLanes<N, F>(in, out, SynthesisFor<F>().dct);
        return;
    }
#endif
    DctStage<N, F>(in, out, SynthesisFor<F>().dct);
}

}  // namespace

template <class F>
DctKernel<F> DctKernelFor(int32_t points) {
    if (points == 32) return FlatDct<32, F>;
    if (points == 16) return FlatDct<16, F>;
    return FlatDct<8, F>;
}

template <class F>
void Synthesise(typename F::sample* block, int32_t channel, int16_t* out) {
    using S = typename F::sample;
    SynthesisFormat<F>& format = SynthesisFor<F>();
    int32_t ringChannel = 1;
    if (channel <= 0) {
        g_synthesis.ringOffset = (g_synthesis.ringOffset - 1) & 15;
        ringChannel = 0;
    } else {
        out += 1;
    }
    // Equalizer gains and spectrum accumulation for Layers I and II (Layer
    // III applied them to its lines): the DCT transforms the equalised block.
    SubbandHook(block, channel);

    // The DCT values go to two slots: A holds the rows X[M/2 - row], B the
    // rows X[M/2 + row]; the other half of each slot pair is read.
    const int32_t offset = g_synthesis.ringOffset;
    using R = typename SynthesisFormat<F>::ringValue;
    R* half0 = format.ring[ringChannel][0];
    R* half1 = format.ring[ringChannel][1];
    const bool odd = (offset & 1) != 0;
    R* a = odd ? half1 + ((offset + 1) & 15) : half0 + offset;
    R* b = odd ? half0 + offset : half1 + offset + 1;
    const R* reading = odd ? half0 : half1;
    const int32_t readSlot = odd ? offset : offset + 1;

    S transformed[32];
    format.kernel(block, transformed);
    const int32_t half = g_synthesis.subbands / 2;
    for (int32_t row = 0; row <= half; ++row) a[16 * row] = transformed[half - row];
    for (int32_t row = 0; row < half; ++row) b[16 * row] = transformed[half + row];
    if constexpr (F::kIsFixed) {
        g_synthesis.fixedWindowing(format.window, format.windowReversed, readSlot, reading, g_synthesis.subbands, out);
    } else {
        g_synthesis.wideWindowing(format.windowForward, format.windowMirrored, readSlot, reading, g_synthesis.subbands,
                                  out);
    }
}

void ResetSynthesis() {
    g_synthesis.formats.forEach([](auto& format) { std::memset(format.ring, 0, sizeof format.ring); });
    g_synthesis.ringOffset = 1;
}

template DctKernel<SingleFormat> DctKernelFor<SingleFormat>(int32_t);
template DctKernel<DoubleFormat> DctKernelFor<DoubleFormat>(int32_t);
template DctKernel<FixedFormat> DctKernelFor<FixedFormat>(int32_t);
template void Synthesise<SingleFormat>(float*, int32_t, int16_t*);
template void Synthesise<DoubleFormat>(double*, int32_t, int16_t*);
template void Synthesise<FixedFormat>(int32_t*, int32_t, int16_t*);

}  // namespace vexa
