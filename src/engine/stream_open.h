// Opening a stream: the fixed sequence that prepares frame reader, decoder
// tables and output for the stream's first frame.
#pragma once

#include <cstdint>

#include "engine/engine_record.h"
#include "stream/byte_source.h"
#include "stream/frame_header.h"

namespace vexa {

// The decoder's share of the stream open: header record, DCT and window
// tables, frame reader reset and first frame, synthesis and layer tables,
// frame decoder, then the stream's format, frame count and length in the
// engine record. 1, or kErrNoFrame when no valid frame exists.
int32_t PrepareStream(EngineRecord& engine, ByteSource& source, FrameHeader& header);

// The whole stream open run by Play (file) or the connect thread (HTTP):
// PrepareStream, then the output (and recording) and the spectrum history.
// 1, or a negative error code with the output closed.
int32_t OpenStream(EngineRecord& engine, ByteSource& source);

}  // namespace vexa
