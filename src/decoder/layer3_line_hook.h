// The line hook of Layer III: where the equalizer's frequency-domain gains
// and the spectrum accumulation act on a channel's 576 lines before the
// filterbank. Neither half is built yet, so both do nothing; the frame
// decoder already calls the hook where and when it must (only when PCM is
// delivered).
#pragma once

#include <cstdint>

#include "decoder/layer3_arith.h"

namespace vexa {

template <class F>
void ApplyLineEqualizerNotBuilt(Layer3Value<F>* /*lines*/) {}

template <class F>
void AccumulateLineSpectrumNotBuilt(const Layer3Value<F>* /*lines*/, int32_t /*channel*/) {}

// channel: 0 or 1, or -1 when one channel is output.
template <class F>
void LineHook(Layer3Value<F>* lines, int32_t channel) {
    ApplyLineEqualizerNotBuilt<F>(lines);
    AccumulateLineSpectrumNotBuilt<F>(lines, channel);
}

}  // namespace vexa
