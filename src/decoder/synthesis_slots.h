// The synthesis as the frame decoders see it: two packer slots chosen at
// stream open (ConfigureSynthesis) for the engine, quality, channel selection
// and sample width, and the PCM block size they write.
//
// block points at 32 sub-band samples of one channel in the engine's number
// format (float for engines 0 and 3, double for 1, int32 Q15 for 2); the
// sub-band hook may change them in place. pcm is the frame decoder's
// 128-byte scratch block; each call writes exactly blockBytes bytes of it
// (the stereo packer writes its channel's half).
#pragma once

#include <cstdint>

namespace vexa {

using StereoPacker = void (*)(void* block, int32_t channel, uint8_t* pcm);
using SinglePacker = void (*)(void* block, uint8_t* pcm);

struct SynthesisSlots {
    StereoPacker stereo;
    SinglePacker single;
    int32_t blockBytes;
};

extern SynthesisSlots g_synthesisSlots;

}  // namespace vexa
