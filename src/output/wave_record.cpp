#include "output/wave_record.h"

#include <atomic>
#include <cstdio>
#include <cstring>

#include "output/wave_output.h"
#include "platform/dialogs.h"
#include "platform/platform.h"
#include "resources/dialog_filters.h"

namespace vexa {
namespace {

constexpr int32_t kPathBytes = platform::kDialogPathBytes;  // 255 characters and a NUL
constexpr int32_t kFilterBytes = 256;
// How far an automatic name skips over existing files before giving up.
constexpr int32_t kMaxNumberSkips = 100000;

std::atomic<int32_t> g_recordCounter{1};

// Appends text to a 256-byte path, cutting what does not fit.
void AppendText(char* path, const char* text) {
    size_t length = std::strlen(path);
    while (*text != '\0' && length < static_cast<size_t>(kPathBytes - 1)) path[length++] = *text++;
    path[length] = '\0';
}

const char* AfterLast(const char* text, char separator) {
    const char* found = std::strrchr(text, separator);
    return found == nullptr ? text : found + 1;
}

// The automatic name for one counter value: folder, separator, "%02d-", the
// source's base name with its extension replaced by "wav". A name without an
// extension gets ".wav"; the extension is looked for in the file name only.
void BuildAutomaticName(char* path, const RecordNaming& naming, int32_t number) {
    path[0] = '\0';
    AppendText(path, naming.recordFolder);
    const size_t folderLength = std::strlen(path);
    if (folderLength > 0 && path[folderLength - 1] != platform::kPathSeparator) {
        const char separator[2] = {platform::kPathSeparator, '\0'};
        AppendText(path, separator);
    }
    char prefix[16];
    std::snprintf(prefix, sizeof prefix, "%02d-", number);
    AppendText(path, prefix);
    const size_t nameStart = std::strlen(path);
    Record_AppendBaseName(path, naming.sourceName);
    if (std::strchr(path + nameStart, '.') != nullptr) {
        Record_ReplaceExtension(path, "wav");
    } else {
        AppendText(path, ".wav");
    }
}

RecordOutcome OpenAutomaticallyNamed(const RecordNaming& naming, WaveOutputRecord& output) {
    char path[kPathBytes];
    // A file already there is never replaced: the next free number is taken.
    int32_t number = g_recordCounter;
    for (int32_t skips = 0; skips < kMaxNumberSkips; ++skips, ++number) {
        BuildAutomaticName(path, naming, number);
        if (!platform::FileExists(path)) break;
    }
    output.recordFile = Record_CreateWaveFile(path, output.format, output.riffChunk, output.dataChunk);
    if (output.recordFile == nullptr) return RecordOutcome::CannotCreate;
    g_recordCounter = number + 1;
    return RecordOutcome::Opened;
}

}  // namespace

int32_t RecordCounter() { return g_recordCounter; }
void SetRecordCounter(int32_t value) { g_recordCounter = value; }

RecordOutcome Record_Open(const RecordNaming& naming, WaveOutputRecord& output) {
    if (naming.recordFolder == nullptr) return RecordOutcome::NoName;
    if (naming.autoName == 1 && naming.recordFolder[0] != '\0') return OpenAutomaticallyNamed(naming, output);
    char path[kPathBytes] = {};
    if (!Record_SaveDialog(path, naming.sourceName, naming.ownerWindow, naming.recordFolder, kWavFilterId, "wav"))
        return RecordOutcome::NoName;
    output.recordFile = Record_CreateWaveFile(path, output.format, output.riffChunk, output.dataChunk);
    return output.recordFile != nullptr ? RecordOutcome::Opened : RecordOutcome::CannotCreate;
}

platform::RiffFile* Record_CreateWaveFile(const char* path, const platform::WaveFormat& format,
                                          platform::RiffChunk& riffChunk, platform::RiffChunk& dataChunk) {
    platform::RiffFile* file = platform::RiffCreate(path);
    if (file == nullptr) return nullptr;
    riffChunk = {};
    riffChunk.formType = platform::FourCc('W', 'A', 'V', 'E');
    bool ok = platform::RiffCreateChunk(file, riffChunk, true);
    // The "fmt " chunk is written through the data descriptor, as the
    // recorder has always done; it is reused for "data" right after.
    dataChunk = {};
    dataChunk.id = platform::FourCc('f', 'm', 't', ' ');
    dataChunk.size = platform::kWaveFormatBytes;
    uint8_t formatBytes[platform::kWaveFormatBytes];
    platform::WaveFormatBytes(format, formatBytes);
    ok = ok && platform::RiffCreateChunk(file, dataChunk, false) &&
         platform::RiffWrite(file, formatBytes, sizeof formatBytes) == static_cast<int32_t>(sizeof formatBytes) &&
         platform::RiffAscend(file, dataChunk);
    if (ok) {
        dataChunk = {};
        dataChunk.id = platform::FourCc('d', 'a', 't', 'a');
        ok = platform::RiffCreateChunk(file, dataChunk, false);
    }
    if (!ok) {
        platform::RiffClose(file);
        return nullptr;
    }
    return file;
}

void Record_Append(platform::RiffFile* file, const uint8_t* bytes, int32_t count) {
    platform::RiffWrite(file, bytes, count);
}

void Record_Close(platform::RiffFile* file, platform::RiffChunk& riffChunk, platform::RiffChunk& dataChunk) {
    if (file == nullptr) return;
    platform::RiffAscend(file, dataChunk);
    platform::RiffAscend(file, riffChunk);
    platform::RiffClose(file);
}

int32_t Record_SaveDialog(char* outPath, const char* inputPath, void* ownerWindow, char* directory,
                          int32_t filterId, const char* defaultExtension) {
    // The filter's parts are separated by '|' in the resource and by NULs
    // in the list the dialog takes; its "||" end becomes the double NUL.
    char filter[kFilterBytes + 2] = {};
    LoadDialogFilter(filterId, filter, kFilterBytes);
    for (char* c = filter; *c != '\0'; ++c)
        if (*c == '|') *c = '\0';

    char name[kPathBytes] = {};
    Record_AppendBaseName(name, inputPath);
    if (char* dot = std::strrchr(name, '.')) dot[1] = '\0';
    AppendText(name, defaultExtension);

    int32_t fileOffset = 0;
    if (!platform::SaveFileDialog(ownerWindow, filter, defaultExtension, directory, name, &fileOffset)) return 0;
    // The folder of the choice becomes the next dialog's starting folder.
    if (fileOffset < 0) fileOffset = 0;
    if (fileOffset > kPathBytes - 1) fileOffset = kPathBytes - 1;
    std::memcpy(directory, name, static_cast<size_t>(fileOffset));
    directory[fileOffset] = '\0';
    std::memcpy(outPath, name, kPathBytes);
    outPath[kPathBytes - 1] = '\0';
    return 1;
}

void Record_AppendBaseName(char* dest, const char* path) {
    if (path == nullptr) return;
    if (std::strstr(path, "://") != nullptr) {
        const char* slash = std::strrchr(path, '/');
        if (slash != nullptr) AppendText(dest, slash + 1);
        return;
    }
    AppendText(dest, AfterLast(path, platform::kPathSeparator));
}

void Record_ReplaceExtension(char* path, const char* extension) {
    if (char* dot = std::strrchr(path, '.')) dot[1] = '\0';
    AppendText(path, extension);
}

}  // namespace vexa
