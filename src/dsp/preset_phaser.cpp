#include "dsp/preset_phaser.h"

#include <cmath>
#include <numbers>

namespace vexa::effects {

bool Phaser::Design(const PresetParameters& parameters, int32_t sampleRate) {
    const auto [dry, wet, feedback, sweepHz, octaves, lowestHz] = parameters;
    if (sampleRate <= 0) return false;
    const auto rate = static_cast<float>(sampleRate);
    const float range = std::pow(2.0f, octaves);
    dry_ = dry;
    wet_ = wet;
    feedback_ = feedback;
    lowest_ = lowestHz * std::numbers::pi_v<float> / rate;
    highest_ = range * lowestHz * std::numbers::pi_v<float> / rate;
    corner_ = lowest_;
    // Up by the whole range in rate / (2 sweepHz) samples.
    ratio_ = std::pow(range, sweepHz / (rate * 0.5f));
    factor_ = ratio_;
    previousIn_.fill(0.0f);
    previousOut_.fill(0.0f);
    return true;
}

float Phaser::Next(float input) {
    const float coefficient = (1.0f - corner_) / (1.0f + corner_);
    float stageIn = feedback_ * previousOut_[kStages - 1] + input;
    for (int i = 0; i < kStages; ++i) {
        const float stageOut = (stageIn + previousOut_[i]) * coefficient - previousIn_[i];
        previousIn_[i] = stageIn;
        previousOut_[i] = stageOut;
        stageIn = stageOut;
    }
    const float output = input * dry_ + wet_ * previousOut_[kStages - 1];
    corner_ *= factor_;
    if (corner_ > highest_) {
        factor_ = 1.0f / ratio_;
    } else if (corner_ < lowest_) {
        factor_ = ratio_;
    }
    return output;
}

}  // namespace vexa::effects
