// The arithmetic of the Layer III stages per number format. The float
// formats compute in their own type. The fixed format computes in
// Wrapping32: sums and differences wrap in 32 bits, defined behaviour
// instead of undefined overflow (corrupt or very loud streams reach it). Products with a constant go through the format's
// mul, which is the one home of the Q15 product rule.
#pragma once

#include <cstdint>

#include "decoder/number_format.h"

namespace vexa {

struct Wrapping32 {
    int32_t v;

    Wrapping32() = default;
    constexpr Wrapping32(int32_t value) : v(value) {}  // NOLINT: implicit by design

    friend constexpr Wrapping32 operator+(Wrapping32 a, Wrapping32 b) {
        return static_cast<int32_t>(static_cast<uint32_t>(a.v) + static_cast<uint32_t>(b.v));
    }
    friend constexpr Wrapping32 operator-(Wrapping32 a, Wrapping32 b) {
        return static_cast<int32_t>(static_cast<uint32_t>(a.v) - static_cast<uint32_t>(b.v));
    }
    constexpr Wrapping32 operator-() const { return static_cast<int32_t>(0u - static_cast<uint32_t>(v)); }
    constexpr Wrapping32& operator+=(Wrapping32 other) { return *this = *this + other; }
    constexpr Wrapping32& operator-=(Wrapping32 other) { return *this = *this - other; }
};

// value: the type a stage computes in; raw: the sample the synthesis reads.
template <class F>
struct Layer3Arith {
    using value = typename F::sample;
    using constant = typename F::constant;
    static value mul(value x, constant c) { return F::mul(x, c); }
    static typename F::sample raw(value x) { return x; }
};

template <>
struct Layer3Arith<FixedFormat> {
    using value = Wrapping32;
    using constant = FixedFormat::constant;
    static value mul(value x, constant c) { return FixedFormat::mul(x.v, c); }
    static int32_t raw(value x) { return x.v; }
};

template <class F>
using Layer3Value = typename Layer3Arith<F>::value;

}  // namespace vexa
