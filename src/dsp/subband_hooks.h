// The two halves of the sub-band hook that the synthesis runs on every
// Layer I and Layer II block before its DCT: the equalizer's 32 sub-band
// gains, applied in place, and the block's contribution to the current slot
// of the spectrum history. One overload per number format (float and double
// blocks at full scale 1.0, int32 blocks in Q15).
//
// channel: 0 left, 1 right, -1 a single channel.
// Threads: the playback thread only.
#pragma once

#include <cstdint>

namespace vexa {

void EqualizeSubbands(float* block);
void EqualizeSubbands(double* block);
void EqualizeSubbands(int32_t* block);

void AddSubbandsToSpectrum(const float* block, int32_t channel);
void AddSubbandsToSpectrum(const double* block, int32_t channel);
void AddSubbandsToSpectrum(const int32_t* block, int32_t channel);

}  // namespace vexa
