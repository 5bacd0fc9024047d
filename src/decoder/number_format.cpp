#include "decoder/number_format.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vexa {

#if defined(__SSE2__)
namespace {

// Two doubles to two int32 lanes (low half of the result) as FloatToQ15
// does it: the truncating conversion gives INT32_MIN for anything beyond
// the range or not a number; sums at or above 2^31 - 1 become INT32_MAX and
// non-numbers 0.
__m128i ScaledToQ15(__m128d scaled) {
    const __m128i truncated = _mm_cvttpd_epi32(scaled);
    const auto lanes = [](__m128d mask) { return _mm_shuffle_epi32(_mm_castpd_si128(mask), _MM_SHUFFLE(3, 3, 2, 0)); };
    const __m128i high = lanes(_mm_cmpge_pd(scaled, _mm_set1_pd(2147483647.0)));
    const __m128i number = lanes(_mm_cmpord_pd(scaled, scaled));
    const __m128i value =
        _mm_or_si128(_mm_andnot_si128(high, truncated), _mm_and_si128(high, _mm_set1_epi32(INT32_MAX)));
    return _mm_and_si128(value, number);
}

}  // namespace
#endif

void FloatsToQ15(const float* values, int32_t* out, int32_t count) {
#if defined(__SSE2__)
    const __m128d q15 = _mm_set1_pd(32768.0);
    for (int32_t i = 0; i < count; i += 4) {
        const __m128 four = _mm_loadu_ps(values + i);
        const __m128i low = ScaledToQ15(_mm_mul_pd(_mm_cvtps_pd(four), q15));
        const __m128i high = ScaledToQ15(_mm_mul_pd(_mm_cvtps_pd(_mm_movehl_ps(four, four)), q15));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_unpacklo_epi64(low, high));
    }
#else
    for (int32_t i = 0; i < count; ++i) out[i] = FloatToQ15(values[i]);
#endif
}

}  // namespace vexa
