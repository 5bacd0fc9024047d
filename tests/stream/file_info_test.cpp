// The file-info line: format description, labelled tag fields in the user's
// language, trimming, separators and the room left in the host's buffer.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "stream/file_info.h"
#include "support/frame_builder.h"

using namespace vexa;

namespace {

constexpr int32_t kAll[6] = {1, 1, 1, 1, 1, 1};

class FileInfo : public ::testing::Test {
protected:
    void SetUp() override { setenv("LC_ALL", "en_US.UTF-8", 1); }  // each test runs in a process of its own
    char text[512] = {};
};

TEST_F(FileInfo, TheDocumentedExample) {
    Id3v1Tag tag{"Song", "Band", "", "2001", "a comment", 17, 3};
    const int32_t flags[6] = {1, 1, 1, 1, 0, 1};
    EXPECT_EQ(BuildFileInfo(text, sizeof text, true, flags, "MPEG-1 Layer III, 44.1 kHz, 128 kbps, Joint-Stereo", &tag), 3);
    EXPECT_STREQ(text, "MPEG-1 Layer III, 44.1 kHz, 128 kbps, Joint-Stereo        "
                       "Title : Song, Artist : Band, Year : 2001, Genre : Rock");
    char none[64] = {};
    EXPECT_EQ(BuildFileInfo(none, sizeof none, false, kAll, "MPEG-1 Layer II", nullptr), -1);
    EXPECT_STREQ(none, "") << "no tag, no format";
}

// The trailer's fields at their offsets, a full-width field without its
// terminator, and the track number only where byte 125 is zero (ID3v1.1).
TEST(Id3v1Tag, FieldsComeFromTheirOffsets) {
    std::vector<uint8_t> trailer = vexatest::Id3v1Trailer("TAG", "Song", 5, 17);
    std::memcpy(&trailer[33], "An artist whose name fills 30.", 30);
    std::memcpy(&trailer[63], "Album", 5);
    std::memcpy(&trailer[93], "2001", 4);
    std::memcpy(&trailer[97], "note", 4);
    Id3v1Tag tag;
    FillTag(tag, trailer.data());
    EXPECT_EQ(std::vector<std::string>({tag.title, tag.artist, tag.album, tag.year, tag.comment}),
              std::vector<std::string>({"Song", "An artist whose name fills 30.", "Album", "2001", "note"}));
    EXPECT_EQ(std::make_pair(tag.track, tag.genre), std::make_pair(5, 17));
    trailer[125] = 'x';  // a 30-byte comment: no track number
    FillTag(tag, trailer.data());
    EXPECT_EQ(tag.track, -1);
}

TEST_F(FileInfo, BlankFieldsAreSkippedAndTrimmedInPlace) {
    Id3v1Tag tag{"Title  \t", "                              ", "Album", "", "", 200, -1};
    EXPECT_EQ(BuildFileInfo(text, sizeof text, false, kAll, "", &tag), -1);
    EXPECT_STREQ(text, "Title : Title, Album : Album") << "blank artist, empty year, genre 200 add nothing";
    EXPECT_STREQ(tag.title, "Title");
    char again[512] = {};
    BuildFileInfo(again, sizeof again, false, kAll, "", &tag);
    EXPECT_STREQ(again, text) << "repeated calls give the same text";
}

TEST_F(FileInfo, FieldsThatDoNotFitAreLeftOutOneByOne) {
    Id3v1Tag tag{"A much longer title", "B", "", "", "", 255, 1};
    char small[10] = "\0xxxxxxxx";
    BuildFileInfo(small, sizeof small, true, kAll, "MPEG-1 Layer II, 48 kHz", &tag);
    // The description and the title do not fit; "Artist : B" needs 10 characters, one too many.
    EXPECT_STREQ(small, "");
    char twelve[12] = {};
    BuildFileInfo(twelve, sizeof twelve, true, kAll, "MPEG-1 Layer II, 48 kHz", &tag);
    EXPECT_STREQ(twelve, "Artist : B") << "a later, shorter field is still appended";
}

TEST_F(FileInfo, LabelsFollowTheUsersLanguage) {
    Id3v1Tag tag{"Lied", "Gruppe", "", "", "", 0, -1};
    const int32_t flags[6] = {1, 1, 0, 0, 0, 1};
    for (const auto& [locale, expected] : {std::pair{"de_DE.UTF-8", "Titel : Lied, Interpret : Gruppe, Genre : Blues"},
                                           {"en_GB.UTF-8", "Song title : Lied, Artist : Gruppe, Genre : Blues"}}) {
        setenv("LC_ALL", locale, 1);
        text[0] = '\0';
        BuildFileInfo(text, sizeof text, false, flags, "", &tag);
        EXPECT_STREQ(text, expected);
    }
}

TEST_F(FileInfo, GenreNamesEndAt147) {
    EXPECT_STREQ(GenreName(147), "SynthPop");
    EXPECT_STREQ(GenreName(148), "");
    EXPECT_STREQ(GenreName(255), "");
}

}  // namespace
