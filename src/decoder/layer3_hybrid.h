// The Layer III hybrid filterbank: an IMDCT per sub-band in the factored
// forms (nine- and three-point kernels, the window's cosine factors folded
// into the stored windows), overlap-add with the previous granule, and the
// frequency inversion of odd sub-bands through the odd windows.
#pragma once

#include <cstdint>

#include "decoder/layer3_state.h"

namespace vexa {

// 36-point IMDCT, window and overlap of one sub-band: writes output[32 k],
// k = 0..17, and the 18 values of the next overlap. input is used in place.
template <class F>
void Imdct36(Layer3Value<F>* input, const Layer3Value<F>* previous, Layer3Value<F>* next,
             const typename F::constant* window, typename F::sample* output);

// The three 12-point IMDCTs of a short block (line j of window n at
// input[n + 3 j]) with the 12-value short window, overlapped at offsets 6,
// 12 and 18, then split like Imdct36.
template <class F>
void Imdct12(Layer3Value<F>* input, const Layer3Value<F>* previous, Layer3Value<F>* next,
             const typename F::constant* window, typename F::sample* output);

// One granule of one channel: transforms the first activeSubbands sub-bands
// (rounded up to a pair, mixed blocks' first two always long) of the first
// heardSubbands (the synthesis reads only 32 >> quality, and the quality
// stays for the whole stream, so the overlap of the others is never needed),
// moves the old overlap out of the other heard ones, and flips the
// channel's overlap toggle.
// output is the channel's hybrid output (sample ss of sub-band sb at 32 ss + sb).
// Long blocks go through the lane-parallel transform (layer3_imdct_lanes.h,
// or with AVX2 on x86_64 layer3_hybrid_avx.h) where whole lane groups fit; the spectrum is then left as it was, where
// the scalar transform uses it as scratch.
template <class F>
void Hybrid(const GranuleInfo& granule, Layer3Value<F>* channelSpectrum, typename F::sample* output, int32_t channel,
            int32_t heardSubbands);

// The same with the scalar transforms only: the reference of the fast one.
template <class F>
void HybridPlain(const GranuleInfo& granule, Layer3Value<F>* channelSpectrum, typename F::sample* output,
                 int32_t channel, int32_t heardSubbands);

}  // namespace vexa
