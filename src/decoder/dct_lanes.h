// The 32- and 16-point DCT of the four-lane formats (single, fixed) with
// SSE2, the same operations as DctStage to the bit:
//
// 1. The splits of the upper stages run on whole registers: x[N-1-k] for
//    four k at once is a reversed register, so sums and scaled differences
//    are one operation per four values, until four pieces of N/4 points are
//    left (for 32 points: the sums of the sums, their differences, and so on).
// 2. The four pieces are transposed so that lane p holds piece p, and the
//    N/4-point transforms run once, side by side, with DctStage itself.
// 3. The pieces' results are combined upwards in scalar code with
//    DctCombine, in the order DctStage would have combined them.
//
// Moving values between registers and scalar code in every stage costs more
// than it saves; here they cross twice, at the transposes and at the end.
#pragma once

#include <cstdint>

#include "decoder/dct_kernels.h"
#include "decoder/lane_types.h"
#include "decoder/number_format.h"
#include "decoder/simd_int32.h"

#if defined(__SSE2__)
#define VEXA_DCT_LANES 1

namespace vexa {

template <class F>
struct DctLanes;

template <>
struct DctLanes<SingleFormat> {
    using sample = Float4;
    using constant = float;
    static constexpr bool kIsFixed = false;
    static sample mul(sample x, constant c) { return {_mm_mul_ps(x.v, _mm_set1_ps(c))}; }
    static sample mul(sample x, const float* c) { return {_mm_mul_ps(x.v, _mm_loadu_ps(c))}; }
    static sample load(const float* p) { return {_mm_loadu_ps(p)}; }
    static void store(float* p, sample x) { _mm_store_ps(p, x.v); }
    static __m128i bits(sample x) { return _mm_castps_si128(x.v); }
    static sample fromBits(__m128i x) { return {_mm_castsi128_ps(x)}; }
};

// The lane sums of Int4 wrap by themselves, as the fixed format's do; the
// products are the wrapping 32-bit ones shifted right by 15.
template <>
struct DctLanes<FixedFormat> {
    using sample = Int4;
    using constant = int32_t;
    static constexpr bool kIsFixed = false;
    static sample mul(sample x, constant c) { return {_mm_srai_epi32(MultiplyLow32(x.v, _mm_set1_epi32(c)), 15)}; }
    static sample mul(sample x, const int32_t* c) {
        return {_mm_srai_epi32(MultiplyLow32(x.v, _mm_loadu_si128(reinterpret_cast<const __m128i*>(c))), 15)};
    }
    static sample load(const int32_t* p) { return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))}; }
    static void store(int32_t* p, sample x) { _mm_store_si128(reinterpret_cast<__m128i*>(p), x.v); }
    static __m128i bits(sample x) { return x.v; }
    static sample fromBits(__m128i x) { return {x}; }
};

namespace dct_detail {

template <class L>
inline typename L::sample Reversed(typename L::sample x) {
    return L::fromBits(_mm_shuffle_epi32(L::bits(x), _MM_SHUFFLE(0, 1, 2, 3)));
}

// rows[p] lane l becomes columns[l] lane p.
template <class L>
inline void Transpose(const typename L::sample* rows, int stride, typename L::sample* columns) {
    __m128i block[4] = {L::bits(rows[0]), L::bits(rows[stride]), L::bits(rows[2 * stride]), L::bits(rows[3 * stride])};
    Transpose4x32(block);
    for (int l = 0; l < 4; ++l) columns[l] = L::fromBits(block[l]);
}

// Step 1 on a piece of S points held in S/4 registers; the pieces of Leaf
// points are written in the order DctStage would transform them.
template <int S, int Leaf, class F>
[[gnu::always_inline]] inline void SplitToPieces(const typename DctLanes<F>::sample* x,
                                                 typename DctLanes<F>::sample* pieces,
                                                 const typename F::constant* table) {
    using L = DctLanes<F>;
    if constexpr (S == Leaf) {
        for (int i = 0; i < S / 4; ++i) pieces[i] = x[i];
    } else {
        constexpr int H = S / 2;
        typename L::sample sums[H / 4];
        typename L::sample differences[H / 4];
#pragma GCC unroll 8
        for (int i = 0; i < H / 4; ++i) {
            const typename L::sample mirrored = Reversed<L>(x[S / 4 - 1 - i]);
            sums[i] = x[i] + mirrored;
            differences[i] = L::mul(x[i] - mirrored, table + H + 4 * i);
        }
        SplitToPieces<H, Leaf, F>(sums, pieces, table);
        SplitToPieces<H, Leaf, F>(differences, pieces + H / 4, table);
    }
}

// Step 3: the S-point result whose first piece is Piece, from the pieces'
// results stored as results[4 * element + piece].
template <int S, int Leaf, int Piece, class F>
[[gnu::always_inline]] inline void CombinePieces(const typename F::sample* results, typename F::sample* out) {
    if constexpr (S == Leaf) {
        for (int e = 0; e < Leaf; ++e) out[e] = results[4 * e + Piece];
    } else {
        constexpr int H = S / 2;
        typename F::sample even[H];
        typename F::sample odd[H];
        CombinePieces<H, Leaf, Piece, F>(results, even);
        CombinePieces<H, Leaf, Piece + H / Leaf, F>(results, odd);
        DctCombine<H, F>(even, odd, out);
    }
}

}  // namespace dct_detail

template <int N, class F>
[[gnu::always_inline]] inline void DctInLanes(const typename F::sample* in, typename F::sample* out,
                                              const typename F::constant* table) {
    static_assert(N == 32 || N == 16, "four pieces of at least four points");
    using L = DctLanes<F>;
    using V = typename L::sample;
    constexpr int Leaf = N / 4;
    constexpr int Registers = Leaf / 4;  // per piece
    V x[N / 4];
    for (int i = 0; i < N / 4; ++i) x[i] = L::load(in + 4 * i);
    V pieces[N / 4];
    dct_detail::SplitToPieces<N, Leaf, F>(x, pieces, table);
    V columns[Leaf];
    for (int r = 0; r < Registers; ++r) dct_detail::Transpose<L>(pieces + r, Registers, columns + 4 * r);
    V transformed[Leaf];
    DctStage<Leaf, L>(columns, transformed, table);
    alignas(16) typename F::sample results[N];
    for (int e = 0; e < Leaf; ++e) L::store(results + 4 * e, transformed[e]);
    dct_detail::CombinePieces<N, Leaf, 0, F>(results, out);
}

}  // namespace vexa
#endif
