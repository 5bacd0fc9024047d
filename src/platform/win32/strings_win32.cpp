// String resources through LoadStringA: Windows picks the language of the
// thread's user interface and converts the UTF-16 text to the ANSI code page.
#include <windows.h>

#include "platform/strings.h"

namespace vexa::platform {

int32_t LoadModuleString(void* module, int32_t id, char* buffer, int32_t size) {
    if (buffer == nullptr || size < 1) return 0;
    buffer[0] = '\0';
    return LoadStringA(static_cast<HINSTANCE>(module), static_cast<UINT>(id), buffer, size);
}

}  // namespace vexa::platform
