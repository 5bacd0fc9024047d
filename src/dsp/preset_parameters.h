// What the preset processors share: the six float parameters of a preset and
// the size of their fixed per-channel delay buffers.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vexa::effects {

// p0..p5; each processor names them in its Design.
using PresetParameters = std::array<float, 6>;

// Floats per channel: far more than any preset needs at 48,000 Hz (3,360).
constexpr int32_t kPresetDelayCapacity = 16800;
// 12 ms cross-fade tables of the pitch shifter at up to 48,000 Hz.
constexpr int32_t kPresetFadeCapacity = 576;

}  // namespace vexa::effects
