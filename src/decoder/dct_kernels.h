// The fast DCT-II of the synthesis: X[k] = sum_n x[n] cos(k (2n + 1) pi / 2N),
// unnormalised, by the recursive even/odd factorisation. One template over
// size and number format; each instantiation is inlined into a flat kernel.
//
// An N-point stage splits x into sums a[k] = x[k] + x[N-1-k] and scaled
// differences b[k] = (x[k] - x[N-1-k]) * C[N/2 + k], where
// C[N/2 + k] = 0.5 / cos((2k + 1) pi / 2N); the N/2-point transforms A and B
// of a and b give X[2k] = A[k] and X[2k+1] = B[k] + B[k+1] (B[N/2] = 0).
// The fixed format scales each difference with its own shift (FixedFormat::mul),
// so the results keep the Q15 scale of the input.
#pragma once

#include <cstdint>

#include "decoder/number_format.h"

namespace vexa {

// Sums and differences that wrap in the fixed format instead of overflowing.
template <class F>
inline typename F::sample DctAdd(typename F::sample a, typename F::sample b) {
    if constexpr (F::kIsFixed) {
        return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
    } else {
        return a + b;
    }
}
template <class F>
inline typename F::sample DctSub(typename F::sample a, typename F::sample b) {
    if constexpr (F::kIsFixed) {
        return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
    } else {
        return a - b;
    }
}

// X from the transforms of the sums (even) and of the scaled differences
// (odd), each of H points.
template <int H, class F>
[[gnu::always_inline]] inline void DctCombine(const typename F::sample* even, const typename F::sample* odd,
                                              typename F::sample* out) {
#pragma GCC unroll 16
    for (int k = 0; k < H - 1; ++k) {
        out[2 * k] = even[k];
        out[2 * k + 1] = DctAdd<F>(odd[k], odd[k + 1]);
    }
    out[2 * H - 2] = even[H - 1];
    out[2 * H - 1] = odd[H - 1];
}

// One N-point stage and, recursively, all below it. F may also be a lane
// format whose samples are vectors: each lane then runs its own transform.
template <int N, class F>
[[gnu::always_inline]] inline void DctStage(const typename F::sample* x, typename F::sample* out,
                                            const typename F::constant* table) {
    using S = typename F::sample;
    if constexpr (N == 1) {
        out[0] = x[0];
    } else {
        constexpr int H = N / 2;
        S sums[H];
        S differences[H];
#pragma GCC unroll 16
        for (int k = 0; k < H; ++k) {
            sums[k] = DctAdd<F>(x[k], x[N - 1 - k]);
            differences[k] = F::mul(DctSub<F>(x[k], x[N - 1 - k]), table[H + k]);
        }
        S even[H];
        S odd[H];
        DctStage<H, F>(sums, even, table);
        DctStage<H, F>(differences, odd, table);
        DctCombine<H, F>(even, odd, out);
    }
}

}  // namespace vexa
