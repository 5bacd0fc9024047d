// Layer III side information, scale factors and gain set-up: the part of the
// decoder that reads fields and does no arithmetic on samples, shared by the
// three number formats.
#pragma once

#include <cstdint>

#include "decoder/layer3_state.h"

namespace vexa {

// Reads the side information of the current frame from the bit reader.
// Returns 1, or 0 when a granule switches windows with block_type 0 (the
// frame is not decodable).
int32_t ReadSideInfo(SideInfo& info, int32_t channels, int32_t sampleRateIndex, int32_t lsf);

// Both start at the granule's firstBit. scaleFactors holds 39 entries and
// keeps granule 0's values for granule 1's scfsi groups.
void ReadScaleFactorsMpeg1(const GranuleInfo& granule, int32_t* scaleFactors);
// intensityRight: 1 for channel 1 of a frame with intensity stereo, which
// takes its lengths from the intensity table. Sets the granule's preflag.
void ReadScaleFactorsLsf(GranuleInfo& granule, int32_t* scaleFactors, int32_t intensityRight);

// The gain bases of the granule and channel (g_layer3.longGainBase and
// shortGainBase): -global_gain, plus 4 (halving) when both channels are
// mixed (channelSelect 3), plus 2 (1/sqrt 2) with mid/side.
void SetGains(const GranuleInfo& granule, int32_t msStereo, int32_t channelSelect);

}  // namespace vexa
