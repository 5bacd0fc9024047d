// The engine's share of the equalizer and spectrum exports: the mode and
// stopping checks, the heard position and the engine lock around what the
// sound-processing code does.
//
// Threads: host threads.
#pragma once

#include <cstdint>

#include "engine/engine_record.h"

namespace vexa {

// The 20 band settings in dB take effect from the next sub-band step or
// granule. A null pointer changes nothing.
void SetEqualizerSettings(EngineRecord& engine, const int32_t* settings);

// Levels of what is being heard (100 ms before the position, so that the
// slot has been filled completely): 1, or 0 with 20 zero entries when the
// engine is not playing, is stopping, or no slot is recent enough.
int32_t ReadSpectrum(EngineRecord& engine, int32_t* bands, int32_t separate);

}  // namespace vexa
