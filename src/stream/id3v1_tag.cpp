#include "stream/id3v1_tag.h"

#include <cstring>

namespace vexa {
namespace {

// Copies a fixed-width tag field up to its first NUL and terminates it.
void CopyField(char* destination, const uint8_t* field, int width) {
    int length = 0;
    while (length < width && field[length] != 0) ++length;
    std::memcpy(destination, field, static_cast<size_t>(length));
    destination[length] = '\0';
}

bool IsLetter(uint8_t byte, char upper) { return byte == static_cast<uint8_t>(upper) || byte == static_cast<uint8_t>(upper + 32); }

}  // namespace

void ClearTag(Id3v1Tag& tag) {
    std::memset(&tag, 0, sizeof tag);
    tag.track = -1;
}

bool IsTagMarker(const uint8_t* bytes) {
    return IsLetter(bytes[0], 'T') && IsLetter(bytes[1], 'A') && IsLetter(bytes[2], 'G');
}

void FillTag(Id3v1Tag& tag, const uint8_t trailer[128]) {
    CopyField(tag.title, trailer + 3, 30);
    CopyField(tag.artist, trailer + 33, 30);
    CopyField(tag.album, trailer + 63, 30);
    CopyField(tag.year, trailer + 93, 4);
    CopyField(tag.comment, trailer + 97, 30);
    tag.genre = trailer[127];
    tag.track = trailer[125] == 0 ? trailer[126] : -1;
}

}  // namespace vexa
