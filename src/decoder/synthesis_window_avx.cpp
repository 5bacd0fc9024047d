// The float formats' windowing with 256-bit AVX registers, chosen at run
// time on x86_64 processors that have them. Each register holds the four
// partial sums of a row, lane p taking the taps p, p + 4, p + 8, p + 12 in
// that order, and they are combined in the same pairs as WindowRingWide's:
// the results are the same to the bit.
#include "decoder/synthesis_window.h"

#if defined(VEXA_WINDOWING_AVX)
#include <immintrin.h>
#endif

namespace vexa {

#if defined(VEXA_WINDOWING_AVX)
namespace {

[[gnu::target("avx")]] inline __m256d RowPartials(const double* window, const double* ring) {
    __m256d partials = _mm256_setzero_pd();
    for (int t = 0; t < 16; t += 4)
        partials = _mm256_add_pd(partials, _mm256_mul_pd(_mm256_loadu_pd(window + t), _mm256_loadu_pd(ring + t)));
    return partials;
}

// ((p0 + p2) - (p1 + p3)).
[[gnu::target("avx")]] inline double Alternating(__m256d partials) {
    const __m128d pairs = _mm_add_pd(_mm256_castpd256_pd128(partials), _mm256_extractf128_pd(partials, 1));
    return _mm_cvtsd_f64(_mm_sub_sd(pairs, _mm_unpackhi_pd(pairs, pairs)));
}

// ((p0 + p1) + (p2 + p3)).
[[gnu::target("avx")]] inline double Plain(__m256d partials) {
    const __m128d low = _mm256_castpd256_pd128(partials);
    const __m128d high = _mm256_extractf128_pd(partials, 1);
    const __m128d halves = _mm_add_pd(_mm_unpacklo_pd(low, high), _mm_unpackhi_pd(low, high));
    return _mm_cvtsd_f64(_mm_add_sd(halves, _mm_unpackhi_pd(halves, halves)));
}

}  // namespace

[[gnu::target("avx")]] void WindowRingWideAvx(const double* forwardTable, const double* mirroredTable, int32_t b,
                                               const double* ring, int32_t subbands, int16_t* out) {
    const int32_t half = subbands / 2;
    const double* forward = forwardTable + 16 - b;
    const double* mirrored = mirroredTable + 16 - b;
    alignas(16) double sums[32];
    sums[0] = Alternating(RowPartials(forward, ring));
    for (int32_t j = 1; j < half; ++j) {
        sums[j] = Alternating(RowPartials(forward + 32 * j, ring + 16 * j));
        sums[2 * half - j] = 0.0 - Plain(RowPartials(mirrored + 32 * j, ring + 16 * j));
    }
    sums[half] = Alternating(RowPartials(forward + 32 * half, ring + 16 * half));
    window_detail::SumsToPcm(sums, subbands, out);
}
#endif

WideWindowing ChooseWideWindowing() {
#if defined(VEXA_WINDOWING_AVX)
    if (__builtin_cpu_supports("avx")) return WindowRingWideAvx;
#endif
    return WindowRingWide;
}

}  // namespace vexa
