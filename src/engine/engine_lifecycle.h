// Library load and unload, and the cleanup routine shared by Play and Stop.
#pragma once

#include <cstdint>

namespace vexa {

// Process attach: defaults into the engine record, engine lock created.
void EngineLoad(void* moduleHandle);
// Process detach: engine lock deleted.
void EngineUnload();
// The module handle given at load (string resources, dialogs).
void* EngineModule();

// Stops every thread, closes source, session and output; mode becomes closed.
// Never call it from the playback thread.
void CleanupEngine();

}  // namespace vexa
