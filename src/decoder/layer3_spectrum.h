// Layer III Huffman decoding and requantisation: one granule and channel of
// Huffman data straight into 576 spectral values of the engine's format.
#pragma once

#include <cstdint>

#include "decoder/layer3_state.h"

namespace vexa {

// Decodes from the bit reader's position (just after the scale factors) up
// to the granule's endBit into spectrum[0..575], and records the band
// extents in granule. Returns 0, or 1 when the big values used more bits
// than the granule has (overrun: the frame must stop). May write up to
// kSpectrumSlack values past line 575 (mixed blocks of LSF streams).
template <class F>
int32_t DecodeSpectrum(GranuleInfo& granule, Layer3Value<F>* spectrum, const int32_t* scaleFactors,
                       int32_t sampleRateIndex);

}  // namespace vexa
