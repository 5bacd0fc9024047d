#include "stream/file_info.h"

#include <cstdio>
#include <cstring>

#include "resources/string_table.h"

namespace vexa {
namespace {

constexpr int kNamedGenres = 148;
const char* const kGenreNames[kNamedGenres] = {
    "Blues", "Classic Rock", "Country", "Dance", "Disco", "Funk", "Grunge", "Hip-Hop", "Jazz", "Metal",
    "New Age", "Oldies", "Other", "Pop", "R&B", "Rap", "Reggae", "Rock", "Techno", "Industrial",
    "Alternative", "Sca", "Death Metal", "Pranks", "Soundtrack", "Euro-Techno", "Ambient", "Trip-Hop", "Vocal",
    "Jazz+Funk", "Fusion", "Trance", "Classical", "Instrumental", "Acid", "House", "Game", "Sound Clip", "Gospel",
    "Noise", "Alternative Rock", "Bass", "Soul", "Punk", "Space", "Meditative", "Instrumental Pop",
    "Instrumental Rock", "Ethnic", "Gothic", "Darkwave", "Techno-Industrial", "Electronic", "Pop-Folk",
    "Eurodance", "Dream", "Southern Rock", "Comedy", "Cult", "Gangsta", "Top 40", "Christian Rap", "Pop/Funk",
    "Jungle", "Native US", "Cabaret", "New Wave", "Psychadelic", "Rave", "Showtunes", "Trailer", "Lo-Fi",
    "Tribal", "Acid Punk", "Acid Jazz", "Polka", "Retro", "Musical", "Rock & Roll", "Hard Rock", "Folk",
    "Folk-Rock", "National Folk", "Swing", "Fast Fusion", "Bebob", "Latin", "Revival", "Celtic", "Bluegrass",
    "Avantgarde", "Gothic Rock", "Progressive Rock", "Psychedelic Rock", "Symphonic Rock", "Slow Rock",
    "Big Band", "Chorus", "Easy Listening", "Acoustic", "Humour", "Speech", "Chanson", "Opera",
    "Chamber Music", "Sonata", "Symphony", "Booty Bass", "Primus", "Porn Groove", "Satire", "Slow Jam",
    "Club", "Tango", "Samba", "Folklore", "Ballad", "Power Ballad", "Rhythmic Soul", "Freestyle", "Duet",
    "Punk Rock", "Drum Solo", "Acapella", "Euro-House", "Dance Hall", "Goa", "Drum & Bass", "Club-House",
    "Hardcore", "Terror", "Indie", "BritPop", "Negerpunk", "Polsk Punk", "Beat", "Christian Gangsta Rap",
    "Heavy Metal", "Black Metal", "Crossover", "Contemporary Christian", "Christian Rock", "Merengue", "Salsa",
    "Thrash Metal", "Anime", "JPop", "SynthPop"};

void TrimTrailingBlanks(char* value) {
    size_t length = std::strlen(value);
    while (length > 0 && (value[length - 1] == ' ' || value[length - 1] == '\t')) value[--length] = '\0';
}

// The callers have checked that the text has room for what they append.
void AppendText(char* text, const char* source) { std::strcat(text, source); }

}  // namespace

const char* GenreName(int32_t genre) { return genre >= 0 && genre < kNamedGenres ? kGenreNames[genre] : ""; }

void AppendTagField(char* text, char* value, int32_t labelId, int32_t size, bool isFirst) {
    TrimTrailingBlanks(value);
    if (value[0] == '\0') return;
    char label[256];
    const bool hasLabel = LoadEngineString(labelId, label, sizeof label) > 0;
    const bool separator = text[0] != '\0' && !isFirst;
    const size_t needed = std::strlen(text) + (separator ? 2 : 0) + (hasLabel ? std::strlen(label) + 3 : 0) +
                          std::strlen(value);
    if (static_cast<int64_t>(needed) > int64_t{size} - 1) return;
    if (separator) AppendText(text, ", ");
    if (hasLabel) {
        AppendText(text, label);
        AppendText(text, " : ");
    }
    AppendText(text, value);
}

int32_t BuildFileInfo(char* text, int32_t size, bool wantFormat, const int32_t* fieldFlags,
                      const char* formatDescription, Id3v1Tag* tag) {
    if (wantFormat && static_cast<int64_t>(std::strlen(formatDescription)) < int64_t{size} - 1)
        std::strcpy(text, formatDescription);
    if (tag == nullptr) return -1;
    if (text[0] != '\0' && static_cast<int64_t>(std::strlen(text)) + 8 <= int64_t{size} - 1)
        AppendText(text, "        ");
    char genre[32];
    std::snprintf(genre, sizeof genre, "%s", GenreName(tag->genre));
    struct Field {
        char* value;
        int32_t label;
    };
    const Field fields[6] = {{tag->title, kLabelTitle},     {tag->artist, kLabelArtist},
                             {tag->album, kLabelAlbum},     {tag->year, kLabelYear},
                             {tag->comment, kLabelComment}, {genre, kLabelGenre}};
    bool isFirst = true;
    for (int i = 0; i < 6; ++i) {
        if (fieldFlags == nullptr || fieldFlags[i] == 0) continue;
        AppendTagField(text, fields[i].value, fields[i].label, size, isFirst);
        isFirst = false;
    }
    return tag->track;
}

}  // namespace vexa
