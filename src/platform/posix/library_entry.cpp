// Library load and unload on POSIX: the same work as the DLL's process
// attach and detach, run by the dynamic loader (or at program start when the
// engine is linked statically into a test or tool).
#include "engine/engine_lifecycle.h"

namespace {
__attribute__((constructor)) void LoadEngine() { vexa::EngineLoad(nullptr); }
__attribute__((destructor)) void UnloadEngine() { vexa::EngineUnload(); }
}  // namespace
