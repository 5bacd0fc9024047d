// The windowing with 256-bit registers, chosen at run time on x86_64
// processors that have them: AVX for the float formats, AVX2 for the fixed
// format. Float: each register holds the four partial sums of a row, lane p
// taking the taps p, p + 4, p + 8, p + 12 in that order, combined in the same
// pairs as WindowRingWide's, so the results are the same to the bit.
#include "decoder/synthesis_window.h"

#if defined(VEXA_WINDOWING_AVX)
#include <immintrin.h>
#endif

namespace vexa {

#if defined(VEXA_WINDOWING_AVX)
namespace {

// Started at the first products, as the SSE2 form's partial sums are.
[[gnu::target("avx")]] inline __m256d RowPartials(const double* window, const double* ring) {
    __m256d partials = _mm256_mul_pd(_mm256_loadu_pd(window), _mm256_loadu_pd(ring));
    for (int t = 4; t < 16; t += 4)
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

// window_detail::SumsToPcm four at a time: the same maximum (taking -32760
// for a sum that is not a number), minimum and truncation.
[[gnu::target("avx")]] inline void SumsToPcm(const double* sums, int32_t count, int16_t* out) {
    const __m256d low = _mm256_set1_pd(-static_cast<double>(kPcmLimit));
    const __m256d high = _mm256_set1_pd(static_cast<double>(kPcmLimit));
    for (int32_t j = 0; j < count; j += 4) {
        const __m128i pcm = _mm256_cvttpd_epi32(_mm256_min_pd(_mm256_max_pd(_mm256_loadu_pd(sums + j), low), high));
        out[2 * j] = static_cast<int16_t>(_mm_extract_epi16(pcm, 0));
        out[2 * j + 2] = static_cast<int16_t>(_mm_extract_epi16(pcm, 2));
        out[2 * j + 4] = static_cast<int16_t>(_mm_extract_epi16(pcm, 4));
        out[2 * j + 6] = static_cast<int16_t>(_mm_extract_epi16(pcm, 6));
    }
}

[[gnu::target("avx2")]] inline __m256i Load8(const int32_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

// The products of 16 taps summed by tap modulo 4, as four lanes.
[[gnu::target("avx2")]] inline __m128i ResidueSums(const int32_t* window, __m256i ring0, __m256i ring1) {
    const __m256i v =
        _mm256_add_epi32(_mm256_mullo_epi32(Load8(window), ring0), _mm256_mullo_epi32(Load8(window + 8), ring1));
    return _mm_add_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
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
    SumsToPcm(sums, subbands, out);
}

// Lane l of a row's register holds taps l and l + 8; the fixed sums wrap in
// 32 bits, so any grouping gives the same result.
[[gnu::target("avx2")]] void WindowRingFixedAvx2(const int32_t* forwardTable, const int32_t* reversedTable, int32_t b,
                                                 const int32_t* ring, int32_t subbands, int16_t* out) {
    const int32_t half = subbands / 2;
    const int32_t* forward = forwardTable + 16 - b;
    const int32_t* mirrored = reversedTable + 16 - b;
    alignas(16) uint32_t sums[32];
    for (int32_t j = 0; j <= half; ++j) {
        const __m256i r0 = Load8(ring + 16 * j), r1 = Load8(ring + 16 * j + 8);
        sums[j] = window_detail::EvenMinusOdd(ResidueSums(forward + 32 * j, r0, r1));
        if (j > 0 && j < half)
            sums[2 * half - j] = 0u - window_detail::AllLanes(ResidueSums(mirrored + 32 * j, r0, r1));
    }
    window_detail::FixedSumsToPcm(sums, subbands, out);
}
#endif

WideWindowing ChooseWideWindowing() {
#if defined(VEXA_WINDOWING_AVX)
    if (__builtin_cpu_supports("avx")) return WindowRingWideAvx;
#endif
    return WindowRingWide;
}

FixedWindowing ChooseFixedWindowing() {
#if defined(VEXA_WINDOWING_AVX)
    if (__builtin_cpu_supports("avx2")) return WindowRingFixedAvx2;
#endif
    return WindowRingFixed;
}

}  // namespace vexa
