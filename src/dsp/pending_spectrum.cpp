// The spectrum history is not built yet; clearing, opening and stamping its
// slots do nothing.
#include "dsp/spectrum_history.h"

namespace vexa {

void ClearSpectrumHistory() {}
void OpenSpectrumSlot(int32_t) {}
void StampFirstSpectrumSlot(int32_t) {}

}  // namespace vexa
