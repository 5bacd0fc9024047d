// Layer III scale factors of one granule and channel, MPEG-1 and the
// lower-rate extensions, read from the bit reader.
#pragma once

#include <cstdint>

#include "decoder/layer3_state.h"

namespace vexa {

// Both start at the granule's firstBit. scaleFactors holds 39 entries and
// keeps granule 0's values for granule 1's scfsi groups.
void ReadScaleFactorsMpeg1(const GranuleInfo& granule, int32_t* scaleFactors);
// intensityRight: 1 for channel 1 of a frame with intensity stereo, which
// takes its lengths from the intensity table. Sets the granule's preflag.
void ReadScaleFactorsLsf(GranuleInfo& granule, int32_t* scaleFactors, int32_t intensityRight);

}  // namespace vexa
