// Recording what is played to a RIFF WAVE file: the file's name (numbered
// automatically in the record folder, or chosen in a save dialog), its
// headers, the appends and the closing size fix-ups.
//
// Threads: Record_Open and the dialogs run in the stream open; appends on the
// playback thread; Record_Close wherever the output is closed.
#pragma once

#include <cstdint>

#include "output/output_host.h"
#include "platform/wave_device.h"
#include "platform/wave_file.h"

namespace vexa {

struct WaveOutputRecord;

enum class RecordOutcome {
    Opened,       // output.recordFile is open
    CannotCreate, // the file could not be created (VEXA_ERR_STREAM_SAVE)
    NoName,       // the dialog was cancelled
};

// Opens output.recordFile for the stream, named automatically or through
// the save dialog.
RecordOutcome Record_Open(const RecordNaming& naming, WaveOutputRecord& output);

// Creates the file with its RIFF, 18-byte "fmt " and "data" headers; nullptr
// on any failure (then nothing stays open).
platform::RiffFile* Record_CreateWaveFile(const char* path, const platform::WaveFormat& format,
                                          platform::RiffChunk& riffChunk, platform::RiffChunk& dataChunk);
void Record_Append(platform::RiffFile* file, const uint8_t* bytes, int32_t count);
// Fixes the data and RIFF sizes and closes the file.
void Record_Close(platform::RiffFile* file, platform::RiffChunk& riffChunk, platform::RiffChunk& dataChunk);

// Shows the save dialog with the filter of string filterId and a name made
// from inputPath. 1 with the chosen path in outPath (256 bytes) and its
// folder in directory (256 bytes); 0 when cancelled.
int32_t Record_SaveDialog(char* outPath, const char* inputPath, void* ownerWindow, char* directory,
                          int32_t filterId, const char* defaultExtension);

// Appends the file name part of path (for a URL the text after the last '/')
// to dest (256 bytes).
void Record_AppendBaseName(char* dest, const char* path);
// Cuts path (256 bytes) after its last '.' and appends extension; a path
// without a '.' gets the extension appended directly.
void Record_ReplaceExtension(char* path, const char* extension);

// The process-wide counter of automatically named recordings (1 at load).
int32_t RecordCounter();
void SetRecordCounter(int32_t value);  // tests

}  // namespace vexa
