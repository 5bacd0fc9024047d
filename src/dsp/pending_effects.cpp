// The effect chain is not built yet: preparing it does nothing and a block
// passes through unchanged. The entry points still come in a stereo and a
// mono variant, so the output's choice between them is already in place.
#include "dsp/effect_chain.h"

namespace vexa {
namespace {
void PassStereo(int16_t*, int32_t) {}
void PassMono(int16_t*, int32_t) {}
}  // namespace

void PrepareEffects(const EngineRecord&) {}

EffectEntryPoints ChooseEffectEntryPoints(int32_t channels) {
    EffectEntryPoints effects;
    const EffectFunction pass = channels > 1 ? PassStereo : PassMono;
    effects.reverb = pass;
    effects.chorus = pass;
    effects.preset = pass;
    return effects;
}

void Output_ProcessBlock(const EffectEntryPoints&, int16_t*, int32_t) {}

}  // namespace vexa
