// The end of every frame decoder's time slot: the effective channel
// selection applied to the slot's blocks, the packers, and the hand-off of
// the PCM block. Shared by all layers.
//
// Threads: the playback thread only.
#pragma once

#include <cstdint>

#include "decoder/decoder.h"
#include "decoder/synthesis_slots.h"
#include "stream/frame_header.h"

namespace vexa {

// -1: both channels through the stereo packer. Otherwise one channel through
// the single-channel packer: 0 channel 0 (always for one-channel streams),
// 1 channel 1, 3 the mean of both (2 behaves like 0).
inline int32_t EffectiveChannelSelection(const FrameHeader& header) {
    if (header.channels == 1) return 0;
    if (header.channelSelect < 0) return -1;
    return header.channelSelect;
}

// Packs one time slot; channel1 may equal channel0 for one-channel streams.
// The selection's copy or mean is formed in channel 0's block.
template <class F>
void PackSlot(typename F::sample* channel0, typename F::sample* channel1, int32_t selection, PcmBlock& pcm) {
    if (selection < 0) {
        g_synthesisSlots.stereo(channel0, 0, pcm.bytes());
        g_synthesisSlots.stereo(channel1, 1, pcm.bytes());
        return;
    }
    if (selection == 1) {
        for (int sb = 0; sb < 32; ++sb) channel0[sb] = channel1[sb];
    } else if (selection == 3) {
        for (int sb = 0; sb < 32; ++sb) channel0[sb] = F::mean(channel0[sb], channel1[sb]);
    }
    g_synthesisSlots.single(channel0, pcm.bytes());
}

template <class F>
void PackAndDeliverSlot(typename F::sample* channel0, typename F::sample* channel1, int32_t selection,
                        PcmBlock& pcm) {
    PackSlot<F>(channel0, channel1, selection, pcm);
    DeliverPcm(pcm.bytes(), g_synthesisSlots.blockBytes);
}

}  // namespace vexa
