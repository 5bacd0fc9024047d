// Repositioning the source for a seek or the level scan.
//
// Threads: the playback thread.
#pragma once

#include <cstdint>

#include "stream/frame_header.h"

namespace vexa {

struct EngineRecord;

// Moves the file to percent of its data (see SeekBytePosition), resets the
// frame reader and empties the prefetch buffer. 1, or 0 when the file could
// not be repositioned (reading then goes on from where it stands).
int32_t SeekToPercent(EngineRecord& engine, const FrameHeader& header, float percent);

}  // namespace vexa
