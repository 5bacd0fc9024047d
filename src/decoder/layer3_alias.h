// Layer III alias reduction: the butterflies across each boundary between
// neighbouring sub-bands of long blocks, in place on one channel's spectrum.
#pragma once

#include "decoder/layer3_state.h"

namespace vexa {

// Short blocks have no boundaries to reduce, except the one after the long
// sub-band of a mixed block.
template <class F>
void ReduceAliases(const GranuleInfo& granule, Layer3Value<F>* channelSpectrum);
// The same, one butterfly at a time: the reference of the lane form.
template <class F>
void ReduceAliasesPlain(const GranuleInfo& granule, Layer3Value<F>* channelSpectrum);

}  // namespace vexa
