// The two points where the equalizer and the spectrum history act inside the
// decoder, one overload per sample type (float and double at full scale 1.0,
// int32 in Q15):
//
//   SubbandHook  Layer I/II: the 32 sub-band samples of one channel and
//                synthesis step, before the DCT. Does nothing on a Layer III
//                stream, whose lines were equalised already.
//   LineHook     Layer III: the 576 lines of one channel and granule, after
//                alias reduction and before the hybrid filterbank; only for
//                frames decoded for output.
//
// Each applies the gains of its domain in place while the equalizer is
// active, then adds the magnitudes to the current slot of the spectrum
// history (int32 samples to the integer ring, others to the float ring).
//
// channel: 0 left, 1 right, any other value (-1) a single output channel.
// Threads: the playback thread only.
#pragma once

#include <cstdint>

namespace vexa {

void SubbandHook(float* block, int32_t channel);
void SubbandHook(double* block, int32_t channel);
void SubbandHook(int32_t* block, int32_t channel);

void LineHook(float* lines, int32_t channel);
void LineHook(double* lines, int32_t channel);
void LineHook(int32_t* lines, int32_t channel);

// The line hook's 20 band maxima (each band's largest line, at least 0;
// negative lines and NaNs never count): the form the hook uses, in vector
// lanes where the processor has them, and the plain loop it must equal.
template <class S>
void LineBandMaxima(const S* lines, S* maxima);
template <class S>
void LineBandMaximaPlain(const S* lines, S* maxima);

}  // namespace vexa
