#include "dsp/effect_chain.h"

#include <mutex>

#include "dsp/chorus.h"
#include "dsp/preset_effect.h"
#include "dsp/reverb.h"
#include "dsp/widener.h"

namespace vexa {

namespace {

using effects::Chorus;
using effects::PresetEffect;
using effects::Reverb;

// The processors' state: one of each per process, allocated with the
// library (about 360 KB); nothing is allocated per block or per design.
Reverb g_reverb;
Chorus g_chorus;
PresetEffect g_preset;

// A reset or design must never interleave with a pass over the same state,
// nor with another reset or design: a host thread's SetEffect can meet the
// playback thread's block, and another host thread's Play (stream open).
// The chain guards its own state with this lock instead of relying on the
// engine lock: the engine lock is held across whole seeks and level-scan
// steps and by callers that know nothing of effects, while this one is
// held only for one block's passes (well under a millisecond) or one
// design (microseconds), so a host's click can delay the playback thread
// by no more than that. A design built aside and swapped in would need a
// second copy of all state and a hand-over protocol for no audible gain.
std::mutex g_effectLock;

// The rate of the last stream prepared (guarded by the lock): a preset the
// host switches on is designed for it, or for 44,100 Hz before any stream.
int32_t g_streamRate = 44100;

void ReverbStereo(std::span<int16_t> samples, int32_t level) { g_reverb.ProcessStereo(samples, level); }
void ReverbMono(std::span<int16_t> samples, int32_t level) { g_reverb.ProcessMono(samples, level); }
void ChorusStereo(std::span<int16_t> samples, int32_t level) { g_chorus.ProcessStereo(samples, level); }
void ChorusMono(std::span<int16_t> samples, int32_t level) { g_chorus.ProcessMono(samples, level); }
void PresetStereo(std::span<int16_t> samples, int32_t) { g_preset.ProcessStereo(samples); }
void PresetMono(std::span<int16_t> samples, int32_t) { g_preset.ProcessMono(samples); }

// The settings of one block, each read once.
struct BlockSettings {
    int32_t reverbOn, reverbLevel, chorusOn, chorusLevel, wideOn, wideAmount, presetOn;
    bool AnyOn() const { return reverbOn != 0 || chorusOn != 0 || wideOn != 0 || presetOn != 0; }
};

BlockSettings ReadSettings(const EffectSettings& settings) {
    return {settings.reverbOn, settings.reverbLevel, settings.chorusOn, settings.chorusLevel,
            settings.wideOn,   settings.wideAmount,  settings.presetOn};
}

bool AnyEffectOn(const EffectEntryPoints& effects) {
    return effects.settings != nullptr && ReadSettings(*effects.settings).AnyOn();
}

}  // namespace

void PrepareEffects(const EffectSettings& settings, int32_t sampleRate) {
    std::lock_guard<std::mutex> hold(g_effectLock);
    g_streamRate = sampleRate;
    g_reverb.Reset(settings.reverbType);
    g_chorus.Reset();
    g_preset.Design(settings.presetNumber, sampleRate);
}

EffectEntryPoints ChooseEffectEntryPoints(const EffectSettings& settings, int32_t sampleRate, int32_t channels) {
    EffectEntryPoints effects;
    effects.stereo = channels > 1;
    effects.reverb = effects.stereo ? ReverbStereo : ReverbMono;
    effects.chorus = effects.stereo ? ChorusStereo : ChorusMono;
    effects.preset = effects.stereo ? PresetStereo : PresetMono;
    effects.sampleRate = sampleRate;
    effects.settings = &settings;
    return effects;
}

void Output_ProcessBlock(const EffectEntryPoints& effects, int16_t* samples, int32_t count) {
    if (effects.settings == nullptr || effects.reverb == nullptr || samples == nullptr || count <= 0) return;
    const BlockSettings on = ReadSettings(*effects.settings);
    if (!on.AnyOn()) return;
    const std::size_t frames = effects.stereo ? static_cast<std::size_t>(count) / 2 : static_cast<std::size_t>(count);
    const std::span<int16_t> block(samples, effects.stereo ? frames * 2 : frames);
    std::lock_guard<std::mutex> hold(g_effectLock);
    if (on.reverbOn != 0) effects.reverb(block, effects::ReverbLevelFor(effects.sampleRate, on.reverbLevel));
    if (on.chorusOn != 0) effects.chorus(block, on.chorusLevel);
    if (on.wideOn != 0 && effects.stereo) effects::WidenStereo(block, on.wideAmount);
    if (on.presetOn != 0) effects.preset(block, 0);
}

void Output_ProcessEightBitBlock(const EffectEntryPoints& effects, uint8_t* samples, int32_t count,
                                 int16_t* scratch) {
    if (samples == nullptr || scratch == nullptr || count <= 0 || !AnyEffectOn(effects)) return;
    for (int32_t i = 0; i < count; ++i) scratch[i] = static_cast<int16_t>((samples[i] - 128) * 256);
    Output_ProcessBlock(effects, scratch, count);
    // Arithmetic shift: -32760..32760 narrows to -128..127, and a sample the
    // chain left alone comes back as it was.
    for (int32_t i = 0; i < count; ++i) samples[i] = static_cast<uint8_t>((scratch[i] >> 8) + 128);
}

void ChangeEffects(EffectSettings& settings, const EffectRequest& request) {
    std::lock_guard<std::mutex> hold(g_effectLock);
    settings.reverbType = request.reverbType;
    if (request.reverbOn != 0) g_reverb.Reset(request.reverbType);
    settings.reverbOn = request.reverbOn != 0 ? 1 : 0;
    settings.reverbLevel = request.reverbLevel;
    settings.chorusOn = request.chorusOn;
    settings.chorusLevel = request.chorusLevel;
    settings.wideOn = request.wideOn;
    settings.wideAmount = request.wideAmount;
    settings.presetNumber = request.presetNumber;
    if (request.presetOn != 0) g_preset.Design(request.presetNumber, g_streamRate);
    settings.presetOn = request.presetOn != 0 ? 1 : 0;
}

}  // namespace vexa
