// Library load and unload, and the cleanup routine shared by Play and Stop.
#pragma once

#include <cstdint>

namespace vexa {

struct EngineRecord;

// Process attach: defaults into the engine record, engine lock created.
void EngineLoad(void* moduleHandle);
// Process detach: engine lock deleted.
void EngineUnload();
// The module handle given at load (string resources, dialogs).
void* EngineModule();

// Stops every thread, closes source, session and output; mode becomes closed.
// Never call it from the playback thread.
void CleanupEngine();

// Starts the playback thread on the record, at threadPriority unless
// recording only. 1, or kErrResources. Run by Play (file) or the connect
// thread (HTTP stream).
int32_t StartPlaybackThread(EngineRecord& engine);

}  // namespace vexa
