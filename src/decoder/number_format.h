// Number-format policies. Every arithmetic stage of the decoder is written
// once as a template over one of these; the engines differ only in the
// policy they instantiate.
//
//   SingleFormat  float samples, full scale 1.0
//   DoubleFormat  double samples, full scale 1.0
//   FixedFormat   int32 Q15 samples, full scale 32768
//
// The fixed format's rule lives in exactly one place, FixedFormat::mul: the
// product of a signal value and a Q15 constant is a wrapping 32-bit product,
// shifted right arithmetically by 15 on its own, before any addition.
#pragma once

#include <cstdint>

namespace vexa {

struct SingleFormat {
    using sample = float;
    using constant = float;
    static constexpr bool kIsFixed = false;
    static constant fromDouble(double value) { return static_cast<float>(value); }
    static sample mul(sample value, constant factor) { return value * factor; }
};

struct DoubleFormat {
    using sample = double;
    using constant = double;
    static constexpr bool kIsFixed = false;
    static constant fromDouble(double value) { return value; }
    static sample mul(sample value, constant factor) { return value * factor; }
};

struct FixedFormat {
    using sample = int32_t;
    using constant = int32_t;
    static constexpr bool kIsFixed = true;
    static constexpr int32_t kOne = 32768;
    // Q15 constant from a real value, truncated toward zero.
    static constant fromDouble(double value) { return static_cast<int32_t>(value * 32768.0); }
    static sample mul(sample value, constant factor) {
        const uint32_t wrapped = static_cast<uint32_t>(value) * static_cast<uint32_t>(factor);
        return static_cast<int32_t>(wrapped) >> 15;
    }
};

}  // namespace vexa
