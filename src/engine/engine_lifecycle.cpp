#include "engine/engine_lifecycle.h"

#include "engine/engine_record.h"
#include "resources/string_table.h"

namespace vexa {
namespace {
void* g_module = nullptr;
}

void EngineLoad(void* moduleHandle) {
    g_module = moduleHandle;
    SetStringModule(moduleHandle);
    ResetEngineRecordToDefaults(g_engine);
    g_engine.engineLock = platform::LockCreate();
}

void EngineUnload() {
    platform::LockDelete(g_engine.engineLock);
    g_engine.engineLock = nullptr;
}

void* EngineModule() { return g_module; }

}  // namespace vexa
