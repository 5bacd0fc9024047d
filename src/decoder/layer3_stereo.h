// Layer III stereo processing (mid/side, intensity, extent equalising,
// reduction to one channel) and alias reduction, in place on the spectrum
// buffers of one number format.
#pragma once

#include <cstdint>

#include "decoder/layer3_state.h"

namespace vexa {

// One granule of a two-channel stream. spectrum holds channel 0 and, at
// kGranuleLines, channel 1. channelSelect: negative both channels, 1 right,
// 3 mix, anything else left.
template <class F>
void ProcessStereo(GranuleInfo& left, GranuleInfo& right, const int32_t* scaleFactors1, Layer3Value<F>* spectrum,
                   const FrameHeader& header, int32_t channelSelect);

template <class F>
void ReduceAliases(const GranuleInfo& granule, Layer3Value<F>* channelSpectrum);
// The same, one butterfly at a time: the reference of the lane form.
template <class F>
void ReduceAliasesPlain(const GranuleInfo& granule, Layer3Value<F>* channelSpectrum);

}  // namespace vexa
