// Synthesise: one sub-band block of one channel through the DCT into the V
// ring, then the windowing pass that yields M PCM samples.
#include "decoder/synthesis.h"

#include <cstring>

#include "dsp/decoder_hooks.h"

namespace vexa {

SynthesisState g_synthesis;

namespace {

template <int N, class F>
[[gnu::flatten]] void FlatDct(const typename F::sample* in, typename F::sample* out) {
    DctStage<N, F>(in, out, SynthesisFor<F>().dct);
}

// sum_t (-1)^t window[t] ring[t], in four partial sums so that the
// additions do not wait on each other; the order of the additions is free.
template <class F>
typename F::sum AlternatingSum(const typename F::constant* window, const typename F::sample* ring) {
    typename F::sum even0{}, even1{}, odd0{}, odd1{};
#pragma GCC unroll 4
    for (int t = 0; t < 16; t += 4) {
        even0 += F::product(window[t], ring[t]);
        odd0 += F::product(window[t + 1], ring[t + 1]);
        even1 += F::product(window[t + 2], ring[t + 2]);
        odd1 += F::product(window[t + 3], ring[t + 3]);
    }
    return (even0 + even1) - (odd0 + odd1);
}

// sum_t window[15 - t] ring[t], likewise in four partial sums.
template <class F>
typename F::sum MirroredSum(const typename F::constant* window, const typename F::sample* ring) {
    typename F::sum sum0{}, sum1{}, sum2{}, sum3{};
#pragma GCC unroll 4
    for (int t = 0; t < 16; t += 4) {
        sum0 += F::product(window[15 - t], ring[t]);
        sum1 += F::product(window[14 - t], ring[t + 1]);
        sum2 += F::product(window[13 - t], ring[t + 2]);
        sum3 += F::product(window[12 - t], ring[t + 3]);
    }
    return (sum0 + sum1) + (sum2 + sum3);
}

// Writes M samples to out[0], out[2], ... from the reading half of the ring.
// The window rows are read from offset 16 - b forward and from b mirrored,
// which rotates the 16 taps of each row to the ring's current slot order.
template <class F>
void WindowRing(const typename F::constant* table, int32_t b, const typename F::sample* ring, int16_t* out) {
    const int32_t half = g_synthesis.subbands / 2;
    const typename F::constant* forward = table + 16 - b;
    const typename F::constant* mirrored = table + b;
    out[0] = F::toPcm(AlternatingSum<F>(forward, ring));
    for (int32_t j = 1; j < half; ++j) {
        out[2 * j] = F::toPcm(AlternatingSum<F>(forward + 32 * j, ring + 16 * j));
        const typename F::sum negated = typename F::sum{} - MirroredSum<F>(mirrored + 32 * j, ring + 16 * j);
        out[2 * (2 * half - j)] = F::toPcm(negated);
    }
    out[2 * half] = F::toPcm(AlternatingSum<F>(forward + 32 * half, ring + 16 * half));
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
    S* half0 = format.ring[ringChannel][0];
    S* half1 = format.ring[ringChannel][1];
    const bool odd = (offset & 1) != 0;
    S* a = odd ? half1 + ((offset + 1) & 15) : half0 + offset;
    S* b = odd ? half0 + offset : half1 + offset + 1;
    const S* reading = odd ? half0 : half1;
    const int32_t readSlot = odd ? offset : offset + 1;

    S transformed[32];
    format.kernel(block, transformed);
    const int32_t half = g_synthesis.subbands / 2;
    for (int32_t row = 0; row <= half; ++row) a[16 * row] = transformed[half - row];
    for (int32_t row = 0; row < half; ++row) b[16 * row] = transformed[half + row];
    WindowRing<F>(format.window, readSlot, reading, out);
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
