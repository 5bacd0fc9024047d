// The DLL's string table: each label and filter in each language, read
// straight from the resource section, and LoadStringA in the user's language.
#include <cstdio>
#include <string>

#include "windows/host.h"

namespace vexahost {
namespace {

struct ExpectedString {
    int id;
    int language;
    const char* text;  // UTF-8
};

const ExpectedString kExpectedStrings[] = {
#include "support/expected_strings.inc"
};

const int kLanguages[] = {1031, 1033, 1036, 1041, 1042, 2057};

std::wstring WideFromUtf8(const char* text) {
    wchar_t wide[512] = {};
    const int length = MultiByteToWideChar(CP_UTF8, 0, text, -1, wide, 512);
    return length > 0 ? std::wstring(wide, static_cast<size_t>(length - 1)) : std::wstring();
}

std::string AnsiFromUtf8(const char* text) {
    const std::wstring wide = WideFromUtf8(text);
    char ansi[512] = {};
    WideCharToMultiByte(CP_ACP, 0, wide.c_str(), -1, ansi, sizeof ansi, nullptr, nullptr);
    return ansi;
}

// String id of exactly this language from the resource section: a string
// block holds ids 16 * (n - 1) to 16 * n - 1 as counted UTF-16 strings.
bool ReadResourceString(HMODULE module, int id, int language, std::wstring& text) {
    HRSRC resource = FindResourceExW(module, MAKEINTRESOURCEW(6) /* RT_STRING */,
                                     MAKEINTRESOURCEW(id / 16 + 1), static_cast<WORD>(language));
    if (resource == nullptr) return false;
    HGLOBAL loaded = LoadResource(module, resource);
    const auto* cursor = static_cast<const WCHAR*>(loaded ? LockResource(loaded) : nullptr);
    if (cursor == nullptr) return false;
    for (int index = 0; index < id % 16; ++index) cursor += 1 + *cursor;
    text.assign(cursor + 1, *cursor);
    return *cursor != 0;
}

const ExpectedString* ExpectedFor(int id, int language) {
    for (const ExpectedString& e : kExpectedStrings) {
        if (e.id == id && e.language == language) return &e;
    }
    return nullptr;
}

void CheckLanguageResources(HMODULE module, int language) {
    int count = 0;
    std::string wrong;
    for (const ExpectedString& e : kExpectedStrings) {
        if (e.language != language) continue;
        ++count;
        std::wstring text;
        if (!ReadResourceString(module, e.id, language, text) || text != WideFromUtf8(e.text)) {
            wrong.append(" ").append(std::to_string(e.id));
        }
    }
    char name[96];
    std::snprintf(name, sizeof name, "strings: the %d resources of language %d", count, language);
    Check(wrong.empty(), name, "wrong or missing:%s", wrong.c_str());
}

// LoadStringA picks the user's interface language and falls back to English
// (United States) for the filters that have no UK entry.
void CheckLoadStringA(HMODULE module, int language) {
    const int ids[] = {2023, 2024, 2072, 2073, 2074, 2075, 2211, 2212};
    std::string wrong;
    for (int id : ids) {
        const ExpectedString* e = ExpectedFor(id, language) ? ExpectedFor(id, language) : ExpectedFor(id, 1033);
        char buffer[256] = {};
        const int length = LoadStringA(module, static_cast<UINT>(id), buffer, sizeof buffer);
        const std::string expected = AnsiFromUtf8(e->text);
        if (length != static_cast<int>(expected.size()) || expected != buffer) {
            wrong.append(" ").append(std::to_string(id)).append("=\"").append(buffer).append("\"");
        }
    }
    char name[96];
    std::snprintf(name, sizeof name, "strings: LoadStringA gives the texts of language %d", language);
    Check(wrong.empty(), name, "wrong:%s", wrong.c_str());
}

// The user interface language when the library carries it, else 1033.
int CarriedInterfaceLanguage() {
    const int uiLanguage = GetUserDefaultUILanguage();
    for (int language : kLanguages) {
        if (language == uiLanguage) return language;
    }
    return 1033;
}
}  // namespace

void RunStringResourceChecks(Engine& engine, int expectedLanguage) {
    for (int language : kLanguages) CheckLanguageResources(engine.module(), language);
    const int uiLanguage = GetUserDefaultUILanguage();
    std::printf("note: user interface language %d, ANSI code page %u\n", uiLanguage, GetACP());
    if (expectedLanguage != 0) CheckEqual(uiLanguage, expectedLanguage, "strings: the expected interface language");
    CheckLoadStringA(engine.module(), CarriedInterfaceLanguage());
}

}  // namespace vexahost
