// The packer slots before the synthesis exists: packers that write silence,
// so that frame decoders run end to end. The synthesis sources replace this
// file (delete it when they define g_synthesisSlots).
#include <cstring>

#include "decoder/synthesis_slots.h"

namespace vexa {
namespace {

void SilentStereo(void*, int32_t, uint8_t* pcm) { std::memset(pcm, 0, 128); }
void SilentSingle(void*, uint8_t* pcm) { std::memset(pcm, 0, 128); }

}  // namespace

SynthesisSlots g_synthesisSlots = {SilentStereo, SilentSingle, 0};

}  // namespace vexa
