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

// One flat function per size and format: the DCT's results go from
// registers to the ring without a pass through memory.
template <int N, class F>
[[gnu::flatten]] void TransformIntoRing(const typename F::sample* block, RingValue<F>* a, RingValue<F>* b) {
    typename F::sample x[N];
#if defined(VEXA_DCT_LANES)
    if constexpr (N >= 16 && !std::is_same_v<F, DoubleFormat>) {
        DctInLanes<N, F>(block, x, SynthesisFor<F>().dct);
    } else {
        DctStage<N, F>(block, x, SynthesisFor<F>().dct);
    }
#else
    DctStage<N, F>(block, x, SynthesisFor<F>().dct);
#endif
#pragma GCC unroll 17
    for (int32_t row = 0; row <= N / 2; ++row) a[row] = x[N / 2 - row];
#pragma GCC unroll 16
    for (int32_t row = 0; row < N / 2; ++row) b[row] = x[N / 2 + row];
}

}  // namespace

template <class F>
RingKernel<F> RingKernelFor(int32_t points) {
    if (points == 32) return TransformIntoRing<32, F>;
    if (points == 16) return TransformIntoRing<16, F>;
    return TransformIntoRing<8, F>;
}

template <class F>
void Synthesise(typename F::sample* block, int32_t channel, int16_t* out) {
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
    R* a = odd ? half1 + kRingRows * ((offset + 1) & 15) : half0 + kRingRows * offset;
    R* b = odd ? half0 + kRingRows * offset : half1 + kRingRows * (offset + 1);
    const R* reading = odd ? half0 : half1;
    const int32_t readSlot = odd ? offset : offset + 1;

    format.kernel(block, a, b);
    if constexpr (F::kIsFixed) {
        g_synthesis.fixedWindowing(format.windowForward, format.windowMirrored, readSlot, reading,
                                   g_synthesis.subbands, out);
    } else {
        g_synthesis.wideWindowing(format.windowForward, format.windowMirrored, readSlot, reading, g_synthesis.subbands,
                                  out);
    }
}

void ResetSynthesis() {
    g_synthesis.formats.forEach([](auto& format) { std::memset(format.ring, 0, sizeof format.ring); });
    g_synthesis.ringOffset = 1;
}

template RingKernel<SingleFormat> RingKernelFor<SingleFormat>(int32_t);
template RingKernel<DoubleFormat> RingKernelFor<DoubleFormat>(int32_t);
template RingKernel<FixedFormat> RingKernelFor<FixedFormat>(int32_t);
template void Synthesise<SingleFormat>(float*, int32_t, int16_t*);
template void Synthesise<DoubleFormat>(double*, int32_t, int16_t*);
template void Synthesise<FixedFormat>(int32_t*, int32_t, int16_t*);

}  // namespace vexa
