#include "dsp/widener.h"

#include "dsp/sample_arith.h"

namespace vexa::effects {

void WidenStereo(std::span<int16_t> frames, int32_t amount) {
    for (std::size_t i = 0; i + 1 < frames.size(); i += 2) {
        const int32_t left = frames[i];
        const int32_t right = frames[i + 1];
        const int32_t side = Mul(left - right, amount) >> 5;
        frames[i] = Clamp(Add(left, side));
        frames[i + 1] = Clamp(Sub(right, side));
    }
}

}  // namespace vexa::effects
