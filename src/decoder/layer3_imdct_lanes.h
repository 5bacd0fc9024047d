// Lane sets for the long IMDCT and the alias reduction: several neighbouring
// sub-bands (or butterflies) at once with SSE2, one per lane. Every lane performs exactly the
// operations of the scalar transform, in the same order and the same
// precision (single: 4 lanes of float; double: 2 lanes of double; fixed:
// 4 lanes of int32 whose sums wrap and whose products with a Q15 constant
// are wrapping 32-bit products shifted right by 15), so the results are
// those of the scalar code to the bit. Even lanes take the sub-band window,
// odd lanes its odd counterpart, as the pairs of the scalar loop do.
//
// Threads: the playback thread.
#pragma once

#include <cstdint>

#include "decoder/lane_types.h"
#include "decoder/layer3_state.h"
#include "decoder/simd_int32.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#define VEXA_IMDCT_LANES 1
#endif

namespace vexa {

#if defined(VEXA_IMDCT_LANES)

template <class F>
struct VectorLanes;

template <>
struct VectorLanes<SingleFormat> {
    static constexpr int kCount = 4;
    using value = Float4;
    using constant = Float4;
    using sample = float;
    static value mul(value x, constant c) { return {_mm_mul_ps(x.v, c.v)}; }
    static void store(float* out, value x) { _mm_storeu_ps(out, x.v); }
    static constant broadcast(float c) { return {_mm_set1_ps(c)}; }
    static constant alternate(float even, float odd) { return {_mm_setr_ps(even, odd, even, odd)}; }
    static constant constants(const float* c) { return {_mm_loadu_ps(c)}; }
    // Entry k of the four sub-bands at base, base + stride, ...
    static value gather(const float* base, int stride) {
        return {_mm_setr_ps(base[0], base[stride], base[2 * stride], base[3 * stride])};
    }
    static void scatter(float* base, int stride, value x) {
        alignas(16) float lanes[4];
        _mm_store_ps(lanes, x.v);
        for (int l = 0; l < 4; ++l) base[l * stride] = lanes[l];
    }
    // Entries 0..3 of the four sub-bands as four values (a transposed block).
    static void gatherBlock(const float* base, int stride, value* out) {
        __m128 r0 = _mm_loadu_ps(base), r1 = _mm_loadu_ps(base + stride);
        __m128 r2 = _mm_loadu_ps(base + 2 * stride), r3 = _mm_loadu_ps(base + 3 * stride);
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        out[0] = {r0}, out[1] = {r1}, out[2] = {r2}, out[3] = {r3};
    }
    static void scatterBlock(float* base, int stride, const value* in) {
        __m128 r0 = in[0].v, r1 = in[1].v, r2 = in[2].v, r3 = in[3].v;
        _MM_TRANSPOSE4_PS(r0, r1, r2, r3);
        _mm_storeu_ps(base, r0), _mm_storeu_ps(base + stride, r1);
        _mm_storeu_ps(base + 2 * stride, r2), _mm_storeu_ps(base + 3 * stride, r3);
    }
};

template <>
struct VectorLanes<DoubleFormat> {
    static constexpr int kCount = 2;
    using value = Double2;
    using constant = Double2;
    using sample = double;
    static value mul(value x, constant c) { return {_mm_mul_pd(x.v, c.v)}; }
    static void store(double* out, value x) { _mm_storeu_pd(out, x.v); }
    static constant broadcast(double c) { return {_mm_set1_pd(c)}; }
    static constant alternate(double even, double odd) { return {_mm_setr_pd(even, odd)}; }
    static constant constants(const double* c) { return {_mm_loadu_pd(c)}; }
    static value gather(const double* base, int stride) { return {_mm_setr_pd(base[0], base[stride])}; }
    static void scatter(double* base, int stride, value x) {
        _mm_storel_pd(base, x.v);
        _mm_storeh_pd(base + stride, x.v);
    }
    static void gatherBlock(const double* base, int stride, value* out) {
        const __m128d r0 = _mm_loadu_pd(base), r1 = _mm_loadu_pd(base + stride);
        out[0] = {_mm_unpacklo_pd(r0, r1)}, out[1] = {_mm_unpackhi_pd(r0, r1)};
    }
    static void scatterBlock(double* base, int stride, const value* in) {
        _mm_storeu_pd(base, _mm_unpacklo_pd(in[0].v, in[1].v));
        _mm_storeu_pd(base + stride, _mm_unpackhi_pd(in[0].v, in[1].v));
    }
};

template <>
struct VectorLanes<FixedFormat> {
    static constexpr int kCount = 4;
    using value = Int4;
    using constant = Int4;
    using sample = int32_t;
    // The wrapping products, shifted right arithmetically by 15.
    static value mul(value x, constant c) { return {_mm_srai_epi32(MultiplyLow32(x.v, c.v), 15)}; }
    static void store(int32_t* out, value x) { _mm_storeu_si128(reinterpret_cast<__m128i*>(out), x.v); }
    static constant broadcast(int32_t c) { return {_mm_set1_epi32(c)}; }
    static constant alternate(int32_t even, int32_t odd) { return {_mm_setr_epi32(even, odd, even, odd)}; }
    static constant constants(const int32_t* c) { return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(c))}; }
    static value gather(const Wrapping32* base, int stride) {
        return {_mm_setr_epi32(base[0].v, base[stride].v, base[2 * stride].v, base[3 * stride].v)};
    }
    static void scatter(Wrapping32* base, int stride, value x) {
        alignas(16) int32_t lanes[4];
        _mm_store_si128(reinterpret_cast<__m128i*>(lanes), x.v);
        for (int l = 0; l < 4; ++l) base[l * stride] = lanes[l];
    }
    static void gatherBlock(const Wrapping32* base, int stride, value* out) {
        __m128i block[4];
        for (int r = 0; r < 4; ++r) block[r] = _mm_loadu_si128(reinterpret_cast<const __m128i*>(base + r * stride));
        Transpose4x32(block);
        for (int l = 0; l < 4; ++l) out[l] = {block[l]};
    }
    static void scatterBlock(Wrapping32* base, int stride, const value* in) {
        __m128i block[4] = {in[0].v, in[1].v, in[2].v, in[3].v};
        Transpose4x32(block);
        for (int r = 0; r < 4; ++r) _mm_storeu_si128(reinterpret_cast<__m128i*>(base + r * stride), block[r]);
    }
};

// The 18 entries of VectorLanes<F>::kCount neighbouring sub-bands (rows of
// 18 from base) as 18 lane values, and back: whole blocks by transposes,
// the entries left over one by one.
template <class F, class Row>
void GatherSubbands(Row* base, typename VectorLanes<F>::value (&out)[18]) {
    constexpr int n = VectorLanes<F>::kCount;
    int i = 0;
    for (; i + n <= 18; i += n) VectorLanes<F>::gatherBlock(base + i, 18, out + i);
    for (; i < 18; ++i) out[i] = VectorLanes<F>::gather(base + i, 18);
}

template <class F, class Row>
void ScatterSubbands(Row* base, const typename VectorLanes<F>::value (&in)[18]) {
    constexpr int n = VectorLanes<F>::kCount;
    int i = 0;
    for (; i + n <= 18; i += n) VectorLanes<F>::scatterBlock(base + i, 18, in + i);
    for (; i < 18; ++i) VectorLanes<F>::scatter(base + i, 18, in[i]);
}

#endif

}  // namespace vexa
