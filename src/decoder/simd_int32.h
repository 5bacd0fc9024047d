// 32-bit integer lanes with SSE2, which has no 32-bit multiply keeping the
// low half: the fixed format's products wrap in 32 bits, so the low 32 bits
// of the 64-bit products of lanes 0 and 2, then 1 and 3, are exactly them.
#pragma once

#if defined(__SSE2__)
#include <emmintrin.h>

namespace vexa {

inline __m128i MultiplyLow32(__m128i a, __m128i b) {
    const __m128i even = _mm_mul_epu32(a, b);
    const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(a, 32), _mm_srli_epi64(b, 32));
    return _mm_unpacklo_epi32(_mm_shuffle_epi32(even, _MM_SHUFFLE(0, 0, 2, 0)),
                              _mm_shuffle_epi32(odd, _MM_SHUFFLE(0, 0, 2, 0)));
}

}  // namespace vexa
#endif
