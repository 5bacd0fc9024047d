// The stream's frame count: from a Xing or VBRI header of the first frame,
// else estimated from the first audio frame's bitrate and the data size.
#pragma once

#include <cstdint>

#include "stream/frame_header.h"

namespace vexa {

int32_t CountFrames(uint32_t dataSize, const FrameHeader& header);

}  // namespace vexa
