// The level scan: before a file plays, samples from ten places are decoded
// without being heard, and the output scale is lowered whenever a block is
// louder than a fixed mean power.
//
// Threads: the playback thread.
#pragma once

#include <cstdint>

#include "stream/byte_source.h"

namespace vexa {

struct EngineRecord;

// Mean square above which a block lowers the output scale.
constexpr double kLevelScanPowerLimit = 80000000.0;
constexpr int32_t kLevelScanFloorScale = 20000;

// Measures one block of count 16-bit samples (interleaved when the output
// has two channels) and lowers the output scale when it is too loud. 1 when
// measured, 0 when the scale is already below the floor.
int32_t MeasureLevel(EngineRecord& engine, const int16_t* samples, int32_t count);

// Runs the scan (levelScanPending must be set) and leaves the source at the
// first frame again, with the window tables built for the lowered scale.
// Returns whether the first frame was read again: false means the data
// can no longer be read (the file shrank, a read failed) and the stream ends.
bool RunLevelScan(EngineRecord& engine, ByteSource& source);

}  // namespace vexa
