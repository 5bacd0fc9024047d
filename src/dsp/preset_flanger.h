// The flanger of presets 0-3: a delay line read at a point that sweeps as a
// triangle (16.16 fixed-point position, linear interpolation), with dry,
// wet and feedback gains in float. With no sweep it is a fixed echo.
//
// Threads: Design and Next run under the effect chain's lock.
#pragma once

#include <array>
#include <cstdint>

#include "dsp/preset_parameters.h"

namespace vexa::effects {

class Flanger {
public:
    // False when the delay does not fit this sample rate (no processor).
    bool Design(const PresetParameters& parameters, int32_t sampleRate);
    float Next(float input);

private:
    std::array<float, kPresetDelayCapacity> delay_{};
    float dry_ = 0, wet_ = 0, feedback_ = 0;
    int32_t step_ = 0;        // 16.16 position change per sample; flips sign at either end
    uint32_t position_ = 0;   // 16.16 samples from the write point, counted forward
    int32_t length_ = 1, high_ = 0, low_ = 0;
    int32_t write_ = 0, readA_ = 0, readB_ = 0;
};

}  // namespace vexa::effects
