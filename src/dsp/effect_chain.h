// The effect chain the wave output runs on every full block: reverb, chorus
// (with the stereo widening) and the preset effect, each in a stereo or a
// mono variant chosen when the output opens.
//
// Threads: PrepareEffects runs in the stream open; Output_ProcessBlock on the
// playback thread.
#pragma once

#include <cstdint>

namespace vexa {

struct EngineRecord;

// One effect acting in place on count signed 16-bit samples (interleaved
// left/right for the stereo variants).
using EffectFunction = void (*)(int16_t* samples, int32_t count);

struct EffectEntryPoints {
    EffectFunction reverb = nullptr;
    EffectFunction chorus = nullptr;
    EffectFunction preset = nullptr;
};

// Resets the reverb for the stored reverbType and the chorus, and designs
// the preset effect for the stored presetNumber at the output sample rate.
void PrepareEffects(const EngineRecord& engine);
// The stereo variants for more than one channel, else the mono ones.
EffectEntryPoints ChooseEffectEntryPoints(int32_t channels);
// Runs one full output block through the chain, in place.
void Output_ProcessBlock(const EffectEntryPoints& effects, int16_t* samples, int32_t count);

}  // namespace vexa
