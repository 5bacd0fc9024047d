#include "engine/prefetch_source.h"

#include <cstring>
#include <new>

#include "platform/http.h"

namespace vexa {

PrefetchState g_prefetch;

namespace {

constexpr uint32_t kReaderEndedOk = 1;
constexpr uint32_t kReaderFailed = 2;
constexpr uint32_t kReaderNoMemory = 0;

uint8_t* AllocateBuffer() {
    if (platform::TakeFault(platform::Fault::Allocation)) return nullptr;
    return new (std::nothrow) uint8_t[kPrefetchBytes];
}

// Moves the unconsumed bytes to the start of the buffer; returns the free space.
int32_t CompactBuffer() {
    platform::LockGuard hold(g_prefetch.bufferLock);
    const int32_t available = g_prefetch.available;
    std::memmove(g_prefetch.buffer, g_prefetch.buffer + g_prefetch.readOffset, static_cast<size_t>(available));
    g_prefetch.readOffset = 0;
    return kPrefetchBytes - available;
}

void AppendToBuffer(const uint8_t* bytes, int32_t count) {
    platform::LockGuard hold(g_prefetch.bufferLock);
    std::memcpy(g_prefetch.buffer + g_prefetch.readOffset + g_prefetch.available, bytes, static_cast<size_t>(count));
    g_prefetch.available += count;
}

enum class Refill { Appended, EndOfData, Failed };

// One compact-read-append cycle, under the source lock.
Refill RefillOnce(EngineRecord& engine, uint8_t* transfer) {
    platform::LockGuard holdSource(g_prefetch.sourceLock);
    const int32_t room = CompactBuffer();
    uint32_t got = 0;
    if (engine.isHttp) {
        if (!platform::HttpRead(engine.netUrl, transfer, static_cast<uint32_t>(room), &got)) return Refill::Failed;
    } else {
        const platform::ReadResult result =
            platform::FileRead(engine.fileHandle, transfer, static_cast<uint32_t>(room), &got);
        if (result == platform::ReadResult::EndOfFile) return Refill::EndOfData;
        if (result == platform::ReadResult::Error) return Refill::Failed;
    }
    if (got == 0) return Refill::EndOfData;
    if (engine.isHttp && engine.saveFile != nullptr) platform::FileWrite(engine.saveFile, transfer, got);
    AppendToBuffer(transfer, static_cast<int32_t>(got));
    return Refill::Appended;
}

// Reads once per wake-up while the buffer is below its threshold.
uint32_t ReaderThread(void* argument) {
    EngineRecord& engine = *static_cast<EngineRecord*>(argument);
    uint8_t* transfer = AllocateBuffer();
    if (transfer == nullptr) return kReaderNoMemory;
    const int32_t threshold = engine.isHttp ? kHttpRefillThreshold : kFileRefillThreshold;
    for (;;) {
        platform::EventWait(g_prefetch.wake, platform::kWaitForever);
        if (g_prefetch.quit) break;
        if (g_prefetch.available >= threshold) continue;
        const Refill refill = RefillOnce(engine, transfer);
        if (refill == Refill::EndOfData) g_prefetch.eof = 1;
        if (refill == Refill::Failed) {
            delete[] transfer;
            platform::EventSignal(g_prefetch.arrived);
            return kReaderFailed;
        }
        platform::EventSignal(g_prefetch.arrived);
    }
    delete[] transfer;
    return kReaderEndedOk;
}

}  // namespace

int32_t OpenFileSource(EngineRecord& engine, const char* sourceName, Id3v1Tag& tag) {
    engine.fileHandle = platform::FileOpenShared(sourceName);
    if (engine.fileHandle == nullptr) return kErrInput;
    engine.dataSize = platform::FileSize(engine.fileHandle);
    ClearTag(tag);
    bool tagPresent = false;
    uint8_t trailer[128];
    uint32_t got = 0;
    if (platform::FileSeekFromEnd(engine.fileHandle, 128) &&
        platform::FileRead(engine.fileHandle, trailer, 3, &got) == platform::ReadResult::Ok && got == 3 &&
        IsTagMarker(trailer) &&
        platform::FileRead(engine.fileHandle, trailer + 3, 125, &got) == platform::ReadResult::Ok && got == 125) {
        FillTag(tag, trailer);
        tagPresent = true;
    }
    platform::FileSeek(engine.fileHandle, 0);
    engine.hasId3v1 = tagPresent ? 1 : 0;
    if (tagPresent) engine.dataSize -= 128;
    return 1;
}

void CloseFileSource(EngineRecord& engine) {
    if (engine.fileHandle == nullptr) return;
    platform::FileClose(engine.fileHandle);
    engine.fileHandle = nullptr;
}

int32_t StartPrefetch(EngineRecord& engine) {
    g_prefetch.buffer = AllocateBuffer();
    if (g_prefetch.buffer == nullptr) return 0;
    g_prefetch.readOffset = 0;
    g_prefetch.available = 0;
    g_prefetch.quit = 0;
    g_prefetch.eof = 0;
    g_prefetch.wake = platform::EventCreate();
    g_prefetch.arrived = platform::EventCreate();
    if (g_prefetch.wake == nullptr || g_prefetch.arrived == nullptr) return 0;
    g_prefetch.bufferLock = platform::LockCreate();
    g_prefetch.sourceLock = platform::LockCreate();
    if (g_prefetch.bufferLock == nullptr || g_prefetch.sourceLock == nullptr) return 0;
    g_prefetch.reader = platform::ThreadStart(ReaderThread, &engine);
    return g_prefetch.reader != nullptr ? 1 : 0;
}

void StopPrefetch(EngineRecord& engine) {
    if (g_prefetch.reader != nullptr) {
        if (platform::ThreadIsRunning(g_prefetch.reader)) {
            g_prefetch.quit = 1;
            platform::EventSignal(g_prefetch.wake);
            platform::ThreadWait(g_prefetch.reader, kReaderStopWaitMs);
        }
        // A reader still blocked in a read ends by itself once the read
        // returns; the handle is released either way.
        platform::ThreadClose(g_prefetch.reader);
        g_prefetch.reader = nullptr;
    }
    platform::EventClose(g_prefetch.wake);
    platform::EventClose(g_prefetch.arrived);
    g_prefetch.wake = nullptr;
    g_prefetch.arrived = nullptr;
    platform::LockDelete(g_prefetch.bufferLock);
    platform::LockDelete(g_prefetch.sourceLock);
    g_prefetch.bufferLock = nullptr;
    g_prefetch.sourceLock = nullptr;
    delete[] g_prefetch.buffer;
    g_prefetch.buffer = nullptr;
    if (engine.saveFile != nullptr) {
        platform::FileClose(engine.saveFile);
        engine.saveFile = nullptr;
    }
    ClearPrefetch();
}

int32_t SourceRead(EngineRecord&, uint8_t* destination, int32_t count, bool peek) {
    if (g_prefetch.buffer == nullptr || count < 0 || count > kPrefetchBytes) return 0;
    platform::EventSignal(g_prefetch.wake);
    while (g_prefetch.available < count) {
        platform::EventWait(g_prefetch.arrived, kReadPollMs);
        const bool readerGone = !platform::ThreadIsRunning(g_prefetch.reader);
        if (readerGone || g_prefetch.eof) {
            if (g_prefetch.available < count) return 0;
            break;
        }
    }
    platform::LockGuard hold(g_prefetch.bufferLock);
    std::memcpy(destination, g_prefetch.buffer + g_prefetch.readOffset, static_cast<size_t>(count));
    if (!peek) {
        g_prefetch.readOffset += count;
        g_prefetch.available -= count;
    }
    return count;
}

int32_t SourceReposition(EngineRecord& engine, uint32_t position) {
    if (engine.isHttp) return 0;
    return platform::FileSeek(engine.fileHandle, position) ? 1 : 0;
}

void ClearPrefetch() {
    g_prefetch.readOffset = 0;
    g_prefetch.available = 0;
    g_prefetch.eof = 0;
}

void SourceLockEnter() { platform::LockEnter(g_prefetch.sourceLock); }
void SourceLockLeave() { platform::LockLeave(g_prefetch.sourceLock); }

}  // namespace vexa
