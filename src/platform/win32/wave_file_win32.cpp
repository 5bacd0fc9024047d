// RIFF files on Windows through the mmio calls.
#include <windows.h>
#include <mmsystem.h>

#include "platform/wave_file.h"

namespace vexa::platform {

namespace {
HMMIO Handle(RiffFile* file) { return reinterpret_cast<HMMIO>(file); }
MMCKINFO ToSystem(const RiffChunk& chunk) {
    MMCKINFO info{};
    info.ckid = chunk.id;
    info.cksize = chunk.size;
    info.fccType = chunk.formType;
    info.dwDataOffset = chunk.dataOffset;
    info.dwFlags = chunk.flags;
    return info;
}
void FromSystem(const MMCKINFO& info, RiffChunk& chunk) {
    chunk.id = info.ckid;
    chunk.size = info.cksize;
    chunk.formType = info.fccType;
    chunk.dataOffset = info.dwDataOffset;
    chunk.flags = info.dwFlags;
}
}  // namespace

RiffFile* RiffCreate(const char* path) {
    return reinterpret_cast<RiffFile*>(mmioOpenA(const_cast<char*>(path), nullptr, MMIO_CREATE | MMIO_READWRITE));
}

bool RiffCreateChunk(RiffFile* file, RiffChunk& chunk, bool outer) {
    MMCKINFO info = ToSystem(chunk);
    const bool ok = mmioCreateChunk(Handle(file), &info, outer ? MMIO_CREATERIFF : 0) == MMSYSERR_NOERROR;
    FromSystem(info, chunk);
    return ok;
}

int32_t RiffWrite(RiffFile* file, const void* bytes, int32_t count) {
    return mmioWrite(Handle(file), static_cast<const char*>(bytes), count);
}

bool RiffAscend(RiffFile* file, RiffChunk& chunk) {
    MMCKINFO info = ToSystem(chunk);
    const bool ok = mmioAscend(Handle(file), &info, 0) == MMSYSERR_NOERROR;
    FromSystem(info, chunk);
    return ok;
}

void RiffClose(RiffFile* file) {
    if (file != nullptr) mmioClose(Handle(file), 0);
}

}  // namespace vexa::platform
