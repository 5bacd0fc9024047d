// The line hook of Layer III: the equalizer's frequency-domain gains and the
// spectrum accumulation act on a channel's 576 lines before the filterbank.
// The frame decoder calls it only for frames decoded for output.
#pragma once

#include <cstdint>
#include <type_traits>

#include "decoder/layer3_arith.h"
#include "dsp/decoder_hooks.h"

namespace vexa {

// channel: 0 or 1, or -1 when one channel is output.
template <class F>
void LineHook(Layer3Value<F>* lines, int32_t channel) {
    if constexpr (std::is_same_v<Layer3Value<F>, Wrapping32>) {
        // The wrapping type is a plain int32 inside; the hook reads the raw values.
        static_assert(sizeof(Wrapping32) == sizeof(int32_t) && std::is_standard_layout_v<Wrapping32>);
        LineHook(reinterpret_cast<int32_t*>(lines), channel);
    } else {
        LineHook(lines, channel);
    }
}

}  // namespace vexa
