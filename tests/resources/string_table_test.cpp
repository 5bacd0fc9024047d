// The carried string table: every label and filter in every language, the
// fallback for languages and ids the library has no entry for, the choice of
// language from the locale environment, and truncation like LoadStringA.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "resources/dialog_filters.h"
#include "resources/string_table.h"

using namespace vexa;

namespace {

struct Expected {
    int32_t id, language;
    const char* text;
};

const Expected kExpected[] = {
#include "support/expected_strings.inc"
    // No UK filters: the lookup falls back to the US ones.
    {2211, 2057, "Windows Sounds (*.wav)|*.wav||"},
    {2212, 2057, "MPEG Layer3 Sounds (*.mp3)|*.mp3||"},
    // Languages the library does not carry: English (United States), except
    // that another territory of a carried language gets that language.
    {2072, 1040, "Title"},   // Italian
    {2072, 3079, "Titel"},   // German (Austria)
    {2072, 3084, "Titre"},   // French (Canada)
    {2072, 3081, "Title"},   // English (Australia): the US default sublanguage
};

TEST(Resources, EveryStringInEveryLanguage) {
    for (const Expected& e : kExpected) {
        const char* text = FindEngineString(e.id, e.language);
        ASSERT_NE(text, nullptr) << e.id << " in " << e.language;
        EXPECT_STREQ(text, e.text) << e.id << " in " << e.language;
    }
}

TEST(Resources, UnknownIdsHaveNoText) {
    for (int32_t id : {0, 2022, 2025, 2071, 2076, 2210, 2213}) {
        EXPECT_EQ(FindEngineString(id, 1033), nullptr) << id;
        char buffer[16] = "x";
        EXPECT_EQ(LoadEngineString(id, buffer, sizeof buffer), 0) << id;
        EXPECT_STREQ(buffer, "");
    }
}

TEST(Resources, LanguageFromLocaleNames) {
    const std::pair<const char*, int32_t> cases[] = {
        {"de_DE.UTF-8", 1031}, {"de", 1031}, {"de_CH", 1031}, {"en_US.UTF-8", 1033}, {"en_GB.UTF-8", 2057},
        {"en_GB", 2057},       {"en_IE", 1033}, {"fr_FR@euro", 1036}, {"fr", 1036}, {"ja_JP.eucJP", 1041},
        {"ko_KR.UTF-8", 1042}, {"C", 1033},     {"POSIX", 1033},     {"C.UTF-8", 1033}, {"", 1033},
        {"es_ES", 1033},       {"dev", 1033},   {"frisian", 1033},   {nullptr, 1033},
    };
    for (const auto& [locale, language] : cases)
        EXPECT_EQ(LanguageFromLocaleName(locale), language) << (locale ? locale : "(null)");
}

// Sets the three locale variables (nullptr: unset). No test here reads them
// but through its own setting (and ctest runs each test in a process of its own).
void SetLocaleEnvironment(const char* all, const char* messages, const char* lang) {
    const char* const names[3] = {"LC_ALL", "LC_MESSAGES", "LANG"};
    const char* const values[3] = {all, messages, lang};
    for (int i = 0; i < 3; ++i) values[i] ? setenv(names[i], values[i], 1) : unsetenv(names[i]);
}

TEST(Resources, LoadEngineStringFollowsTheLocaleEnvironment) {
    // LC_ALL, LC_MESSAGES, LANG (nullptr: unset), and the title label then loaded.
    const char* const cases[][4] = {
        {nullptr, nullptr, "de_DE.UTF-8", "Titel"},
        {nullptr, "fr_FR.UTF-8", "de_DE.UTF-8", "Titre"},
        {"ko_KR.UTF-8", "fr_FR.UTF-8", "de_DE.UTF-8", "곡명"},
        {"", "", "en_GB.UTF-8", "Song title"},  // empty variables do not count
        {"C", nullptr, "de_DE.UTF-8", "Title"},
        {nullptr, nullptr, nullptr, "Title"},
    };
    for (const auto& [all, messages, lang, title] : cases) {
        SetLocaleEnvironment(all, messages, lang);
        char buffer[64] = {};
        EXPECT_EQ(LoadEngineString(kLabelTitle, buffer, sizeof buffer), static_cast<int32_t>(std::strlen(title)));
        EXPECT_STREQ(buffer, title);
    }
}

TEST(Resources, LoadingTruncatesLikeLoadString) {
    SetLocaleEnvironment(nullptr, nullptr, "en_US.UTF-8");
    char buffer[8] = {};
    EXPECT_EQ(LoadEngineString(2211, buffer, sizeof buffer), 7);
    EXPECT_STREQ(buffer, "Windows");
    EXPECT_EQ(LoadEngineString(2211, buffer, 1), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(LoadEngineString(2211, nullptr, 8), 0);
    char filter[256] = {};
    EXPECT_EQ(LoadDialogFilter(2212, filter, sizeof filter), 34);
    EXPECT_STREQ(filter, "MPEG Layer3 Sounds (*.mp3)|*.mp3||");
}

}  // namespace
