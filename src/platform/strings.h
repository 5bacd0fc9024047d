// String resources of the library in the user's language.
//   Win32: LoadStringA on the DLL's module handle (ANSI text in the process's
//          code page).
//   POSIX: the carried table (resources/string_table.h), in the language of
//          LC_ALL, else LC_MESSAGES, else LANG (UTF-8 text).
#pragma once

#include <cstdint>

namespace vexa::platform {

// Copies string id into buffer (at most size bytes, NUL-terminated when
// size > 0); returns the length in bytes, 0 when there is no such string.
// module: the library's module handle (ignored on POSIX).
int32_t LoadModuleString(void* module, int32_t id, char* buffer, int32_t size);

}  // namespace vexa::platform
