// The effect chain the wave output runs on every full block: reverb, chorus,
// stereo widening and the preset effect, each pass in a stereo or a mono
// variant chosen when the output opens.
//
// Threads: PrepareEffects runs in the stream open (a host thread or the
// connect thread); ChangeEffects on a host thread; Output_ProcessBlock on
// the playback thread. Any of them may overlap any other: see
// effect_chain.cpp for how their state is kept apart.
#pragma once

#include <cstdint>
#include <span>

#include "dsp/effect_settings.h"

namespace vexa {

// One pass acting in place on signed 16-bit samples (interleaved left/right
// for the stereo variants). amount: the pass's level (unused by the preset).
using EffectFunction = void (*)(std::span<int16_t> samples, int32_t amount);

struct EffectEntryPoints {
    EffectFunction reverb = nullptr;
    EffectFunction chorus = nullptr;
    EffectFunction preset = nullptr;
    bool stereo = false;                    // the widener runs on stereo streams only
    int32_t sampleRate = 0;                 // scales the reverb level
    const EffectSettings* settings = nullptr;
};

// Stream start: resets the reverb for the stored reverbType and the chorus,
// and designs the preset for the stored presetNumber at sampleRate, whether
// or not the effects are on.
void PrepareEffects(const EffectSettings& settings, int32_t sampleRate);
// The stereo variants for more than one channel, else the mono ones, reading
// their settings from settings for the stream's sampleRate.
EffectEntryPoints ChooseEffectEntryPoints(const EffectSettings& settings, int32_t sampleRate, int32_t channels);
// Runs one full output block of count 16-bit samples through the chain.
void Output_ProcessBlock(const EffectEntryPoints& effects, int16_t* samples, int32_t count);
// The same for an 8-bit block (unsigned, 128 is zero): the chain runs on the
// samples widened to 16 bits in scratch (count values), and the results are
// narrowed back. Nothing changes while every effect is off.
void Output_ProcessEightBitBlock(const EffectEntryPoints& effects, uint8_t* samples, int32_t count,
                                 int16_t* scratch);
// A host's change (VexaEngine_SetEffect): stores the values, resets the
// reverb when it is switched on and designs the preset when it is switched
// on, for the rate of the last stream prepared (44,100 Hz before the first).
void ChangeEffects(EffectSettings& settings, const EffectRequest& request);

}  // namespace vexa
