#include "dsp/preset_effect.h"

#include "dsp/sample_arith.h"

namespace vexa::effects {

namespace {

struct Preset {
    PresetProcessor processor;
    PresetParameters parameters;
};

// p0..p5 per processor. Flanger: dry, wet, feedback, sweep speed, sweep
// width ms, base delay ms. Pitch shifter: unused, gain, feedback, read-rate
// offset (1 + p3 is +2, +4, +7, -2, -4, -7 semitones), span ms, extra delay
// ms. Phaser: dry, wet, feedback, sweeps per second, octaves, lowest Hz.
constexpr Preset kPresets[kPresetCount] = {
    {PresetProcessor::Flanger, {0.999f, 0.999f, 0.0f, 2.0f, 6.0f, 0.0f}},
    {PresetProcessor::Flanger, {0.999f, -0.999f, -0.7f, 2.0f, 6.0f, 0.0f}},
    {PresetProcessor::Flanger, {0.0f, 0.999f, 0.75f, 0.0f, 0.0f, 12.5f}},
    {PresetProcessor::Flanger, {0.0f, 0.999f, 0.75f, 0.0f, 0.0f, 25.5f}},
    {PresetProcessor::PitchShifter, {0.0f, 0.999f, 0.0f, 0.1225f, 35.0f, 0.0f}},
    {PresetProcessor::PitchShifter, {0.0f, 0.999f, 0.0f, 0.2599f, 35.0f, 0.0f}},
    {PresetProcessor::PitchShifter, {0.0f, 0.999f, 0.0f, 0.4983f, 35.0f, 0.0f}},
    {PresetProcessor::PitchShifter, {0.0f, 0.999f, 0.0f, -0.1091f, 35.0f, 0.0f}},
    {PresetProcessor::PitchShifter, {0.0f, 0.999f, 0.0f, -0.2063f, 35.0f, 0.0f}},
    {PresetProcessor::PitchShifter, {0.0f, 0.999f, 0.0f, -0.3326f, 35.0f, 0.0f}},
    {PresetProcessor::Phaser, {0.999f, 0.999f, 0.0f, 1.0f, 4.0f, 100.0f}},
};

template <class Processor>
void RunStereo(Processor& left, Processor& right, std::span<int16_t> frames) {
    for (std::size_t i = 0; i + 1 < frames.size(); i += 2) {
        frames[i] = ClampTruncated(left.Next(frames[i]));
        frames[i + 1] = ClampTruncated(right.Next(frames[i + 1]));
    }
}

template <class Processor>
void RunMono(Processor& processor, std::span<int16_t> samples) {
    for (int16_t& sample : samples) sample = ClampTruncated(processor.Next(sample));
}

}  // namespace

void PresetEffect::Design(int32_t presetNumber, int32_t sampleRate) {
    processor_ = PresetProcessor::None;
    if (presetNumber < 0 || presetNumber >= kPresetCount) return;
    const Preset& preset = kPresets[presetNumber];
    Channel& left = channels_[0];
    Channel& right = channels_[1];
    bool designed = false;
    switch (preset.processor) {
        case PresetProcessor::Flanger:
            designed = left.flanger.Design(preset.parameters, sampleRate);
            right.flanger = left.flanger;
            break;
        case PresetProcessor::PitchShifter:
            designed = left.pitchShifter.Design(preset.parameters, sampleRate);
            right.pitchShifter = left.pitchShifter;
            break;
        case PresetProcessor::Phaser:
            designed = left.phaser.Design(preset.parameters, sampleRate);
            right.phaser = left.phaser;
            break;
        case PresetProcessor::None:
            break;
    }
    if (designed) processor_ = preset.processor;
}

template <class Pass>
void PresetEffect::WithProcessor(Pass pass) {
    Channel& left = channels_[0];
    Channel& right = channels_[1];
    switch (processor_) {
        case PresetProcessor::Flanger: pass(left.flanger, right.flanger); break;
        case PresetProcessor::PitchShifter: pass(left.pitchShifter, right.pitchShifter); break;
        case PresetProcessor::Phaser: pass(left.phaser, right.phaser); break;
        case PresetProcessor::None: break;
    }
}

void PresetEffect::ProcessStereo(std::span<int16_t> frames) {
    WithProcessor([frames](auto& left, auto& right) { RunStereo(left, right, frames); });
}

void PresetEffect::ProcessMono(std::span<int16_t> samples) {
    WithProcessor([samples](auto& left, auto&) { RunMono(left, samples); });
}

}  // namespace vexa::effects
