// The Xing and VBRI headers an encoder may put in a stream's first Layer III
// frame (which then carries no audio): frame count, byte count, seek table.
#pragma once

#include <cstdint>

#include "stream/frame_header.h"

namespace vexa {

// tag: the body just past the side information; bytesAfterTag: what the
// body holds from there. Fills the header's Xing or VBRI fields and returns
// true when the frame is such a header frame.
bool ReadVbrHeader(FrameHeader& header, const uint8_t* tag, int32_t bytesAfterTag);

}  // namespace vexa
