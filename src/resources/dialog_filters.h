// The filter texts of the save dialogs (string resources 2211 and 2212), in
// their "|"-separated form.
#pragma once

#include <cstdint>

namespace vexa {

constexpr int32_t kWavFilterId = 2211;
constexpr int32_t kMp3FilterId = 2212;

// Copies the filter text of id into text (at most capacity bytes, always
// NUL-terminated); returns its length, 0 for an unknown id.
int32_t LoadDialogFilter(int32_t id, char* text, int32_t capacity);

}  // namespace vexa
