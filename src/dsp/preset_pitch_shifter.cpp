#include "dsp/preset_pitch_shifter.h"

#include <cmath>
#include <numbers>

namespace vexa::effects {

bool PitchShifter::Design(const PresetParameters& parameters, int32_t sampleRate) {
    const auto [unusedDry, gain, feedback, rateOffset, spanMs, extraMs] = parameters;
    (void)unusedDry;
    const double rate = sampleRate;
    const auto span = static_cast<int32_t>(spanMs * rate * 0.001);   // E
    const auto extra = static_cast<int32_t>(rate * extraMs * 0.001);  // F
    const int64_t length = 2 * (static_cast<int64_t>(span) + extra);
    const auto fade = static_cast<int32_t>(rate * 0.012);            // N: 12 ms
    if (sampleRate <= 0 || length < 2 || length > kPresetDelayCapacity || fade < 1 || fade > kPresetFadeCapacity)
        return false;
    length_ = static_cast<int32_t>(length);
    high_ = length_ - extra - 2;
    low_ = high_ - span;
    reload_ = span - static_cast<int32_t>(fade * static_cast<double>(rateOffset)) - 2;
    if (low_ < 0 || reload_ < 0) return false;
    gain_ = gain;
    feedback_ = feedback;
    step_ = static_cast<int32_t>(rateOffset * 65535.0);
    up_ = rateOffset > 0;
    fadeLength_ = fade;
    delay_.fill(0.0f);
    // The tables end exactly on the gains 0 and 1 (index 0).
    for (int32_t i = 0; i < fade; ++i) {
        const double angle = i * (std::numbers::pi / 2) / fade;
        rising_[static_cast<std::size_t>(i)] = static_cast<float>(std::sin(angle));
        falling_[static_cast<std::size_t>(i)] = static_cast<float>(std::cos(angle));
    }
    fadeCountdown_ = 0;
    write_ = 0;
    fraction_ = 0;
    a_.previous = a_.current = up_ ? low_ : high_;
    b_ = Tap{};
    drift_ = reload_;
    gainA_ = 1.0f;
    gainB_ = 0.0f;
    aFollowsSine_ = true;
    aActive_ = true;
    return true;
}

float PitchShifter::FadeGain(bool rising, int32_t index) const {
    return (rising ? rising_ : falling_)[static_cast<std::size_t>(index)];
}

void PitchShifter::AdvanceTaps() {
    a_.previous = a_.current;
    b_.previous = b_.current;
    a_.current = (a_.current + 1) % length_;
    b_.current = (b_.current + 1) % length_;
}

void PitchShifter::CountDrift(int32_t anchor) {
    if (drift_-- != 0) return;
    fadeCountdown_ = fadeLength_;
    drift_ = reload_;
    // The tap that restarts fades in, the other fades out.
    aActive_ = !aActive_;
    Tap& restarted = aActive_ ? a_ : b_;
    restarted.current = (anchor + write_) % length_;
    aFollowsSine_ = !aActive_;
}

float PitchShifter::Next(float input) {
    const uint32_t fraction = static_cast<uint32_t>(fraction_) & 0xFFFF;
    const auto f = static_cast<float>(fraction);
    const auto g = static_cast<float>(65536 - fraction);
    const auto at = [this](int32_t index) { return delay_[static_cast<std::size_t>(index)]; };
    const float output = ((g * at(a_.previous) + f * at(a_.current)) * gainA_ +
                          (f * at(b_.current) + g * at(b_.previous)) * gainB_) /
                         65536.0f;
    delay_[static_cast<std::size_t>(write_)] = feedback_ * output + input;
    const float result = output * gain_;
    if (fadeCountdown_ > 0) {
        --fadeCountdown_;
        gainA_ = FadeGain(aFollowsSine_, fadeCountdown_);
        gainB_ = FadeGain(!aFollowsSine_, fadeCountdown_);
    }
    write_ = (write_ + 1) % length_;
    // fraction_ stays within [0, 65536) between samples and |step_| < 65536.
    if (up_) {
        AdvanceTaps();
        fraction_ += step_;
        if ((static_cast<uint32_t>(fraction_) >> 16) != 0) {  // a sample skipped
            AdvanceTaps();
            fraction_ &= 0xFFFF;
            CountDrift(low_);
        }
    } else {
        fraction_ += step_;
        if ((static_cast<uint32_t>(fraction_) >> 16) == 0) {
            AdvanceTaps();
        } else {  // a sample held
            fraction_ &= 0xFFFF;
            CountDrift(high_);
        }
    }
    return result;
}

}  // namespace vexa::effects
