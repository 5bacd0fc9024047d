// The windowing pass of the synthesis: M PCM samples from the reading half
// of a channel's V ring and the window table of the quality.
//
// Two forms with the same results to the bit. WindowRingPlain is the
// readable one, for every format. The vector forms read the ring and the
// forward and mirrored window tables in their common layout (a slot's rows
// side by side), so the lanes of a register hold neighbouring rows and each
// lane sums its own row. WindowRingWide serves the float formats with SSE2:
// every sum is accumulated in four partial sums, partial sum p taking the
// taps p, p + 4, p + 8, p + 12 in that order, and the partial sums are
// combined in the same pairs, so each lane holds exactly the values the
// scalar code holds for its row; window and ring are read as doubles that
// were converted from the floats once, exactly. WindowRingFixed serves the
// fixed format, whose sums wrap in 32 bits, where order does not matter.
//
// Threads: the playback thread (or the thread opening a stream).
#pragma once

#include <cstdint>
#include <type_traits>

#include "decoder/number_format.h"
#include "decoder/simd_int32.h"
#include "decoder/synthesis.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vexa {

namespace window_detail {

// sum_t (-1)^t window[t] ring[t]: ((p0 + p2) - (p1 + p3)).
template <class F>
typename F::sum AlternatingSum(const typename F::constant* window, const typename F::sample* ring) {
    typename F::sum even0{}, even1{}, odd0{}, odd1{};
    for (int t = 0; t < 16; t += 4) {
        even0 += F::product(window[t], ring[t]);
        odd0 += F::product(window[t + 1], ring[t + 1]);
        even1 += F::product(window[t + 2], ring[t + 2]);
        odd1 += F::product(window[t + 3], ring[t + 3]);
    }
    return (even0 + even1) - (odd0 + odd1);
}

// sum_t window[15 - t] ring[t]: ((p0 + p1) + (p2 + p3)).
template <class F>
typename F::sum MirroredSum(const typename F::constant* window, const typename F::sample* ring) {
    typename F::sum sum0{}, sum1{}, sum2{}, sum3{};
    for (int t = 0; t < 16; t += 4) {
        sum0 += F::product(window[15 - t], ring[t]);
        sum1 += F::product(window[14 - t], ring[t + 1]);
        sum2 += F::product(window[13 - t], ring[t + 2]);
        sum3 += F::product(window[12 - t], ring[t + 3]);
    }
    return (sum0 + sum1) + (sum2 + sum3);
}

#if defined(__SSE2__)
// The vector forms start each partial sum at its first product instead of
// adding it to 0: that changes only the sign of a zero partial sum (0 + -0
// is +0), which reaches the PCM as 0 either way, and saves an addition.

// The float rings and window copies keep a slot's rows side by side
// (synthesis.h), so one register holds the same slot of neighbouring rows
// and every lane sums its own row. Their runs are 16-byte aligned, so the
// loads can be operands of the multiplications themselves (SSE2 takes only
// aligned memory operands).

// The partial sums p0..p3 of two neighbouring rows, partial sum p taking the
// slots p, p + 4, p + 8, p + 12 in that order.
inline void RowPairPartials(const double* window, const double* ring, __m128d (&partials)[4]) {
    for (int p = 0; p < 4; ++p)
        partials[p] = _mm_mul_pd(_mm_load_pd(window + p * kRingRows), _mm_load_pd(ring + p * kRingRows));
    for (int t = 4; t < 16; t += 4)
        for (int p = 0; p < 4; ++p)
            partials[p] = _mm_add_pd(partials[p], _mm_mul_pd(_mm_load_pd(window + (t + p) * kRingRows),
                                                             _mm_load_pd(ring + (t + p) * kRingRows)));
}

// FloatSumToPcm on a pair of sums without branches: the maximum with -32760
// comes first and takes its second operand when the sum is not a number, as
// the scalar test does; values inside the limits truncate toward zero. The
// samples go straight from the register to the PCM: through a buffer, the
// mirrored sums' stores would straddle the loads that read them back, which
// stalls them.
inline __m128i PairToPcm(__m128d sums) {
    const __m128d low = _mm_set1_pd(-static_cast<double>(kPcmLimit));
    const __m128d high = _mm_set1_pd(static_cast<double>(kPcmLimit));
    return _mm_cvttpd_epi32(_mm_min_pd(_mm_max_pd(sums, low), high));
}

// The fixed format's clamp of sums shifted by 14 and packed to 16 bits with
// saturation: the PCM limits.
inline __m128i ClampToPcm(__m128i packed) {
    return _mm_min_epi16(_mm_max_epi16(packed, _mm_set1_epi16(-kPcmLimit)), _mm_set1_epi16(kPcmLimit));
}

// The fixed format's toPcm on four wrapping sums: shift by 14, then the
// clamp through a saturating pack to 16 bits and the limits. The samples
// are in lanes 0..3 (and again in 4..7).
inline __m128i FixedQuadToPcm(__m128i sums) {
    const __m128i scaled = _mm_srai_epi32(sums, 14);
    return ClampToPcm(_mm_packs_epi32(scaled, scaled));
}

// The first `count` (at most 8) 16-bit lanes of pcm to out[0], out[step],
// out[2 step], ... straight from the register.
inline void StoreLanes(__m128i pcm, int32_t count, int16_t* out, int32_t step) {
    if (count > 0) out[0] = static_cast<int16_t>(_mm_extract_epi16(pcm, 0));
    if (count > 1) out[step] = static_cast<int16_t>(_mm_extract_epi16(pcm, 1));
    if (count > 2) out[2 * step] = static_cast<int16_t>(_mm_extract_epi16(pcm, 2));
    if (count > 3) out[3 * step] = static_cast<int16_t>(_mm_extract_epi16(pcm, 3));
    if (count > 4) out[4 * step] = static_cast<int16_t>(_mm_extract_epi16(pcm, 4));
    if (count > 5) out[5 * step] = static_cast<int16_t>(_mm_extract_epi16(pcm, 5));
    if (count > 6) out[6 * step] = static_cast<int16_t>(_mm_extract_epi16(pcm, 6));
    if (count > 7) out[7 * step] = static_cast<int16_t>(_mm_extract_epi16(pcm, 7));
}

// The samples of a group of `lanes` rows from row g on: the forward sums of
// rows up to M/2 to out[2 row], the negated mirrored sums of rows 1..M/2 - 1
// to out[2 (M - row)].
inline void StoreForwardRows(__m128i pcm, int32_t g, int32_t lanes, int32_t half, int16_t* out) {
    StoreLanes(pcm, g + lanes - 1 <= half ? lanes : half - g + 1, out + 2 * g, 2);
}
inline void StoreMirroredRows(__m128i pcm, int32_t g, int32_t lanes, int32_t half, int16_t* out) {
    const int32_t count = g + lanes - 1 < half ? lanes : half - g;
    if (g == 0) {
        StoreLanes(_mm_srli_si128(pcm, 2), count - 1, out + 2 * (2 * half - 1), -2);  // row 0 has none
    } else {
        StoreLanes(pcm, count, out + 2 * (2 * half - g), -2);
    }
}

#endif

}  // namespace window_detail

