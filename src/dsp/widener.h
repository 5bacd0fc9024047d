// Stereo widening: adds a share of the side signal (L - R) to the left
// channel and takes it from the right. Stateless, stereo only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vexa::effects {

// amount in 1/32 steps: 0 leaves the block as it is, 32 doubles the side
// signal's share (L becomes 2L - R before the clamp).
void WidenStereo(std::span<int16_t> frames, int32_t amount);

}  // namespace vexa::effects
