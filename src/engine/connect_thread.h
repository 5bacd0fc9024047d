// The HTTP source: the connect thread that opens an address, lets a proxy
// ask for credentials, pre-buffers the first data and then opens the stream
// and starts the playback thread itself; the saving of the stream's bytes;
// and the cleanup's share of the network handles.
#pragma once

#include <cstdint>

#include "engine/engine_record.h"

namespace vexa {

// Thread entry; the argument is the engine record. Ends with 1 after handing
// a good connection to the stream open (which may still post a failure), 0
// when a stop was seen, and kConnectFailed after a failure was posted.
constexpr uint32_t kConnectFailed = 0xFFFFFFFFu;  // -1
uint32_t ConnectThread(void* engineRecord);

// The stream open's first step for an HTTP stream to be saved: asks the save
// dialog for an .mp3 name suggested from the address, creates the file and
// writes the pre-buffer to it; the reader thread appends the rest. 1 also
// when the dialog is cancelled (the stream plays unsaved); kErrStreamSave
// when the file cannot be created. Runs on the connect thread.
int32_t SetUpStreamSaving(EngineRecord& engine);

// Cleanup, host's thread: ends the session so that every network call still
// blocked in it returns (before the connect thread is waited for); returns
// the session it closed...
void* CloseNetSession(EngineRecord& engine);
// ...and, once neither the connect thread nor the reader can touch them any
// more, frees the session and its request (closing first a session made
// after CloseNetSession looked).
void ReleaseNetSession(EngineRecord& engine, void* closedSession);

}  // namespace vexa
