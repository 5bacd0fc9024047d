// Layer III side information and gain set-up: fields read once per frame,
// no arithmetic on samples, shared by the three number formats.
#pragma once

#include <cstdint>

#include "decoder/layer3_state.h"

namespace vexa {

// Reads the side information of the current frame from the bit reader.
// Returns 1, or 0 when a granule switches windows with block_type 0 (the
// frame is not decodable).
int32_t ReadSideInfo(SideInfo& info, int32_t channels, int32_t sampleRateIndex, int32_t lsf);

// The gain bases of the granule and channel (g_layer3.longGainBase and
// shortGainBase): -global_gain, plus 4 (halving) when both channels are
// mixed (channelSelect 3), plus 2 (1/sqrt 2) with mid/side.
void SetGains(const GranuleInfo& granule, int32_t msStereo, int32_t channelSelect);

}  // namespace vexa
