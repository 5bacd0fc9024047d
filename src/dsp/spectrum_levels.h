// The reading half of the spectrum: a copied history slot folded into 20
// bands and turned into logarithmic levels with a self-adjusting display
// factor K, so that the loudest band seen since Play shows 24.
//
// Threads: a host thread. K is atomic so concurrent callers never tear it;
// two callers at once may still both lower it (each from what it saw).
#pragma once

#include <cstdint>

#include "dsp/spectrum_history.h"

namespace vexa {

constexpr int kSpectrumBands = 20;

// Play: K back to 20.0. It only decreases afterwards.
void ResetSpectrumDisplayFactor();
float SpectrumDisplayFactor();

// Fills bands[0..19] from slot: both channels together (separate false), or
// 10 bands of the left channel followed by 10 of the right. Levels are
// signed (quiet bands go below 0) and at most 24; a band with nothing in it
// shows 0.
void SpectrumLevels(const SpectrumSnapshot& slot, bool separate, int32_t* bands);

}  // namespace vexa
