// The ID3v1 tag record of the current file.
#pragma once

#include <cstdint>

namespace vexa {

struct Id3v1Tag {
    char title[31];
    char artist[31];
    char album[31];
    char year[5];
    char comment[31];
    int32_t genre;  // 0..255
    int32_t track;  // ID3v1.1 track number, or -1
};

void ClearTag(Id3v1Tag& tag);
// Fills the record from a whole 128-byte trailer that starts with "TAG".
void FillTag(Id3v1Tag& tag, const uint8_t trailer[128]);
// "TAG" in any letter case.
bool IsTagMarker(const uint8_t* bytes);

}  // namespace vexa