// Writes `subbands` samples to out[0], out[2], ...: the window rows read from
// offset 16 - b forward and from b mirrored rotate the 16 taps of each row to
// the ring's slot order. The ring (a slot's rows side by side; the float
// formats' as doubles converted exactly from samples) is first copied into
// rows of samples.
template <class F, class RingValue>
void WindowRingPlain(const typename F::constant* table, int32_t b, const RingValue* ringValues, int32_t subbands,
                     int16_t* out) {
    using window_detail::AlternatingSum;
    using window_detail::MirroredSum;
    using S = typename F::sample;
    const int32_t half = subbands / 2;
    S ring[16 * 17];
    for (int32_t row = 0; row <= half; ++row)
        for (int32_t slot = 0; slot < 16; ++slot)
            ring[16 * row + slot] = static_cast<S>(ringValues[slot * kRingRows + row]);
    const typename F::constant* forward = table + 16 - b;
    const typename F::constant* mirrored = table + b;
    out[0] = F::toPcm(AlternatingSum<F>(forward, ring));
    for (int32_t j = 1; j < half; ++j) {
        out[2 * j] = F::toPcm(AlternatingSum<F>(forward + 32 * j, ring + 16 * j));
        const typename F::sum negated = typename F::sum{} - MirroredSum<F>(mirrored + 32 * j, ring + 16 * j);
        out[2 * (2 * half - j)] = F::toPcm(negated);
    }
    out[2 * half] = F::toPcm(AlternatingSum<F>(forward + 32 * half, ring + 16 * half));
}

