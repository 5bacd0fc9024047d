// Where a seek lands: the byte position for a percentage of the data, from
// the Xing table of contents, the VBRI table, or a constant bitrate.
#pragma once

#include <cstdint>

#include "stream/frame_header.h"

namespace vexa {

// The byte position, counted from the start of the file, for percent
// (0..100; values at or above 100, or not a number, mean the end) of
// dataSize bytes, limited to 0 .. dataSize - 1.
uint32_t SeekBytePosition(uint32_t dataSize, const FrameHeader& header, float percent);

}  // namespace vexa
