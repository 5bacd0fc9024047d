// SSE2 lanes for the stages of the fast DCT whose half size holds whole
// lane groups: the sums and scaled differences of a split, and the
// recombination X[2k] = A[k], X[2k+1] = B[k] + B[k+1]. Each lane performs
// the scalar stage's operation for its own k, in the same precision (the
// fixed format's product is its wrapping product shifted right by 15), so
// the kernel's results are those of the scalar stages to the bit; only the
// order in which independent values are computed changes.
#pragma once

#include <cstdint>

#include "decoder/number_format.h"
#include "decoder/simd_int32.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define VEXA_DCT_LANES 1
#endif

namespace vexa {

// No lanes: the stages stay scalar.
template <class F>
struct DctLanes {
    static constexpr int kCount = 0;
};

#if defined(VEXA_DCT_LANES)

template <>
struct DctLanes<SingleFormat> {
    static constexpr int kCount = 4;
    using V = __m128;
    static V load(const float* p) { return _mm_loadu_ps(p); }
    static void store(float* p, V v) { _mm_storeu_ps(p, v); }
    static V reverse(V v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3)); }
    static V add(V a, V b) { return _mm_add_ps(a, b); }
    static V sub(V a, V b) { return _mm_sub_ps(a, b); }
    static V mul(V a, V c) { return _mm_mul_ps(a, c); }
    static V interleaveLow(V a, V b) { return _mm_unpacklo_ps(a, b); }
    static V interleaveHigh(V a, V b) { return _mm_unpackhi_ps(a, b); }
};

template <>
struct DctLanes<DoubleFormat> {
    static constexpr int kCount = 2;
    using V = __m128d;
    static V load(const double* p) { return _mm_loadu_pd(p); }
    static void store(double* p, V v) { _mm_storeu_pd(p, v); }
    static V reverse(V v) { return _mm_shuffle_pd(v, v, 1); }
    static V add(V a, V b) { return _mm_add_pd(a, b); }
    static V sub(V a, V b) { return _mm_sub_pd(a, b); }
    static V mul(V a, V c) { return _mm_mul_pd(a, c); }
    static V interleaveLow(V a, V b) { return _mm_unpacklo_pd(a, b); }
    static V interleaveHigh(V a, V b) { return _mm_unpackhi_pd(a, b); }
};

template <>
struct DctLanes<FixedFormat> {
    static constexpr int kCount = 4;
    using V = __m128i;
    static V load(const int32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static void store(int32_t* p, V v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }
    static V reverse(V v) { return _mm_shuffle_epi32(v, _MM_SHUFFLE(0, 1, 2, 3)); }
    static V add(V a, V b) { return _mm_add_epi32(a, b); }
    static V sub(V a, V b) { return _mm_sub_epi32(a, b); }
    static V mul(V a, V c) { return _mm_srai_epi32(MultiplyLow32(a, c), 15); }
    static V interleaveLow(V a, V b) { return _mm_unpacklo_epi32(a, b); }
    static V interleaveHigh(V a, V b) { return _mm_unpackhi_epi32(a, b); }
};

#endif

}  // namespace vexa
