// The file-information line of a tagged file, with the field labels in the
// user's interface language and the tag's track number.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "vexaengine.h"
#include "windows/host_checks.h"
#include "windows/scenarios.h"

namespace vexahost {
namespace {

// A conformance vector with an ID3v1.1 trailer: title "Song", artist "Band"
// padded with blanks, empty album, year 2001, comment "note", track 5,
// genre 17 ("Rock").
bool WriteTaggedCopy(const std::string& source, const std::string& destination) {
    FILE* in = std::fopen(source.c_str(), "rb");
    if (in == nullptr) return false;
    std::vector<unsigned char> bytes;
    unsigned char chunk[65536];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, in)) > 0) bytes.insert(bytes.end(), chunk, chunk + got);
    std::fclose(in);
    unsigned char tag[128] = {};
    std::memcpy(tag, "TAG", 3);
    std::memcpy(tag + 3, "Song", 4);
    std::memcpy(tag + 33, "Band                          ", 30);
    std::memcpy(tag + 93, "2001", 4);
    std::memcpy(tag + 97, "note", 4);
    tag[126] = 5;
    tag[127] = 17;
    bytes.insert(bytes.end(), tag, tag + sizeof tag);
    FILE* out = std::fopen(destination.c_str(), "wb");
    if (out == nullptr) return false;
    const bool written = std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
    return std::fclose(out) == 0 && written;
}

std::string Labelled(int id, int language, const char* value) {
    return ExpectedAnsiText(id, language) + " : " + value;
}

}  // namespace

void RunFileInfoChecks(Engine& engine, const HostOptions& options) {
    const std::string tagged = JoinPath(options.workDir, "tagged.mp2");
    if (!Check(WriteTaggedCopy(JoinPath(options.vectorsDir, "l2-fl10.bit"), tagged), "file info: tagged copy written"))
        return;
    RestoreDefaults(engine);
    engine.Call(SetOutputOptions, 1, 16, 1, 0);  // record only: no device needed
    if (!CheckEqual(PlayFile(engine, tagged, options.workDir, 1), 1, "file info: Play of the tagged file")) return;

    const int language = CarriedInterfaceLanguage();
    // Every field but the comment; the empty album is left out with its label.
    const std::string fields = Labelled(2072, language, "Song") + ", " + Labelled(2024, language, "Band") + ", " +
                               Labelled(2073, language, "2001") + ", " + Labelled(2075, language, "Rock");
    int32_t flags[6] = {1, 1, 1, 1, 0, 1};
    char text[512] = {};
    int32_t track = 0;
    const int32_t result = engine.Call(GetFileInfo, text, 512, &track, 0, flags);
    char name[96];
    std::snprintf(name, sizeof name, "file info: labelled fields in language %d", language);
    Check(result == 1 && fields == text, name, "got \"%s\", expected \"%s\"", text, fields.c_str());
    CheckEqual(track, 5, "file info: ID3v1.1 track number");

    CheckEqual(engine.Call(GetFileInfo, text, 512, &track, 1, flags), 1, "file info: with the format description");
    const std::string line = text;
    const std::string tail = "        " + fields;
    Check(line.size() > tail.size() && line.compare(line.size() - tail.size(), tail.size(), tail) == 0,
          "file info: description, eight spaces, then the fields", "got \"%s\"", text);
    WaitForMode(engine, VEXA_MODE_ENDED, 60000);
    engine.Call(Stop);
    RestoreDefaults(engine);
}

}  // namespace vexahost
