// Layer III is not built yet: its frames decode to nothing.
#include "decoder/decoder.h"
#include "decoder/layer3.h"

namespace vexa {

void DecodeLayer3Single(FrameHeader&, int32_t) {}
void DecodeLayer3Double(FrameHeader&, int32_t) {}
void DecodeLayer3Fixed(FrameHeader&, int32_t) {}
void ResetLayer3State() {}
void SetUpLayer3Tables() {}

}  // namespace vexa
