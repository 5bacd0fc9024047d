// RIFF files on POSIX: chunk headers written in place, sizes patched in when
// a chunk is left, exactly as the system's mmio calls lay a file out.
#include <cstdio>
#include <new>

#include "platform/wave_file.h"

namespace vexa::platform {

struct RiffFile {
    std::FILE* stream;
};

namespace {
bool PutWord(std::FILE* stream, uint32_t value) {
    const uint8_t bytes[4] = {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8),
                              static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 24)};
    return std::fwrite(bytes, 1, 4, stream) == 4;
}
long Tell(std::FILE* stream) { return std::ftell(stream); }
}  // namespace

RiffFile* RiffCreate(const char* path) {
    if (path == nullptr || path[0] == '\0') return nullptr;
    std::FILE* stream = std::fopen(path, "w+b");
    if (stream == nullptr) return nullptr;
    auto* file = new (std::nothrow) RiffFile{stream};
    if (file == nullptr) std::fclose(stream);
    return file;
}

bool RiffCreateChunk(RiffFile* file, RiffChunk& chunk, bool outer) {
    if (file == nullptr) return false;
    if (outer) chunk.id = FourCc('R', 'I', 'F', 'F');
    if (!PutWord(file->stream, chunk.id) || !PutWord(file->stream, chunk.size)) return false;
    if (outer && !PutWord(file->stream, chunk.formType)) return false;
    const long offset = Tell(file->stream);
    if (offset < 0) return false;
    // The data of a RIFF chunk starts at its form type, as the system counts it.
    chunk.dataOffset = static_cast<uint32_t>(outer ? offset - 4 : offset);
    chunk.flags = 1;  // size to be fixed when the chunk is left
    return true;
}

int32_t RiffWrite(RiffFile* file, const void* bytes, int32_t count) {
    if (file == nullptr || count < 0) return -1;
    return static_cast<int32_t>(std::fwrite(bytes, 1, static_cast<size_t>(count), file->stream));
}

bool RiffAscend(RiffFile* file, RiffChunk& chunk) {
    if (file == nullptr) return false;
    const long end = Tell(file->stream);
    if (end < 0) return false;
    const uint32_t size = static_cast<uint32_t>(end) - chunk.dataOffset;
    if (size & 1) {  // chunks are padded to an even length
        if (std::fputc(0, file->stream) == EOF) return false;
    }
    if (size != chunk.size) {
        if (std::fseek(file->stream, static_cast<long>(chunk.dataOffset) - 4, SEEK_SET) != 0) return false;
        if (!PutWord(file->stream, size)) return false;
        chunk.size = size;
    }
    return std::fseek(file->stream, 0, SEEK_END) == 0;
}

void RiffClose(RiffFile* file) {
    if (file == nullptr) return;
    std::fclose(file->stream);
    delete file;
}

}  // namespace vexa::platform
