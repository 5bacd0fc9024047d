// The one line of text the host shows about the stream: the format
// description and the ID3v1 fields it asks for, each with a label in the
// user's language.
#pragma once

#include <cstdint>

#include "stream/id3v1_tag.h"

namespace vexa {

// The genre name of an ID3v1 genre byte; "" for 148 to 255.
const char* GenreName(int32_t genre);

// Appends ", " (unless isFirst or text is empty), the label, " : " and the
// value, only when the value (trailing blanks removed in place) is not empty
// and everything fits in size - 1 characters. labelId is a string resource.
void AppendTagField(char* text, char* value, int32_t labelId, int32_t size, bool isFirst);

// Fills text (size bytes) as the host's file-info query does for an open
// stream; returns the track number to report (-1 without a tag).
// fieldFlags selects title, artist, album, year, comment, genre.
int32_t BuildFileInfo(char* text, int32_t size, bool wantFormat, const int32_t* fieldFlags,
                      const char* formatDescription, Id3v1Tag* tag);

}  // namespace vexa
