#include "engine/seek.h"

#include "decoder/decoder.h"
#include "engine/engine_record.h"
#include "engine/prefetch_source.h"
#include "stream/frame_reader.h"
#include "stream/seek_position.h"

namespace vexa {

int32_t SeekToPercent(EngineRecord& engine, const FrameHeader& header, float percent) {
    const uint32_t position = SeekBytePosition(engine.dataSize, header, percent);
    // The reader thread must not append bytes from the old position once
    // the buffer has been emptied.
    SourceLockEnter();
    if (!SourceReposition(engine, position)) {
        SourceLockLeave();
        return 0;
    }
    ResetFrameReader(false);
    ResetDecoderState();
    ClearPrefetch();
    SourceLockLeave();
    return 1;
}

}  // namespace vexa
