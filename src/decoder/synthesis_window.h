// The windowing pass of the synthesis: M PCM samples from the reading half
// of a channel's V ring and the window table of the quality.
//
// Two forms with the same results to the bit. WindowRingPlain is the
// readable one, for every format. WindowRingWide serves the float formats
// with SSE2: every sum is accumulated in four partial sums, partial sum p
// taking the taps p, p + 4, p + 8, p + 12 in that order, and the partial
// sums are combined in the same pairs; the lanes of a register hold
// neighbouring rows, so each lane holds exactly the values the scalar code
// holds for its row. Window and ring are read as doubles that were
// converted from the floats once, exactly. The fixed format's sums wrap in
// 32 bits, where order does not matter.
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

// Four wrapping partial sums q0..q3 (taps by residue modulo 4) as the
// alternating sum (even taps minus odd taps) and as the plain sum.
inline uint32_t EvenMinusOdd(__m128i q) {
    const __m128i pairs = _mm_add_epi32(q, _mm_srli_si128(q, 8));  // (q0 + q2, q1 + q3)
    return static_cast<uint32_t>(_mm_cvtsi128_si32(pairs)) -
           static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(pairs, 4)));
}
inline uint32_t AllLanes(__m128i q) {
    const __m128i pairs = _mm_add_epi32(q, _mm_srli_si128(q, 8));
    return static_cast<uint32_t>(_mm_cvtsi128_si32(pairs)) +
           static_cast<uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(pairs, 4)));
}

// The fixed format's toPcm on four sums at a time: shift by 14, then the
// clamp through a saturating pack to 16 bits and the limits.
inline void FixedSumsToPcm(const uint32_t* sums, int32_t count, int16_t* out) {
    const __m128i low = _mm_set1_epi16(-kPcmLimit), high = _mm_set1_epi16(kPcmLimit);
    for (int32_t j = 0; j < count; j += 4) {
        const __m128i scaled = _mm_srai_epi32(_mm_load_si128(reinterpret_cast<const __m128i*>(sums + j)), 14);
        const __m128i pcm = _mm_min_epi16(_mm_max_epi16(_mm_packs_epi32(scaled, scaled), low), high);
        out[2 * j] = static_cast<int16_t>(_mm_extract_epi16(pcm, 0));
        out[2 * j + 2] = static_cast<int16_t>(_mm_extract_epi16(pcm, 1));
        out[2 * j + 4] = static_cast<int16_t>(_mm_extract_epi16(pcm, 2));
        out[2 * j + 6] = static_cast<int16_t>(_mm_extract_epi16(pcm, 3));
    }
}

#endif

}  // namespace window_detail

// Writes `subbands` samples to out[0], out[2], ...: the window rows read from
// offset 16 - b forward and from b mirrored rotate the 16 taps of each row to
// the ring's slot order. The float formats' ring (doubles converted exactly
// from samples, a slot's rows side by side) is first copied into rows of
// samples.
template <class F, class RingValue>
void WindowRingPlain(const typename F::constant* table, int32_t b, const RingValue* ringValues, int32_t subbands,
                     int16_t* out) {
    using window_detail::AlternatingSum;
    using window_detail::MirroredSum;
    using S = typename F::sample;
    const int32_t half = subbands / 2;
    S copy[16 * 17];
    const S* ring = nullptr;
    if constexpr (F::kIsFixed) {
        ring = ringValues;
    } else {
        for (int32_t row = 0; row <= half; ++row)
            for (int32_t slot = 0; slot < 16; ++slot)
                copy[16 * row + slot] = static_cast<S>(ringValues[slot * kRingRows + row]);
        ring = copy;
    }
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

// The fixed format's windowing with SSE2: the same wrapping sums (their
// order does not matter in 32-bit wrapping arithmetic) over the window and
// its row-reversed copy (windowReversed of SynthesisFormat), and the same
// shift and clamp, through a saturating pack to 16 bits.
inline void WindowRingFixed(const int32_t* forwardTable, const int32_t* reversedTable, int32_t b, const int32_t* ring,
                            int32_t subbands, int16_t* out) {
#if defined(__SSE2__)
    const int32_t half = subbands / 2;
    const int32_t* forward = forwardTable + 16 - b;
    const int32_t* mirrored = reversedTable + 16 - b;
    alignas(16) uint32_t sums[32];
    const auto load = [](const int32_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); };
    for (int32_t j = 0; j <= half; ++j) {
        __m128i forwardSum = _mm_setzero_si128(), mirroredSum = _mm_setzero_si128();
        for (int t = 0; t < 16; t += 4) {
            const __m128i r = load(ring + 16 * j + t);
            forwardSum = _mm_add_epi32(forwardSum, MultiplyLow32(load(forward + 32 * j + t), r));
            mirroredSum = _mm_add_epi32(mirroredSum, MultiplyLow32(load(mirrored + 32 * j + t), r));
        }
        sums[j] = window_detail::EvenMinusOdd(forwardSum);
        if (j > 0 && j < half) sums[2 * half - j] = 0u - window_detail::AllLanes(mirroredSum);
    }
    window_detail::FixedSumsToPcm(sums, subbands, out);
#else
    (void)reversedTable;
    WindowRingPlain<FixedFormat>(forwardTable, b, ring, subbands, out);
#endif
}

#if defined(__x86_64__) && defined(__GNUC__) && !defined(_WIN32)
// 256-bit registers on the stack need an alignment the Windows x64 ABI does
// not promise, so the DLLs keep the SSE2 form.
#define VEXA_WINDOWING_AVX 1
void WindowRingWideAvx(const double* forwardTable, const double* mirroredTable, int32_t b, const double* ring,
                       int32_t subbands, int16_t* out);
// WindowRingFixed with 256-bit integer registers (AVX2).
void WindowRingFixedAvx2(const int32_t* forwardTable, const int32_t* reversedTable, int32_t b, const int32_t* ring,
                         int32_t subbands, int16_t* out);
#endif

// WindowRingWideAvx when built and the processor has AVX, else WindowRingWide.
WideWindowing ChooseWideWindowing();
// WindowRingFixedAvx2 when built and the processor has AVX2, else WindowRingFixed.
FixedWindowing ChooseFixedWindowing();

}  // namespace vexa
