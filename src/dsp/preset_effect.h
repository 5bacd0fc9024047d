// The preset effect: one of eleven fixed presets chooses a processor
// (flanger, pitch shifter or phaser) and its parameters. Each channel has
// its own state; the right channel starts as a copy of the left.
//
// Threads: Design and the passes run under the effect chain's lock.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "dsp/preset_flanger.h"
#include "dsp/preset_phaser.h"
#include "dsp/preset_pitch_shifter.h"

namespace vexa::effects {

enum class PresetProcessor { None, Flanger, PitchShifter, Phaser };

constexpr int32_t kPresetCount = 11;

class PresetEffect {
public:
    // Numbers 11 and up, negative numbers, and designs that do not fit the
    // sample rate select no processor: the passes then change nothing.
    void Design(int32_t presetNumber, int32_t sampleRate);
    PresetProcessor processor() const { return processor_; }
    void ProcessStereo(std::span<int16_t> frames);
    void ProcessMono(std::span<int16_t> samples);

private:
    struct Channel {
        Flanger flanger;
        PitchShifter pitchShifter;
        Phaser phaser;
    };
    template <class Pass>
    void WithProcessor(Pass pass);

    PresetProcessor processor_ = PresetProcessor::None;
    std::array<Channel, 2> channels_;
};

}  // namespace vexa::effects
