// The DLL's entry point: process attach sets the engine record to its
// defaults and creates the engine lock; detach deletes the lock. Thread
// attach and detach do nothing.
#include <windows.h>

#include "engine/engine_lifecycle.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) vexa::EngineLoad(module);
    if (reason == DLL_PROCESS_DETACH) vexa::EngineUnload();
    return TRUE;
}