// The float formats' windowing with the double copies of the window
// (windowForward, windowMirrored of SynthesisFormat) over a double ring, in
// the layout of both (a slot's rows side by side): rows are summed side by
// side in vector lanes, each lane in the order of the scalar sums. Sample j
// is row j's forward sum for j = 0..M/2 and row M - j's negated mirrored sum
// for j = M/2 + 1..M - 1; the rows past M/2 the lanes also carry are zero in
// the window and dropped.
inline void WindowRingWide(const double* forwardTable, const double* mirroredTable, int32_t b, const double* ring,
                           int32_t subbands, int16_t* out) {
    const int32_t half = subbands / 2;
    const double* forward = forwardTable + (16 - b) * kRingRows;
    const double* mirrored = mirroredTable + (16 - b) * kRingRows;
#if defined(__SSE2__)
    using namespace window_detail;
    // Lane k of a pair of rows g, g + 1 is row g + k. Of the last forward
    // pair only row M/2 is a sample, and row 0's mirrored sum is none.
    for (int32_t g = 0; g <= half; g += 2) {
        __m128d p[4];
        RowPairPartials(forward + g, ring + g, p);
        const __m128i pcm = PairToPcm(_mm_sub_pd(_mm_add_pd(p[0], p[2]), _mm_add_pd(p[1], p[3])));
        out[2 * g] = static_cast<int16_t>(_mm_extract_epi16(pcm, 0));
        if (g < half) out[2 * g + 2] = static_cast<int16_t>(_mm_extract_epi16(pcm, 2));
    }
    for (int32_t g = 0; g < half; g += 2) {
        __m128d p[4];
        RowPairPartials(mirrored + g, ring + g, p);
        const __m128d negated = _mm_sub_pd(_mm_setzero_pd(), _mm_add_pd(_mm_add_pd(p[0], p[1]), _mm_add_pd(p[2], p[3])));
        const __m128i pcm = PairToPcm(negated);
        int16_t* const rowOut = out + 2 * (2 * half - g);  // row g's sample
        if (g > 0) rowOut[0] = static_cast<int16_t>(_mm_extract_epi16(pcm, 0));
        rowOut[-2] = static_cast<int16_t>(_mm_extract_epi16(pcm, 2));
    }
#else
    // Without SSE2 the same partial sums in scalar code.
    double sums[32];
    const auto partials = [&](const double* window, int32_t row, double (&p)[4]) {
        for (int t = 0; t < 16; ++t) p[t & 3] += window[t * kRingRows + row] * ring[t * kRingRows + row];
    };
    for (int32_t j = 0; j <= half; ++j) {
        double p[4] = {0.0, 0.0, 0.0, 0.0};
        partials(forward, j, p);
        sums[j] = (p[0] + p[2]) - (p[1] + p[3]);
    }
    for (int32_t j = 1; j < half; ++j) {
        double p[4] = {0.0, 0.0, 0.0, 0.0};
        partials(mirrored, j, p);
        sums[2 * half - j] = 0.0 - ((p[0] + p[1]) + (p[2] + p[3]));
    }
    for (int32_t j = 0; j < subbands; ++j) out[2 * j] = FloatSumToPcm(sums[j]);
#endif
}

