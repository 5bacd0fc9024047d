#include "dsp/preset_flanger.h"

#include <cstddef>

namespace vexa::effects {

bool Flanger::Design(const PresetParameters& parameters, int32_t sampleRate) {
    const auto [dry, wet, feedback, speed, widthMs, baseMs] = parameters;
    const double rate = sampleRate;
    const auto sweep = static_cast<int32_t>(widthMs * rate * 0.001);  // E, samples
    const auto base = static_cast<int32_t>(rate * baseMs * 0.001);    // F, samples
    const int64_t length = 2 * (static_cast<int64_t>(sweep) + base);
    if (sampleRate <= 0 || length < 2 || length > kPresetDelayCapacity) return false;
    length_ = static_cast<int32_t>(length);
    high_ = length_ - base - 2;
    low_ = high_ - sweep;
    if (low_ < 0) return false;
    dry_ = dry;
    wet_ = wet;
    feedback_ = feedback;
    step_ = static_cast<int32_t>(speed * 65.536);
    delay_.fill(0.0f);
    position_ = static_cast<uint32_t>((high_ + low_) / 2) << 16;
    write_ = readA_ = readB_ = 0;
    return true;
}

float Flanger::Next(float input) {
    const uint32_t fraction = position_ & 0xFFFF;
    const float delayed = (static_cast<float>(fraction) * delay_[static_cast<std::size_t>(readB_)] +
                           static_cast<float>(65536 - fraction) * delay_[static_cast<std::size_t>(readA_)]) /
                          65536.0f;
    delay_[static_cast<std::size_t>(write_)] = feedback_ * delayed + input;
    const float output = input * dry_ + wet_ * delayed;
    write_ = (write_ + 1) % length_;
    position_ += static_cast<uint32_t>(step_);
    const auto point = static_cast<int32_t>(position_ >> 16);
    readB_ = (point + write_) % length_;
    readA_ = readB_ - 1 < 0 ? readB_ - 1 + length_ : readB_ - 1;
    if (point > high_ || point < low_) step_ = -step_;
    return output;
}

}  // namespace vexa::effects
