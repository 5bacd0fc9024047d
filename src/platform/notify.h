// The one message the engine sends its host window (HTTP streams only: the
// connection's outcome and the start of playback).
//   Win32: PostMessageA(hostWindow, message, wParam, lParam); returns at once.
//   POSIX: the host's callback (VexaEnginePosix_SetNotifyCallback), called on
//          the posting thread; nothing happens without one.
//
// Threads: any (the connect thread posts).
#pragma once

#include <cstdint>

namespace vexa::platform {

void PostHostMessage(void* hostWindow, uint32_t message, uint32_t wParam, int32_t lParam);

// The type of the POSIX host callback (identical to VexaNotifyCallback of the
// public header).
using NotifyCallback = void (*)(void* hostWindow, uint32_t message, uint32_t wParam, int32_t lParam);
// POSIX only: the callback PostHostMessage calls (nullptr: none).
void SetNotifyCallback(NotifyCallback callback);

}  // namespace vexa::platform
