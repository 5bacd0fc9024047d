// The save dialog on POSIX: the host decides through its callback; without
// one the dialog counts as cancelled.
#include <atomic>
#include <cstring>

#include "platform/dialogs.h"

namespace vexa::platform {

extern const char kPathSeparator = '/';
namespace {

std::atomic<SaveDialogCallback> g_saveDialog{nullptr};

// The NUL-separated list back in its "|" form, which a host can show.
void JoinFilter(const char* filter, char* text, size_t capacity) {
    size_t out = 0;
    const char* part = filter;
    while (part != nullptr && *part != '\0' && out + 1 < capacity) {
        const size_t length = std::strlen(part);
        for (size_t i = 0; i < length && out + 1 < capacity; ++i) text[out++] = part[i];
        if (out + 1 < capacity) text[out++] = '|';
        part += length + 1;
    }
    if (out > 0 && out + 1 < capacity) text[out++] = '|';  // the list's end, "||"
    text[out] = '\0';
}

int32_t DirectoryLength(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash == nullptr ? 0 : static_cast<int32_t>(slash - path + 1);
}

}  // namespace

void SetSaveDialogCallback(SaveDialogCallback callback) { g_saveDialog = callback; }

bool SaveFileDialog(void* owner, const char* filter, const char* defaultExtension, const char* initialDirectory,
                    char* path, int32_t* fileOffset) {
    const SaveDialogCallback callback = g_saveDialog;
    if (callback == nullptr) return false;
    char filterText[kDialogPathBytes];
    JoinFilter(filter, filterText, sizeof filterText);
    char folder[kDialogPathBytes] = {};
    if (initialDirectory != nullptr) std::strncpy(folder, initialDirectory, sizeof folder - 1);
    if (callback(owner, filterText, defaultExtension, folder, path, kDialogPathBytes) != 1) return false;
    path[kDialogPathBytes - 1] = '\0';
    if (path[0] == '\0') return false;
    *fileOffset = DirectoryLength(path);
    return true;
}

}  // namespace vexa::platform
