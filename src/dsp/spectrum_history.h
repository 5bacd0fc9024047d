// The spectrum history: rings of per-50-ms spectrum slots that the decoder
// fills and VexaEngine_GetSpectrum reads.
//
// Threads: the playback thread, under the engine lock (the stream open
// clears it before that thread exists).
#pragma once

#include <cstdint>

namespace vexa {

// All slots cleared, index 0.
void ClearSpectrumHistory();
// Moves to the next slot (200 wraps to 0), clears it and stamps it with the
// decode position in ms: one slot per 50 ms of decoded audio.
void OpenSpectrumSlot(int32_t stampMs);
// After a seek: stamps slot 0 of both rings with the new decode position.
void StampFirstSpectrumSlot(int32_t stampMs);

}  // namespace vexa
