// The DLL's string table through LoadStringA: every label and filter in the
// user's interface language, converted to the ANSI code page, with English
// (United States) where the language has no entry. run_wine_tests.sh
// --locales runs the host under each carried language, so every resource
// block (its language id and its UTF-8 source decoded as such) is read.
#include <algorithm>
#include <cstdio>
#include <iterator>
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
const int kIds[] = {2023, 2024, 2072, 2073, 2074, 2075, 2211, 2212};

std::string AnsiFromUtf8(const char* text) {
    wchar_t wide[512] = {};
    MultiByteToWideChar(CP_UTF8, 0, text, -1, wide, 512);
    char ansi[512] = {};
    WideCharToMultiByte(CP_ACP, 0, wide, -1, ansi, sizeof ansi, nullptr, nullptr);
    return ansi;
}

const ExpectedString* ExpectedFor(int id, int language) {
    for (const ExpectedString& e : kExpectedStrings) {
        if (e.id == id && e.language == language) return &e;
    }
    return language == 1033 ? nullptr : ExpectedFor(id, 1033);
}

}  // namespace

void RunStringResourceChecks(Engine& engine, int expectedLanguage) {
    const int uiLanguage = GetUserDefaultUILanguage();
    std::printf("note: user interface language %d, ANSI code page %u\n", uiLanguage, GetACP());
    if (expectedLanguage != 0) CheckEqual(uiLanguage, expectedLanguage, "strings: the expected interface language");
    // The user interface language when the library carries it, else 1033.
    const int language = std::count(std::begin(kLanguages), std::end(kLanguages), uiLanguage) ? uiLanguage : 1033;
    std::string wrong;
    for (int id : kIds) {
        char buffer[256] = {};
        const int length = LoadStringA(engine.module(), static_cast<UINT>(id), buffer, sizeof buffer);
        const std::string expected = AnsiFromUtf8(ExpectedFor(id, language)->text);
        if (length != static_cast<int>(expected.size()) || expected != buffer) {
            wrong.append(" ").append(std::to_string(id)).append("=\"").append(buffer).append("\"");
        }
    }
    char name[96];
    std::snprintf(name, sizeof name, "strings: LoadStringA gives the texts of language %d", language);
    Check(wrong.empty(), name, "wrong:%s", wrong.c_str());
}

}  // namespace vexahost
