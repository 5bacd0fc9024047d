// The pitch shifter of presets 4-9: two taps read a delay line at 1 + p3
// times the rate it is written, holding (slower) or skipping (faster) one
// sample whenever their 16-bit fraction wraps. When a tap has drifted
// across the span, the other tap jumps back to its start and a 12 ms
// sine/cosine cross-fade hands over to it.
//
// Threads: Design and Next run under the effect chain's lock.
#pragma once

#include <array>
#include <cstdint>

#include "dsp/preset_parameters.h"

namespace vexa::effects {

class PitchShifter {
public:
    // False when the span or the fade does not fit this sample rate.
    bool Design(const PresetParameters& parameters, int32_t sampleRate);
    float Next(float input);

private:
    struct Tap {
        int32_t previous = 0;
        int32_t current = 0;
    };
    void AdvanceTaps();
    // Counts one held or skipped sample; a cross-fade starts when the drift
    // counter runs out. anchor: where the incoming tap restarts (from the
    // write point).
    void CountDrift(int32_t anchor);
    float FadeGain(bool rising, int32_t index) const;

    std::array<float, kPresetDelayCapacity> delay_{};
    std::array<float, kPresetFadeCapacity> rising_{};   // sin, from 0 up to just below 1
    std::array<float, kPresetFadeCapacity> falling_{};  // cos, from 1 down to just above 0
    float gain_ = 0, feedback_ = 0;
    int32_t step_ = 0;          // 16.16 read-rate offset per sample
    bool up_ = false;
    int32_t length_ = 1, high_ = 0, low_ = 0;
    int32_t fadeLength_ = 0, reload_ = 0;
    int32_t fadeCountdown_ = 0, write_ = 0, fraction_ = 0, drift_ = 0;
    Tap a_, b_;
    float gainA_ = 1.0f, gainB_ = 0.0f;
    bool aFollowsSine_ = true;  // A takes the sine table, B the cosine; else the reverse
    bool aActive_ = true;
};

}  // namespace vexa::effects
