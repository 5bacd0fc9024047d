// The library's string resources: the ID3v1 field labels and the save-dialog
// filters, in the user's language. On Windows they are the DLL's string table
// (resources/strings.rc), loaded with LoadStringA as ANSI text; the POSIX
// build carries the same texts (resources/strings.inc) as UTF-8 and picks
// the language from the locale environment.
#pragma once

#include <cstdint>

namespace vexa {

// Resource ids.
constexpr int32_t kLabelAlbum = 2023;
constexpr int32_t kLabelArtist = 2024;
constexpr int32_t kLabelTitle = 2072;
constexpr int32_t kLabelYear = 2073;
constexpr int32_t kLabelComment = 2074;
constexpr int32_t kLabelGenre = 2075;

// Windows language ids (primary language | sublanguage << 10).
constexpr int32_t kLanguageGerman = 1031;
constexpr int32_t kLanguageEnglishUs = 1033;
constexpr int32_t kLanguageFrench = 1036;
constexpr int32_t kLanguageJapanese = 1041;
constexpr int32_t kLanguageKorean = 1042;
constexpr int32_t kLanguageEnglishUk = 2057;

// The module whose string table LoadEngineString reads (the DLL itself),
// set at library load.
void SetStringModule(void* moduleHandle);

// Copies string id in the user's language into buffer (at most size bytes,
// always NUL-terminated when size > 0); returns its length in bytes, 0 when
// the library has no such string. Any thread.
int32_t LoadEngineString(int32_t id, char* buffer, int32_t size);

// The carried text of id in language, falling back as the Windows resource
// lookup does: the exact language, then the primary language's default
// sublanguage, then English (United States). nullptr for an unknown id.
const char* FindEngineString(int32_t id, int32_t language);

// The language for a POSIX locale name such as "de_DE.UTF-8", "en_GB" or
// "C": English (United States) for anything the library has no texts for.
int32_t LanguageFromLocaleName(const char* localeName);

}  // namespace vexa
