// String resources from the carried table, in the language the locale
// environment names (the same precedence as setlocale: LC_ALL, then
// LC_MESSAGES, then LANG).
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "platform/strings.h"
#include "resources/string_table.h"

namespace vexa::platform {
namespace {

const char* MessagesLocaleName() {
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(variable);
        if (value != nullptr && value[0] != '\0') return value;
    }
    return nullptr;
}

}  // namespace

int32_t LoadModuleString(void*, int32_t id, char* buffer, int32_t size) {
    if (buffer == nullptr || size < 1) return 0;
    buffer[0] = '\0';
    const char* text = FindEngineString(id, LanguageFromLocaleName(MessagesLocaleName()));
    if (text == nullptr) return 0;
    // Like LoadStringA: as much as fits, always terminated. The cut may fall
    // inside a multi-byte character; no caller's buffer is that short.
    size_t length = std::strlen(text);
    if (length > static_cast<size_t>(size - 1)) length = static_cast<size_t>(size - 1);
    std::memcpy(buffer, text, length);
    buffer[length] = '\0';
    return static_cast<int32_t>(length);
}

}  // namespace vexa::platform
