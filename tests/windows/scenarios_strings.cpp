// The DLL's string table: each label and filter in each language, read
// straight from the resource section, and LoadStringA in the user's language.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "windows/host_checks.h"
#include "windows/scenarios.h"

namespace vexahost {
namespace {

struct ExpectedString {
    int id;
    int language;
    const char* text;  // UTF-8
};

// The library's texts, written out independently of its resource script.
const ExpectedString kExpectedStrings[] = {
    {2023, 1031, "Album"},
    {2023, 1033, "Album"},
    {2023, 1036, "Album"},
    {2023, 1041, "ｱﾙﾊﾞﾑ"},
    {2023, 1042, "앨범"},
    {2023, 2057, "Album"},
    {2024, 1031, "Interpret"},
    {2024, 1033, "Artist"},
    {2024, 1036, "Artiste"},
    {2024, 1041, "ｱｰﾃｨｽﾄ"},
    {2024, 1042, "음악가"},
    {2024, 2057, "Artist"},
    {2072, 1031, "Titel"},
    {2072, 1033, "Title"},
    {2072, 1036, "Titre"},
    {2072, 1041, "ﾀｲﾄﾙ"},
    {2072, 1042, "곡명"},
    {2072, 2057, "Song title"},
    {2073, 1031, "Jahr"},
    {2073, 1033, "Year"},
    {2073, 1036, "Année"},
    {2073, 1041, "年"},
    {2073, 1042, "연도"},
    {2073, 2057, "Year"},
    {2074, 1031, "Kommentar"},
    {2074, 1033, "Comment"},
    {2074, 1036, "Commentaire"},
    {2074, 1041, "ｺﾒﾝﾄ"},
    {2074, 1042, "설명"},
    {2074, 2057, "Comment"},
    {2075, 1031, "Genre"},
    {2075, 1033, "Genre"},
    {2075, 1036, "Genre"},
    {2075, 1041, "ｼﾞｬﾝﾙ"},
    {2075, 1042, "장르"},
    {2075, 2057, "Genre"},
    {2211, 1031, "Windows Sounds (*.wav)|*.wav||"},
    {2211, 1033, "Windows Sounds (*.wav)|*.wav||"},
    {2211, 1036, "Formats audio pour Windows (*.wav)|*.wav||"},
    {2211, 1041, "Windows ｻｳﾝﾄﾞ (*.wav)|*.wav||"},
    {2211, 1042, "윈도즈용 소리 파일 (*.wav)|*.wav||"},
    {2212, 1031, "MPEG Layer3 Sounds (*.mp3)|*.mp3||"},
    {2212, 1033, "MPEG Layer3 Sounds (*.mp3)|*.mp3||"},
    {2212, 1036, "Formats audio pour MPEG Layer3 (*.mp3)|*.mp3||"},
    {2212, 1041, "MPEG ﾚｲﾔ3 ｻｳﾝﾄﾞ (*.mp3)|*.mp3||"},
    {2212, 1042, "MP3 음악 파일 (*.mp3)|*.mp3||"},
};

const int kLanguages[] = {1031, 1033, 1036, 1041, 1042, 2057};

// Appends " " and a formatted note to a list of findings.
__attribute__((format(printf, 2, 3))) void AppendNote(std::string& list, const char* format, ...) {
    char note[300];
    va_list args;
    va_start(args, format);
    std::vsnprintf(note, sizeof note, format, args);
    va_end(args);
    list.append(" ").append(note);
}

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
            AppendNote(wrong, "%d", e.id);
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
        const ExpectedString* e = ExpectedFor(id, language);
        if (e == nullptr) e = ExpectedFor(id, 1033);
        char buffer[256] = {};
        const int length = LoadStringA(module, static_cast<UINT>(id), buffer, sizeof buffer);
        const std::string expected = AnsiFromUtf8(e->text);
        if (length != static_cast<int>(expected.size()) || expected != buffer) {
            AppendNote(wrong, "%d=\"%s\"", id, buffer);
        }
    }
    char name[96];
    std::snprintf(name, sizeof name, "strings: LoadStringA gives the texts of language %d", language);
    Check(wrong.empty(), name, "wrong:%s", wrong.c_str());
}

}  // namespace

std::string ExpectedAnsiText(int id, int language) {
    const ExpectedString* e = ExpectedFor(id, language);
    if (e == nullptr) e = ExpectedFor(id, 1033);
    return e != nullptr ? AnsiFromUtf8(e->text) : std::string();
}

int CarriedInterfaceLanguage() {
    const int uiLanguage = GetUserDefaultUILanguage();
    for (int language : kLanguages) {
        if (language == uiLanguage) return language;
    }
    return 1033;
}

void RunStringResourceChecks(Engine& engine, int expectedLanguage) {
    for (int language : kLanguages) CheckLanguageResources(engine.module(), language);
    const int uiLanguage = GetUserDefaultUILanguage();
    std::printf("note: user interface language %d, ANSI code page %u\n", uiLanguage, GetACP());
    if (expectedLanguage != 0) CheckEqual(uiLanguage, expectedLanguage, "strings: the expected interface language");
    CheckLoadStringA(engine.module(), CarriedInterfaceLanguage());
}

}  // namespace vexahost
