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
//
// Besides mul, each policy says how a quantised code becomes a sample
// (fromCode), how the synthesis window is stored (fromWindow), in what type
// the windowing sums (sum, product) and how a sum becomes a clamped 16-bit
// PCM sample (toPcm). PCM is clamped to +-32760, not to the int16 range.
#pragma once

#include <cstdint>

namespace vexa {

constexpr int32_t kPcmLimit = 32760;

// Float sums to PCM: values beyond the limits (and a non-number) are caught
// before the conversion, which truncates toward zero.
inline int16_t FloatSumToPcm(double value) {
    if (value > static_cast<double>(kPcmLimit)) return kPcmLimit;
    if (!(value >= -static_cast<double>(kPcmLimit))) return -kPcmLimit;
    return static_cast<int16_t>(value);
}

struct SingleFormat {
    using sample = float;
    using constant = float;
    using sum = double;  // windowing sums are formed in double from float operands
    static constexpr bool kIsFixed = false;
    static constant fromDouble(double value) { return static_cast<float>(value); }
    static constant fromWindow(double value) { return static_cast<float>(value); }
    static sample mul(sample value, constant factor) { return value * factor; }
    static sample fromCode(int32_t code, constant step) { return static_cast<float>(code) * step; }
    static sample mean(sample a, sample b) { return (a + b) * 0.5f; }
    static sum product(constant window, sample value) {
        return static_cast<double>(window) * static_cast<double>(value);
    }
    static int16_t toPcm(sum value) { return FloatSumToPcm(value); }
};

struct DoubleFormat {
    using sample = double;
    using constant = double;
    using sum = double;
    static constexpr bool kIsFixed = false;
    static constant fromDouble(double value) { return value; }
    static constant fromWindow(double value) { return value; }
    static sample mul(sample value, constant factor) { return value * factor; }
    static sample fromCode(int32_t code, constant step) { return static_cast<double>(code) * step; }
    static sample mean(sample a, sample b) { return (a + b) * 0.5; }
    static sum product(constant window, sample value) { return window * value; }
    static int16_t toPcm(sum value) { return FloatSumToPcm(value); }
};

struct FixedFormat {
    using sample = int32_t;
    using constant = int32_t;
    // Windowing sums wrap in 32 bits; unsigned arithmetic makes the wrap defined.
    using sum = uint32_t;
    static constexpr bool kIsFixed = true;
    static constexpr int32_t kOne = 32768;
    // Q15 constant from a real value, truncated toward zero.
    static constant fromDouble(double value) { return static_cast<int32_t>(value * 32768.0); }
    // The fixed window holds half the real window, so that a Q15 ring value
    // times a window entry is the PCM value times 2^14.
    static constant fromWindow(double value) { return static_cast<int32_t>(0.5 * value); }
    static sample mul(sample value, constant factor) {
        const uint32_t wrapped = static_cast<uint32_t>(value) * static_cast<uint32_t>(factor);
        return static_cast<int32_t>(wrapped) >> 15;
    }
    // A signed code times a Q15 step: already Q15, no shift.
    static sample fromCode(int32_t code, constant step) {
        return static_cast<int32_t>(static_cast<uint32_t>(code) * static_cast<uint32_t>(step));
    }
    static sample mean(sample a, sample b) {
        return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)) >> 1;
    }
    static sum product(constant window, sample value) {
        return static_cast<uint32_t>(window) * static_cast<uint32_t>(value);
    }
    static int16_t toPcm(sum value) {
        const int32_t scaled = static_cast<int32_t>(value) >> 14;
        if (scaled >= kPcmLimit + 1) return kPcmLimit;
        if (scaled < -kPcmLimit) return -kPcmLimit;
        return static_cast<int16_t>(scaled);
    }
};

// The mixed engine hands float blocks to the fixed synthesis: each sample
// times 32768, truncated toward zero. Values beyond the int32 range (only
// corrupt streams produce them) saturate instead of being undefined.
inline int32_t FloatToQ15(float value) {
    const double scaled = static_cast<double>(value) * 32768.0;
    if (scaled >= 2147483647.0) return INT32_MAX;
    if (scaled <= -2147483648.0) return INT32_MIN;
    if (scaled != scaled) return 0;
    return static_cast<int32_t>(scaled);
}

// FloatToQ15 of count (a multiple of 4) samples; with SSE2 four at a time.
void FloatsToQ15(const float* values, int32_t* out, int32_t count);

}  // namespace vexa
