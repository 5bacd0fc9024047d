#include "resources/string_table.h"

#include <atomic>
#include <cstring>

#include "platform/strings.h"

namespace vexa {
namespace {

// Set once at library load, read by any thread afterwards.
std::atomic<void*> g_stringModule{nullptr};

struct EngineString {
    int32_t id;
    int32_t language;
    const char* text;
};

constexpr int32_t LanguageId(int32_t primary, int32_t sublanguage) { return primary | sublanguage << 10; }

constexpr EngineString kStrings[] = {
#define VEXA_STRING(id, primary, sublanguage, text) {id, LanguageId(primary, sublanguage), text},
#include "resources/strings.inc"
#undef VEXA_STRING
};

constexpr int32_t kPrimaryLanguageMask = 0x3FF;
constexpr int32_t kSublanguageDefault = 1;

const char* FindExact(int32_t id, int32_t language) {
    for (const EngineString& entry : kStrings) {
        if (entry.id == id && entry.language == language) return entry.text;
    }
    return nullptr;
}

bool StartsWith(const char* text, const char* prefix) { return std::strncmp(text, prefix, std::strlen(prefix)) == 0; }

}  // namespace

const char* FindEngineString(int32_t id, int32_t language) {
    if (const char* text = FindExact(id, language)) return text;
    const int32_t primaryDefault = LanguageId(language & kPrimaryLanguageMask, kSublanguageDefault);
    if (const char* text = FindExact(id, primaryDefault)) return text;
    return FindExact(id, kLanguageEnglishUs);
}

int32_t LanguageFromLocaleName(const char* localeName) {
    if (localeName == nullptr) return kLanguageEnglishUs;
    // Territory matters only for English; "en_GB" and "en_GB.UTF-8" alike.
    if (StartsWith(localeName, "en_GB")) return kLanguageEnglishUk;
    struct Prefix {
        const char* language;
        int32_t id;
    };
    static constexpr Prefix kPrefixes[] = {
        {"de", kLanguageGerman}, {"fr", kLanguageFrench}, {"ja", kLanguageJapanese}, {"ko", kLanguageKorean}};
    for (const Prefix& prefix : kPrefixes) {
        // The language code is the whole first part: "de", "de_AT", "de.UTF-8".
        if (!StartsWith(localeName, prefix.language)) continue;
        const char next = localeName[std::strlen(prefix.language)];
        if (next == '\0' || next == '_' || next == '.' || next == '@') return prefix.id;
    }
    return kLanguageEnglishUs;
}

void SetStringModule(void* moduleHandle) { g_stringModule.store(moduleHandle); }

int32_t LoadEngineString(int32_t id, char* buffer, int32_t size) {
    return platform::LoadModuleString(g_stringModule.load(), id, buffer, size);
}

}  // namespace vexa
