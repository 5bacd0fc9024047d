// The save-dialog filters are entries of the library's string table.
#include "resources/dialog_filters.h"

#include "resources/string_table.h"

namespace vexa {

int32_t LoadDialogFilter(int32_t id, char* text, int32_t capacity) { return LoadEngineString(id, text, capacity); }

}  // namespace vexa
