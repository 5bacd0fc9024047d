// The lane sets of layer3_hybrid_avx.h. Everything after the target pragma
// is compiled for AVX2, so that part defines nothing another file could
// share (a shared inline function compiled here might be the copy the
// linker keeps): only its own lane sets and their instantiations, and it
// touches the fixed format's values through their member alone. (The pragma
// does not reach friend functions defined in a class: the operators are
// free functions.)
#include "decoder/layer3_hybrid_avx.h"

#if defined(VEXA_HYBRID_AVX)
#pragma GCC target("avx2")
#include <immintrin.h>

#include "decoder/layer3_imdct_long.h"

namespace vexa {
namespace {

struct Float8 {
    __m256 v;
    Float8& operator+=(Float8 b) {
        v = _mm256_add_ps(v, b.v);
        return *this;
    }
};
Float8 operator+(Float8 a, Float8 b) { return {_mm256_add_ps(a.v, b.v)}; }
Float8 operator-(Float8 a, Float8 b) { return {_mm256_sub_ps(a.v, b.v)}; }

struct Double4 {
    __m256d v;
    Double4& operator+=(Double4 b) {
        v = _mm256_add_pd(v, b.v);
        return *this;
    }
};
Double4 operator+(Double4 a, Double4 b) { return {_mm256_add_pd(a.v, b.v)}; }
Double4 operator-(Double4 a, Double4 b) { return {_mm256_sub_pd(a.v, b.v)}; }

struct Int8 {
    __m256i v;
    Int8& operator+=(Int8 b) {
        v = _mm256_add_epi32(v, b.v);
        return *this;
    }
};
Int8 operator+(Int8 a, Int8 b) { return {_mm256_add_epi32(a.v, b.v)}; }
Int8 operator-(Int8 a, Int8 b) { return {_mm256_sub_epi32(a.v, b.v)}; }

int32_t& Raw(Wrapping32& x) { return x.v; }
const int32_t& Raw(const Wrapping32& x) { return x.v; }
template <class T>
T& Raw(T& x) {
    return x;
}

// Element k of the kCount sub-bands at base, base + stride, ... through an
// aligned array, which the compiler turns into inserts and extracts.
template <class Lanes, class Element>
typename Lanes::value Gather(const Element* base, int stride) {
    alignas(32) typename Lanes::sample lanes[Lanes::kCount];
    for (int l = 0; l < Lanes::kCount; ++l) lanes[l] = Raw(base[l * stride]);
    return Lanes::load(lanes);
}

template <class Lanes, class Element>
void Scatter(Element* base, int stride, typename Lanes::value x) {
    alignas(32) typename Lanes::sample lanes[Lanes::kCount];
    Lanes::store(lanes, x);
    for (int l = 0; l < Lanes::kCount; ++l) Raw(base[l * stride]) = lanes[l];
}

struct SingleLanes {
    static constexpr int kCount = 8;
    using value = Float8;
    using constant = Float8;
    using sample = float;
    static value mul(value x, constant c) { return {_mm256_mul_ps(x.v, c.v)}; }
    static value load(const float* in) { return {_mm256_loadu_ps(in)}; }
    static void store(float* out, value x) { _mm256_storeu_ps(out, x.v); }
    static constant broadcast(float c) { return {_mm256_set1_ps(c)}; }
    static constant alternate(float even, float odd) {
        return {_mm256_setr_ps(even, odd, even, odd, even, odd, even, odd)};
    }
};

struct DoubleLanes {
    static constexpr int kCount = 4;
    using value = Double4;
    using constant = Double4;
    using sample = double;
    static value mul(value x, constant c) { return {_mm256_mul_pd(x.v, c.v)}; }
    static value load(const double* in) { return {_mm256_loadu_pd(in)}; }
    static void store(double* out, value x) { _mm256_storeu_pd(out, x.v); }
    static constant broadcast(double c) { return {_mm256_set1_pd(c)}; }
    static constant alternate(double even, double odd) { return {_mm256_setr_pd(even, odd, even, odd)}; }
};

// The wrapping products, shifted right arithmetically by 15.
struct FixedLanes {
    static constexpr int kCount = 8;
    using value = Int8;
    using constant = Int8;
    using sample = int32_t;
    static value mul(value x, constant c) { return {_mm256_srai_epi32(_mm256_mullo_epi32(x.v, c.v), 15)}; }
    static value load(const int32_t* in) { return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(in))}; }
    static void store(int32_t* out, value x) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), x.v); }
    static constant broadcast(int32_t c) { return {_mm256_set1_epi32(c)}; }
    static constant alternate(int32_t even, int32_t odd) {
        return {_mm256_setr_epi32(even, odd, even, odd, even, odd, even, odd)};
    }
};

template <class Lanes, class C, class Element>
int32_t LongSubbands(const LongImdctConstants<C>& constants, int32_t sb, int32_t end, const Element* spectrum,
                     const Element* previous, Element* next, typename Lanes::sample* output) {
    using value = typename Lanes::value;
    if (sb + Lanes::kCount > end) return sb;
    typename Lanes::constant window[36], cosine[9], longScale[9];
    for (int i = 0; i < 36; ++i) window[i] = Lanes::alternate(constants.window[i], constants.windowOdd[i]);
    for (int k = 0; k < 9; ++k) {
        cosine[k] = Lanes::broadcast(constants.cosine[k]);
        longScale[k] = Lanes::broadcast(constants.longScale[k]);
    }
    for (; sb + Lanes::kCount <= end; sb += Lanes::kCount) {
        value x[18], before[18], after[18];
        for (int i = 0; i < 18; ++i) {
            x[i] = Gather<Lanes>(spectrum + 18 * sb + i, 18);
            before[i] = Gather<Lanes>(previous + 18 * sb + i, 18);
        }
        const LongImdct<Lanes> imdct{before, after, window, output + sb, cosine, longScale};
        imdct.Run(x);
        for (int i = 0; i < 18; ++i) Scatter<Lanes>(next + 18 * sb + i, 18, after[i]);
    }
    return sb;
}

}  // namespace

int32_t LongSubbandsAvx2(const LongImdctConstants<float>& constants, int32_t sb, int32_t end, const float* spectrum,
                         const float* previous, float* next, float* output) {
    return LongSubbands<SingleLanes>(constants, sb, end, spectrum, previous, next, output);
}

int32_t LongSubbandsAvx2(const LongImdctConstants<double>& constants, int32_t sb, int32_t end, const double* spectrum,
                         const double* previous, double* next, double* output) {
    return LongSubbands<DoubleLanes>(constants, sb, end, spectrum, previous, next, output);
}

int32_t LongSubbandsAvx2(const LongImdctConstants<int32_t>& constants, int32_t sb, int32_t end,
                         const Wrapping32* spectrum, const Wrapping32* previous, Wrapping32* next, int32_t* output) {
    return LongSubbands<FixedLanes>(constants, sb, end, spectrum, previous, next, output);
}

}  // namespace vexa
#endif
