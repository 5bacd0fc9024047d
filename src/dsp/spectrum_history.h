// The spectrum history: rings of per-50-ms spectrum slots that the decoder
// fills and VexaEngine_GetSpectrum reads.
#pragma once

namespace vexa {

// All slots cleared, index 0.
void ClearSpectrumHistory();

}  // namespace vexa
