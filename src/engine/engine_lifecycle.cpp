#include "engine/engine_lifecycle.h"

#include "dsp/equalizer.h"
#include "engine/engine_record.h"

namespace vexa {
namespace {
void* g_module = nullptr;
}

void EngineLoad(void* moduleHandle) {
    g_module = moduleHandle;
    ResetEngineRecordToDefaults(g_engine);
    ResetEqualizer();  // its tables live beside the decoder's hooks, outside the record
    g_engine.engineLock = platform::LockCreate();
}

void EngineUnload() {
    platform::LockDelete(g_engine.engineLock);
    g_engine.engineLock = nullptr;
}

void* EngineModule() { return g_module; }

}  // namespace vexa
