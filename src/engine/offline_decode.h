// Decoding without threads or devices: the stream open's decoder share over
// an in-memory stream, then frame after frame through the selected frame
// decoder, with the PCM captured instead of played. Tests, benchmarks and
// tools use it; it runs exactly the code playback runs.
//
// It uses the engine's one set of records, so it must not run while the
// engine plays a stream (the mode must be closed).
#pragma once

#include <cstdint>
#include <vector>

#include "stream/byte_source.h"
#include "stream/frame_header.h"

namespace vexa {

struct OfflineSettings {
    int32_t engineKind = 0;
    int32_t quality = 0;
    int32_t channelSelect = -1;
    int32_t eightBit = 0;
    int32_t outputScale = 30000;
    int32_t maxFrames = -1;  // frames to decode after the first, or -1 for all
};

struct OfflineResult {
    int32_t status = 0;      // 1, or kErrNoFrame
    FrameHeader header{};    // the stream's header record after the first frame
    int32_t framesDecoded = 0;
    int32_t sampleRate = 0;  // output rate
    int32_t channels = 0;    // output channels
    double lengthMs = 0.0;
    std::vector<uint8_t> pcm;
};

OfflineResult DecodeToMemory(const uint8_t* data, uint32_t size, const OfflineSettings& settings);

// The first half of DecodeToMemory, for callers that drive the frames
// themselves: the settings go into the engine record and the stream open's
// decoder share runs over source (whose whole size the stream is). 1, or
// kErrNoFrame.
int32_t OpenOfflineStream(MemorySource& source, const OfflineSettings& settings);

}  // namespace vexa
