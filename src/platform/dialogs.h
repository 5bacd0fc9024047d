// The save dialog, asked for a recording's WAV name or an HTTP stream's MP3
// name.
//   Win32: GetSaveFileNameA with a 76-byte OPENFILENAMEA and the flags
//          OFN_EXPLORER | OFN_NOREADONLYRETURN | OFN_PATHMUSTEXIST |
//          OFN_HIDEREADONLY | OFN_OVERWRITEPROMPT (0x88806).
//   POSIX: the host's callback (VexaEnginePosix_SetSaveDialogCallback); with
//          none registered the dialog counts as cancelled.
//
// Threads: the thread running the stream open (host or connect thread).
#pragma once

#include <cstdint>

namespace vexa::platform {

constexpr int32_t kDialogPathBytes = 256;

// The separator between a folder and a file name in the paths the dialogs
// return and recordings are named with: '\\' on Windows, '/' on POSIX.
extern const char kPathSeparator;

// owner: the host window. filter: the filter list, its parts separated by
// NULs and ended by two NULs. path: kDialogPathBytes bytes holding the
// suggested file name, replaced by the chosen full path. initialDirectory:
// the folder to start in (may be empty). On success returns true and sets
// *fileOffset to the length of the chosen path's directory part, including
// its final separator (nFileOffset). false when the user cancels.
bool SaveFileDialog(void* owner, const char* filter, const char* defaultExtension, const char* initialDirectory,
                    char* path, int32_t* fileOffset);

// The type of the POSIX host callback (identical to VexaSaveDialogCallback of
// the public header): filter in its "|" form, folder (256 bytes) in/out,
// path (pathSize bytes) in/out. 1 when a name was chosen.
using SaveDialogCallback = int32_t (*)(void* hostWindow, const char* filter, const char* defaultExtension,
                                       char* folder, char* path, int32_t pathSize);
// POSIX only: the callback SaveFileDialog calls (nullptr: cancelled).
void SetSaveDialogCallback(SaveDialogCallback callback);

}  // namespace vexa::platform
