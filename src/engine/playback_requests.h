// The host's requests to the playback thread (stop, pause, resume, seek)
// and the thread's waits for them: a wait that only waits for something to
// change wakes as soon as a request arrives, so the thread reaches it
// within milliseconds instead of after its whole sleep.
#pragma once

#include <cstdint>

namespace vexa {

struct EngineRecord;

// Any host thread, after it has set a run flag: wakes a waiting playback thread.
void SignalPlaybackRequest(EngineRecord& engine);
// A stop has been asked for: stopRequest, or the cleanup routine running.
bool StopAsked(const EngineRecord& engine);
// Playback thread: waits up to timeoutMs, less when a request arrives.
void WaitForRequest(EngineRecord& engine, uint32_t timeoutMs);
// Playback thread: pauses or restarts the device as the host asked, under
// the engine lock, and clears pauseChanged.
void ApplyPauseChange(EngineRecord& engine);

}  // namespace vexa
