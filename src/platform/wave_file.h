// RIFF files written chunk by chunk, following the system's mmio model one
// call for one call so that the recorder (src/output) decides the layout:
//   Win32: mmioOpenA (MMIO_CREATE | MMIO_READWRITE), mmioCreateChunk
//          (MMIO_CREATERIFF for the outer chunk), mmioWrite, mmioAscend,
//          mmioClose.
//   POSIX: a file written through the platform's file calls, with the chunk
//          sizes patched in by RiffAscend.
//
// Threads: one file is used by one thread at a time (created in the stream
// open, appended to by the playback thread, closed by whoever closes the
// output).
#pragma once

#include <cstdint>

namespace vexa::platform {

// A four-character code as the system packs it: 'a' | 'b' << 8 | ...
constexpr uint32_t FourCc(char a, char b, char c, char d) {
    return static_cast<uint32_t>(static_cast<uint8_t>(a)) | static_cast<uint32_t>(static_cast<uint8_t>(b)) << 8 |
           static_cast<uint32_t>(static_cast<uint8_t>(c)) << 16 | static_cast<uint32_t>(static_cast<uint8_t>(d)) << 24;
}

// A chunk descriptor, field for field an MMCKINFO.
struct RiffChunk {
    uint32_t id;          // chunk id ("RIFF", "fmt ", "data")
    uint32_t size;        // data size; filled in by RiffAscend when it was written as 0
    uint32_t formType;    // form type of a RIFF chunk ("WAVE")
    uint32_t dataOffset;  // file offset of the chunk's data (set by RiffCreateChunk)
    uint32_t flags;       // system use
};

struct RiffFile;

// Creates (or truncates) the file; nullptr on failure.
RiffFile* RiffCreate(const char* path);
// Writes the chunk's header at the current position and enters the chunk.
// outer: a RIFF chunk with formType (MMIO_CREATERIFF). false on failure.
bool RiffCreateChunk(RiffFile* file, RiffChunk& chunk, bool outer);
// Appends bytes inside the current chunk; the count written, or -1.
int32_t RiffWrite(RiffFile* file, const void* bytes, int32_t count);
// Leaves the chunk: fixes its size when it differs from what was written and
// pads the data to an even length. false on failure.
bool RiffAscend(RiffFile* file, RiffChunk& chunk);
void RiffClose(RiffFile* file);

}  // namespace vexa::platform
