// Layer III frame decoders, one per number format. Engine 3 (mixed) uses the
// single-precision decoder; its synthesis packers differ, not the decoder.
#pragma once

#include <cstdint>

#include "stream/frame_header.h"

namespace vexa {

// The frame decoder of number format F (SingleFormat, DoubleFormat,
// FixedFormat). deliver 0 decodes and synthesises without handing PCM on or
// calling the line hook, to refill the reservoir and the overlap after a seek.
template <class F>
void DecodeLayer3Frame(FrameHeader& header, int32_t deliver);

void DecodeLayer3Single(FrameHeader& header, int32_t deliver);
void DecodeLayer3Double(FrameHeader& header, int32_t deliver);
void DecodeLayer3Fixed(FrameHeader& header, int32_t deliver);

}  // namespace vexa
