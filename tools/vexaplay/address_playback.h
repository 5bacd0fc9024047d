// vexaplay's side of HTTP streams: the wait while the engine connects, the
// notifications as one-line messages, proxy credentials asked for on the
// terminal and the stream saved into a chosen folder.
#pragma once

#include <atomic>
#include <cstdint>

namespace vexaplay {

bool IsAddress(const char* source);

// Registers the engine callbacks; saveFolder (may be nullptr) receives the
// stream as an .mp3 file when the engine is told to save streams. Call
// before VexaEngine_Play.
void PrepareAddressPlayback(const char* saveFolder);

// What the wait needs from the terminal: keys in raw mode, and the normal
// line mode while credentials are typed.
struct Terminal {
    bool (*quitPressed)(int waitMs);
    void (*enterLineMode)();
    void (*enterKeyMode)();
    const std::atomic<bool>* interrupted;
};

// Shows "connecting…" until the engine reports. 1 when the stream plays;
// 0 when the user quit (q or a signal); else the failure code. The caller
// stops the engine unless 1; the wait never holds up that stop.
int32_t AwaitConnection(const char* address, const Terminal& terminal);

// Lets a credentials request still waiting go (before VexaEngine_Stop).
void CancelCredentialsRequest();

}  // namespace vexaplay
