// The phaser of preset 10: four first-order all-pass stages in series,
// mixed with the dry signal, their corner swept exponentially up by p4
// octaves from p5 Hz and back, p3 times a second.
//
// Threads: Design and Next run under the effect chain's lock.
#pragma once

#include <array>
#include <cstdint>

#include "dsp/preset_parameters.h"

namespace vexa::effects {

class Phaser {
public:
    bool Design(const PresetParameters& parameters, int32_t sampleRate);
    float Next(float input);

private:
    static constexpr int kStages = 4;
    float dry_ = 0, wet_ = 0, feedback_ = 0;
    float corner_ = 0;                 // w: pi * corner frequency / sample rate
    float lowest_ = 0, highest_ = 0;   // w's turning points
    float ratio_ = 1, factor_ = 1;     // k: w's change per sample, up; factor: k or 1/k
    std::array<float, kStages> previousIn_{};
    std::array<float, kStages> previousOut_{};
};

}  // namespace vexa::effects
