// The effect chain's settings as the host last gave them, and one change of
// them as VexaEngine_SetEffect receives it.
//
// Threads: written by VexaEngine_SetEffect on a host thread, read once per
// output block on the playback thread; each value is one atomic 32-bit word.
#pragma once

#include <atomic>
#include <cstdint>

namespace vexa {

struct EffectSettings {
    std::atomic<int32_t> reverbOn{0};
    std::atomic<int32_t> reverbType{0};    // 1, 2, 3, anything else: the default room
    std::atomic<int32_t> reverbLevel{0};   // wet level at 44,100 Hz
    std::atomic<int32_t> chorusOn{0};
    std::atomic<int32_t> chorusLevel{0};
    std::atomic<int32_t> wideOn{0};
    std::atomic<int32_t> wideAmount{0};    // in 1/32 steps
    std::atomic<int32_t> presetOn{0};
    std::atomic<int32_t> presetNumber{0};  // 0..10; 11 and up or negative: no processor
};

// The nine arguments of VexaEngine_SetEffect, in their order.
struct EffectRequest {
    int32_t reverbOn = 0;
    int32_t reverbType = 0;
    int32_t reverbLevel = 0;
    int32_t chorusOn = 0;
    int32_t chorusLevel = 0;
    int32_t wideOn = 0;
    int32_t wideAmount = 0;
    int32_t presetOn = 0;
    int32_t presetNumber = 0;
};

}  // namespace vexa
