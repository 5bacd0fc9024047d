// The wave output is not built yet: opening succeeds without a device, PCM is
// dropped and the position is the decode position.
#include "engine/engine_record.h"
#include "output/wave_output.h"

namespace vexa {

int32_t Output_Open(EngineRecord&) { return 1; }
void Output_Write(const uint8_t*, int32_t) {}
void Output_Flush() {}
int32_t Output_IsPlaying() { return 0; }
void Output_Reset() {}
void Output_Pause() {}
void Output_Restart() {}
int32_t Output_GetPosition(const EngineRecord& engine) { return engine.decodePosMs; }
void Output_Close() {}

}  // namespace vexa
