// The engine's side of the wave output: the settings a stream opens it
// with, and the host interface through which the output measures levels,
// waits for its blocks and learns the positions.
#pragma once

#include <cstdint>

namespace vexa {

struct EngineRecord;

// Opens the output for the stream in the record (format, pool, recording,
// device). 1, or a negative code from the output.
int32_t OpenEngineOutput(EngineRecord& engine);

}  // namespace vexa
