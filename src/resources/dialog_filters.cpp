// The English (United States) texts of the save-dialog filters. The other
// languages arrive with the library's string table.
#include "resources/dialog_filters.h"

#include <cstring>

namespace vexa {

int32_t LoadDialogFilter(int32_t id, char* text, int32_t capacity) {
    if (text == nullptr || capacity < 1) return 0;
    const char* source = id == kWavFilterId   ? "Windows Sounds (*.wav)|*.wav||"
                         : id == kMp3FilterId ? "MPEG Layer3 Sounds (*.mp3)|*.mp3||"
                                              : "";
    size_t length = std::strlen(source);
    if (length > static_cast<size_t>(capacity - 1)) length = static_cast<size_t>(capacity - 1);
    std::memcpy(text, source, length);
    text[length] = '\0';
    return static_cast<int32_t>(length);
}

}  // namespace vexa
