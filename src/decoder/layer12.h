// Layer I and Layer II: the tables both layers share (multipliers, grouped
// code rows, the Layer II selection store) and the decoders of both layers.
//
// Threads: the playback thread (and the thread opening the stream for the
// table set-up).
#pragma once

#include <cstdint>

#include "decoder/per_format.h"
#include "decoder/layer2_allocation.h"
#include "stream/frame_header.h"

namespace vexa {

constexpr int32_t kMultiplierRows = 27;
constexpr int32_t kScaleFactors = 64;  // index 63 is silent

// step[r][s] = m[r] * 2^((3 - s) / 3): quantiser step (or grouped level)
// r times scale factor s, in the format's constants.
template <class F>
struct Layer12Multipliers {
    using Format = F;
    typename F::constant step[kMultiplierRows][kScaleFactors];
};

struct Layer12Tables {
    PerFormat<Layer12Multipliers> multipliers;
    // Three multiplier rows per grouped code, first sample first. Sized to
    // every code the field can hold; codes beyond the level count's cube
    // (corrupt streams only) give silence.
    uint8_t group3[32][3];
    uint8_t group5[128][3];
    uint8_t group9[1024][3];
    // Layer II scale-factor selection information, in allocation order.
    int32_t selection[64];
};

extern Layer12Tables g_layer12;

// The multiplier list m behind the table rows.
double Layer12Multiplier(int32_t row);

// Layer II table for the stream's version, rate, bitrate and channels.
Layer2TableIndex SelectLayer2Table(const FrameHeader& header);

template <class F>
void DecodeLayer1(FrameHeader& header, int32_t deliver);
template <class F>
void DecodeLayer2(FrameHeader& header, int32_t deliver);

}  // namespace vexa