// The fixed format's windowing with the forward and mirrored copies of the
// window (windowForward, windowMirrored of SynthesisFormat) over the ring, in
// the layout of both: four rows side by side in the lanes, with SSE2. A
// lane's forward sum takes the even taps minus the odd ones, its mirrored
// sum is negated; the same wrapping sums as the scalar code in another
// order, which wrapping arithmetic does not see. Sample j is row j's forward
// sum for j = 0..M/2 and row M - j's mirrored sum for j = M/2 + 1..M - 1.
inline void WindowRingFixed(const int32_t* forwardTable, const int32_t* mirroredTable, int32_t b, const int32_t* ring,
                            int32_t subbands, int16_t* out) {
    const int32_t half = subbands / 2;
    const int32_t* forward = forwardTable + (16 - b) * kRingRows;
    const int32_t* mirrored = mirroredTable + (16 - b) * kRingRows;
#if defined(__SSE2__)
    using namespace window_detail;
    const auto load = [](const int32_t* p) { return _mm_load_si128(reinterpret_cast<const __m128i*>(p)); };
    // Of the last group only row M/2 is a sample, and it has no mirrored sum.
    for (int32_t g = 0; g <= half; g += 4) {
        const bool withMirrored = g < half;
        __m128i even = _mm_setzero_si128(), odd = _mm_setzero_si128(), all = _mm_setzero_si128();
        for (int t = 0; t < 16; t += 2) {
            const __m128i r0 = load(ring + t * kRingRows + g), r1 = load(ring + (t + 1) * kRingRows + g);
            even = _mm_add_epi32(even, MultiplyLow32(load(forward + t * kRingRows + g), r0));
            odd = _mm_add_epi32(odd, MultiplyLow32(load(forward + (t + 1) * kRingRows + g), r1));
            if (withMirrored) {
                all = _mm_add_epi32(all, MultiplyLow32(load(mirrored + t * kRingRows + g), r0));
                all = _mm_add_epi32(all, MultiplyLow32(load(mirrored + (t + 1) * kRingRows + g), r1));
            }
        }
        StoreForwardRows(FixedQuadToPcm(_mm_sub_epi32(even, odd)), g, 4, half, out);
        if (withMirrored) StoreMirroredRows(FixedQuadToPcm(_mm_sub_epi32(_mm_setzero_si128(), all)), g, 4, half, out);
    }
#else
    // Without SSE2 the same wrapping sums in scalar code.
    for (int32_t row = 0; row <= half; ++row) {
        uint32_t forwardSum = 0, mirroredSum = 0;
        for (int t = 0; t < 16; ++t) {
            const uint32_t r = static_cast<uint32_t>(ring[t * kRingRows + row]);
            const uint32_t product = static_cast<uint32_t>(forward[t * kRingRows + row]) * r;
            forwardSum = (t & 1) != 0 ? forwardSum - product : forwardSum + product;
            mirroredSum += static_cast<uint32_t>(mirrored[t * kRingRows + row]) * r;
        }
        out[2 * row] = FixedFormat::toPcm(forwardSum);
        if (row > 0 && row < half) out[2 * (subbands - row)] = FixedFormat::toPcm(0u - mirroredSum);
    }
#endif
}

#if defined(__x86_64__) && defined(__GNUC__) && !defined(_WIN32)
// 256-bit registers on the stack need an alignment the Windows x64 ABI does
// not promise, so the DLLs keep the SSE2 form.
#define VEXA_WINDOWING_AVX 1
void WindowRingWideAvx(const double* forwardTable, const double* mirroredTable, int32_t b, const double* ring,
                       int32_t subbands, int16_t* out);
// WindowRingFixed with 256-bit integer registers (AVX2).
void WindowRingFixedAvx2(const int32_t* forwardTable, const int32_t* mirroredTable, int32_t b, const int32_t* ring,
                         int32_t subbands, int16_t* out);
#endif

// WindowRingWideAvx when built and the processor has AVX, else WindowRingWide.
WideWindowing ChooseWideWindowing();
// WindowRingFixedAvx2 when built and the processor has AVX2, else WindowRingFixed.
FixedWindowing ChooseFixedWindowing();

}  // namespace vexa
