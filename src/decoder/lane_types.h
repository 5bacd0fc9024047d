// Vector registers as values with the arithmetic of their lanes: four
// floats, two doubles, four int32 whose sums and differences wrap. The lane
// forms of the decoder's stages are written over these, so each lane does
// exactly what the scalar code does.
#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>

namespace vexa {

struct Float4 {
    __m128 v;
    friend Float4 operator+(Float4 a, Float4 b) { return {_mm_add_ps(a.v, b.v)}; }
    friend Float4 operator-(Float4 a, Float4 b) { return {_mm_sub_ps(a.v, b.v)}; }
    Float4& operator+=(Float4 b) { return *this = *this + b; }
};

struct Double2 {
    __m128d v;
    friend Double2 operator+(Double2 a, Double2 b) { return {_mm_add_pd(a.v, b.v)}; }
    friend Double2 operator-(Double2 a, Double2 b) { return {_mm_sub_pd(a.v, b.v)}; }
    Double2& operator+=(Double2 b) { return *this = *this + b; }
};

struct Int4 {
    __m128i v;
    friend Int4 operator+(Int4 a, Int4 b) { return {_mm_add_epi32(a.v, b.v)}; }
    friend Int4 operator-(Int4 a, Int4 b) { return {_mm_sub_epi32(a.v, b.v)}; }
    Int4& operator+=(Int4 b) { return *this = *this + b; }
};

// A block of four registers of 32-bit lanes transposed in place: lane l of
// rows[r] becomes lane r of rows[l].
inline void Transpose4x32(__m128i (&rows)[4]) {
    const __m128i low01 = _mm_unpacklo_epi32(rows[0], rows[1]), low23 = _mm_unpacklo_epi32(rows[2], rows[3]);
    const __m128i high01 = _mm_unpackhi_epi32(rows[0], rows[1]), high23 = _mm_unpackhi_epi32(rows[2], rows[3]);
    rows[0] = _mm_unpacklo_epi64(low01, low23);
    rows[1] = _mm_unpackhi_epi64(low01, low23);
    rows[2] = _mm_unpacklo_epi64(high01, high23);
    rows[3] = _mm_unpackhi_epi64(high01, high23);
}

}  // namespace vexa
#endif
