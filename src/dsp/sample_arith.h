// Arithmetic of the fixed-point effects: signed 32-bit values that wrap in
// two's complement (done on unsigned words, so that an overflow is defined
// and the undefined-behaviour sanitizer stays quiet), arithmetic right
// shifts, and the output clamp shared by every effect.
#pragma once

#include <cstdint>

namespace vexa::effects {

// Effects clamp to +-32760, not to the int16 range, like the decoder's PCM.
constexpr int32_t kSampleLimit = 32760;

constexpr int32_t Wrap(uint32_t word) { return static_cast<int32_t>(word); }
constexpr int32_t Add(int32_t a, int32_t b) { return Wrap(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }
constexpr int32_t Sub(int32_t a, int32_t b) { return Wrap(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)); }
constexpr int32_t Mul(int32_t a, int32_t b) { return Wrap(static_cast<uint32_t>(a) * static_cast<uint32_t>(b)); }
constexpr int32_t ShiftLeft(int32_t a, int shift) { return Wrap(static_cast<uint32_t>(a) << shift); }

constexpr int16_t Clamp(int32_t value) {
    if (value > kSampleLimit) return kSampleLimit;
    if (value < -kSampleLimit) return -kSampleLimit;
    return static_cast<int16_t>(value);
}

// A float result truncated toward zero and clamped; NaN gives the low limit.
inline int16_t ClampTruncated(float value) {
    if (!(value > -static_cast<float>(kSampleLimit))) return -kSampleLimit;
    if (value > static_cast<float>(kSampleLimit)) return kSampleLimit;
    return static_cast<int16_t>(value);
}

}  // namespace vexa::effects
