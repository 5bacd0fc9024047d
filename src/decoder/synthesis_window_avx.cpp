// The windowing with 256-bit registers, chosen at run time on x86_64
// processors that have them: AVX for the float formats, AVX2 for the fixed
// format. Each register holds the same slot of neighbouring rows (four
// doubles or eight integers); a float lane sums its row in the partial sums
// and pairs of WindowRingWide's, so the results are the same to the bit.
#include "decoder/synthesis_window.h"

#if defined(VEXA_WINDOWING_AVX)
#include <immintrin.h>
#endif

namespace vexa {

#if defined(VEXA_WINDOWING_AVX)
namespace {

// The partial sums p0..p3 of four neighbouring rows, started at the first
// products, as the SSE2 form's are.
[[gnu::target("avx")]] inline void RowQuadPartials(const double* window, const double* ring, __m256d (&partials)[4]) {
    for (int p = 0; p < 4; ++p)
        partials[p] = _mm256_mul_pd(_mm256_load_pd(window + p * kRingRows), _mm256_load_pd(ring + p * kRingRows));
    for (int t = 4; t < 16; t += 4)
        for (int p = 0; p < 4; ++p)
            partials[p] = _mm256_add_pd(partials[p], _mm256_mul_pd(_mm256_load_pd(window + (t + p) * kRingRows),
                                                                   _mm256_load_pd(ring + (t + p) * kRingRows)));
}

// ((p0 + p2) - (p1 + p3)) of each row.
[[gnu::target("avx")]] inline __m256d Alternating(const __m256d (&p)[4]) {
    return _mm256_sub_pd(_mm256_add_pd(p[0], p[2]), _mm256_add_pd(p[1], p[3]));
}

// -((p0 + p1) + (p2 + p3)) of each row.
[[gnu::target("avx")]] inline __m256d NegatedPlain(const __m256d (&p)[4]) {
    const __m256d sum = _mm256_add_pd(_mm256_add_pd(p[0], p[1]), _mm256_add_pd(p[2], p[3]));
    return _mm256_sub_pd(_mm256_setzero_pd(), sum);
}

// window_detail::PairToPcm on four sums: the same maximum (taking -32760
// for a sum that is not a number), minimum and truncation.
[[gnu::target("avx")]] inline __m128i QuadToPcm(__m256d sums) {
    const __m256d low = _mm256_set1_pd(-static_cast<double>(kPcmLimit));
    const __m256d high = _mm256_set1_pd(static_cast<double>(kPcmLimit));
    return _mm256_cvttpd_epi32(_mm256_min_pd(_mm256_max_pd(sums, low), high));
}

[[gnu::target("avx2")]] inline __m256i Load8(const int32_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

// The wrapping forward sums (even taps minus odd taps) and negated mirrored
// sums (all taps) of eight neighbouring rows. Slot runs are 80 bytes apart,
// so half of them start off a 32-byte boundary: unaligned loads.
[[gnu::target("avx2")]] inline void FixedRowOctetSums(const int32_t* forward, const int32_t* mirrored,
                                                      const int32_t* ring, __m256i& forwardSums,
                                                      __m256i& mirroredSums) {
    __m256i even = _mm256_setzero_si256(), odd = _mm256_setzero_si256(), all = _mm256_setzero_si256();
    for (int t = 0; t < 16; t += 2) {
        const __m256i r0 = Load8(ring + t * kRingRows), r1 = Load8(ring + (t + 1) * kRingRows);
        even = _mm256_add_epi32(even, _mm256_mullo_epi32(Load8(forward + t * kRingRows), r0));
        odd = _mm256_add_epi32(odd, _mm256_mullo_epi32(Load8(forward + (t + 1) * kRingRows), r1));
        all = _mm256_add_epi32(all, _mm256_mullo_epi32(Load8(mirrored + t * kRingRows), r0));
        all = _mm256_add_epi32(all, _mm256_mullo_epi32(Load8(mirrored + (t + 1) * kRingRows), r1));
    }
    forwardSums = _mm256_sub_epi32(even, odd);
    mirroredSums = _mm256_sub_epi32(_mm256_setzero_si256(), all);
}

// The forward sums of four rows (the group of row M/2).
[[gnu::target("avx2")]] inline __m128i FixedRowQuadForwardSums(const int32_t* forward, const int32_t* ring) {
    const auto load = [](const int32_t* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); };
    __m128i even = _mm_setzero_si128(), odd = _mm_setzero_si128();
    for (int t = 0; t < 16; t += 2) {
        even = _mm_add_epi32(even, _mm_mullo_epi32(load(forward + t * kRingRows), load(ring + t * kRingRows)));
        odd = _mm_add_epi32(odd,
                            _mm_mullo_epi32(load(forward + (t + 1) * kRingRows), load(ring + (t + 1) * kRingRows)));
    }
    return _mm_sub_epi32(even, odd);
}

// window_detail::FixedQuadToPcm on eight sums, in lane order.
[[gnu::target("avx2")]] inline __m128i FixedOctetToPcm(__m256i sums) {
    const __m256i scaled = _mm256_srai_epi32(sums, 14);
    return window_detail::ClampToPcm(
        _mm_packs_epi32(_mm256_castsi256_si128(scaled), _mm256_extracti128_si256(scaled, 1)));
}

}  // namespace

[[gnu::target("avx")]] void WindowRingWideAvx(const double* forwardTable, const double* mirroredTable, int32_t b,
                                              const double* ring, int32_t subbands, int16_t* out) {
    const int32_t half = subbands / 2;  // a multiple of 4
    const double* forward = forwardTable + (16 - b) * kRingRows;
    const double* mirrored = mirroredTable + (16 - b) * kRingRows;
    // Sample j is row j's forward sum for j = 0..M/2 and row M - j's
    // mirrored sum for j = M/2 + 1..M - 1 (lane k of a group of rows g..g+3
    // is row g + k). Of the last forward group only row M/2 is a sample, and
    // row 0's mirrored sum is none.
    __m256d p[4];
    RowQuadPartials(forward + half, ring + half, p);
    out[2 * half] = static_cast<int16_t>(_mm_extract_epi16(QuadToPcm(Alternating(p)), 0));
    for (int32_t g = 0; g < half; g += 4) {
        RowQuadPartials(forward + g, ring + g, p);
        const __m128i forwardPcm = QuadToPcm(Alternating(p));
        int16_t* const forwardOut = out + 2 * g;
        forwardOut[0] = static_cast<int16_t>(_mm_extract_epi16(forwardPcm, 0));
        forwardOut[2] = static_cast<int16_t>(_mm_extract_epi16(forwardPcm, 2));
        forwardOut[4] = static_cast<int16_t>(_mm_extract_epi16(forwardPcm, 4));
        forwardOut[6] = static_cast<int16_t>(_mm_extract_epi16(forwardPcm, 6));
        RowQuadPartials(mirrored + g, ring + g, p);
        const __m128i mirroredPcm = QuadToPcm(NegatedPlain(p));
        int16_t* const mirroredOut = out + 2 * (2 * half - g);  // row g's sample
        if (g > 0) mirroredOut[0] = static_cast<int16_t>(_mm_extract_epi16(mirroredPcm, 0));
        mirroredOut[-2] = static_cast<int16_t>(_mm_extract_epi16(mirroredPcm, 2));
        mirroredOut[-4] = static_cast<int16_t>(_mm_extract_epi16(mirroredPcm, 4));
        mirroredOut[-6] = static_cast<int16_t>(_mm_extract_epi16(mirroredPcm, 6));
    }
}

// Rows g..g+7 in the lanes; row M/2 falls into the last group of eight at
// quarter rate and takes a group of four of its own at the other rates.
[[gnu::target("avx2")]] void WindowRingFixedAvx2(const int32_t* forwardTable, const int32_t* mirroredTable, int32_t b,
                                                 const int32_t* ring, int32_t subbands, int16_t* out) {
    using namespace window_detail;
    const int32_t half = subbands / 2;  // 4, 8 or 16
    const int32_t* forward = forwardTable + (16 - b) * kRingRows;
    const int32_t* mirrored = mirroredTable + (16 - b) * kRingRows;
    for (int32_t g = 0; g < half; g += 8) {
        __m256i forwardSums, mirroredSums;
        FixedRowOctetSums(forward + g, mirrored + g, ring + g, forwardSums, mirroredSums);
        StoreForwardRows(FixedOctetToPcm(forwardSums), g, 8, half, out);
        StoreMirroredRows(FixedOctetToPcm(mirroredSums), g, 8, half, out);
    }
    if (half % 8 == 0)
        out[2 * half] = static_cast<int16_t>(
            _mm_extract_epi16(FixedQuadToPcm(FixedRowQuadForwardSums(forward + half, ring + half)), 0));
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
