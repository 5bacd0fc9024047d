// What VexaEngine_GetFileInfo reports about the open stream: its format
// description and its ID3v1 tag. The thread that opens a stream (the host's
// for a file, the connect thread for an address) writes them while another
// host thread may be reading the previous stream's, so both sides go through
// the engine lock and the reader works on a copy.
#pragma once

#include <cstdint>

#include "stream/id3v1_tag.h"

namespace vexa {

struct EngineRecord;
struct FrameHeader;

constexpr int32_t kFormatDescriptionCapacity = 512;

struct StreamDescription {
    char format[kFormatDescriptionCapacity];
    Id3v1Tag tag;
    bool hasTag;
};

// Play, before a new stream opens: nothing to report.
void ClearStreamDescription(EngineRecord& engine);
// The stream open's results: the first frame's format, and the tag the file
// source read (nullptr: none).
void PublishFormat(EngineRecord& engine, const FrameHeader& header);
void PublishTag(EngineRecord& engine, const Id3v1Tag* tag);
// A consistent copy of both, taken only while a stream is playing or paused:
// false otherwise.
bool CopyStreamDescription(EngineRecord& engine, StreamDescription& copy);

}  // namespace vexa
