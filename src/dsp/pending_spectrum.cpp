// The spectrum history is not built yet; clearing it does nothing.
#include "dsp/spectrum_history.h"

namespace vexa {

void ClearSpectrumHistory() {}

}  // namespace vexa
