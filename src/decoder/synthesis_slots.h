// The synthesis as the frame decoders see it: two packer slots chosen at
// stream open (ConfigureSynthesis) for the engine, quality, channel selection
// and sample width, and the PCM block size they write.
//
// block points at 32 sub-band samples of one channel in the engine's number
// format (float for engines 0 and 3, double for 1, int32 Q15 for 2); the
// sub-band hook may change them in place. pcm is the frame decoder's
// 128-byte scratch block; each call writes exactly blockBytes bytes of it
// (the stereo packer writes its channel's half). The 16-bit packers store
// int16 samples: give them a PcmBlock (below) or other 2-byte aligned memory.
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

// A PCM block for the packers: 16-bit packers store int16 samples, 8-bit
// packers bytes; 64 samples (128 bytes) hold the largest block.
struct alignas(16) PcmBlock {
    int16_t samples[64];
    uint8_t* bytes() { return reinterpret_cast<uint8_t*>(samples); }
};

}  // namespace vexa
