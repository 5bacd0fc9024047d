#include "engine/prefetch_source.h"

#include <cstring>
#include <new>

#include "platform/http.h"

namespace vexa {

PrefetchState* g_prefetch = nullptr;

namespace {

constexpr uint32_t kReaderNoMemory = 0;
constexpr uint32_t kReaderEndedOk = 1;
constexpr uint32_t kReaderFailed = 2;

// Ownership of a PrefetchState once it has a reader thread: the stop frees it
// when the reader has ended, else marks it orphaned and the reader frees it
// on its way out. The exchange decides the race between the two.
enum PrefetchOwner : int32_t { kOwnedByEngine = 0, kReaderDone = 1, kOrphaned = 2 };

uint8_t* AllocateBuffer() {
    if (platform::TakeFault(platform::Fault::Allocation)) return nullptr;
    return new (std::nothrow) uint8_t[kPrefetchBytes];
}

void FreeMachinery(PrefetchState* state) {
    platform::FileClose(state->fileToClose);
    platform::EventClose(state->wake);
    platform::EventClose(state->arrived);
    platform::LockDelete(state->bufferLock);
    platform::LockDelete(state->sourceLock);
    delete[] state->buffer;
    delete state;
}

// Moves the unconsumed bytes to the start of the buffer; returns the free space.
int32_t CompactBuffer(PrefetchState& state) {
    platform::LockGuard hold(state.bufferLock);
    const int32_t available = state.available;
    std::memmove(state.buffer, state.buffer + state.readOffset, static_cast<size_t>(available));
    state.readOffset = 0;
    return kPrefetchBytes - available;
}

void AppendToBuffer(PrefetchState& state, const uint8_t* bytes, int32_t count) {
    platform::LockGuard hold(state.bufferLock);
    std::memcpy(state.buffer + state.readOffset + state.available, bytes, static_cast<size_t>(count));
    state.available += count;
}

enum class Refill { Appended, EndOfData, Failed, Quit };

// One compact-read-append cycle, under the source lock.
Refill RefillOnce(PrefetchState& state, uint8_t* transfer) {
    EngineRecord& engine = *state.engine;
    platform::LockGuard holdSource(state.sourceLock);
    const int32_t room = CompactBuffer(state);
    uint32_t got = 0;
    if (engine.isHttp) {
        if (!platform::HttpRead(static_cast<platform::HttpRequest*>(engine.netUrl.load()), transfer, static_cast<uint32_t>(room), &got)) return Refill::Failed;
    } else {
        // The end of the file, however the system reports it, is got == 0.
        const platform::ReadResult result =
            platform::FileRead(engine.fileHandle, transfer, static_cast<uint32_t>(room), &got);
        if (result == platform::ReadResult::Error) return Refill::Failed;
        if (result == platform::ReadResult::EndOfFile) got = 0;
    }
    // A stop that gave up waiting may have closed the save file meanwhile.
    if (state.quit) return Refill::Quit;
    if (got == 0) {
        // Still under the source lock, so a seek that clears the flag
        // cannot slip in between the end and its mark.
        state.eof = 1;
        return Refill::EndOfData;
    }
    if (engine.isHttp && engine.saveFile != nullptr) platform::FileWrite(engine.saveFile, transfer, got);
    AppendToBuffer(state, transfer, static_cast<int32_t>(got));
    return Refill::Appended;
}

// Reads once per wake-up while the buffer is below its threshold.
uint32_t ReadUntilQuit(PrefetchState& state, uint8_t* transfer) {
    for (;;) {
        // Cleared only now that a refill is over: the reads made while it ran
        // see the bytes it brings and need not wake the reader for another.
        state.wakePending = 0;
        platform::EventWait(state.wake, platform::kWaitForever);
        if (state.quit) return kReaderEndedOk;
        // The source is chosen after the reader starts: look at it only
        // once a read request has woken the reader.
        const int32_t threshold = state.engine->isHttp ? kHttpRefillThreshold : kFileRefillThreshold;
        if (state.available >= threshold && state.available >= state.wanted) continue;
        const Refill refill = RefillOnce(state, transfer);
        if (refill == Refill::Quit) return kReaderEndedOk;
        if (refill == Refill::Failed) return kReaderFailed;
        if (state.readWaiting) platform::EventSignal(state.arrived);
    }
}

uint32_t ReaderThread(void* argument) {
    PrefetchState& state = *static_cast<PrefetchState*>(argument);
    uint8_t* transfer = AllocateBuffer();
    uint32_t result = kReaderNoMemory;
    if (transfer != nullptr) {
        result = ReadUntilQuit(state, transfer);
        delete[] transfer;
    }
    platform::EventSignal(state.arrived);
    if (state.owner.exchange(kReaderDone) == kOrphaned) {
        platform::ThreadClose(state.reader);
        FreeMachinery(&state);
    }
    return result;
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
    platform::FileClose(engine.fileHandle.exchange(nullptr));
}

int32_t StartPrefetch(EngineRecord& engine) {
    auto* state = new (std::nothrow) PrefetchState;
    if (state == nullptr) return 0;
    g_prefetch = state;
    state->engine = &engine;
    state->buffer = AllocateBuffer();
    state->wake = platform::EventCreate();
    state->arrived = platform::EventCreate();
    state->bufferLock = platform::LockCreate();
    state->sourceLock = platform::LockCreate();
    if (state->buffer == nullptr || state->wake == nullptr || state->arrived == nullptr ||
        state->bufferLock == nullptr || state->sourceLock == nullptr)
        return 0;
    state->reader = platform::ThreadStart(ReaderThread, state);
    return state->reader != nullptr ? 1 : 0;
}

void StopPrefetch(EngineRecord& engine) {
    PrefetchState* state = g_prefetch;
    g_prefetch = nullptr;
    if (state != nullptr) {
        bool readerEnded = true;
        if (state->reader != nullptr) {
            state->quit = 1;
            platform::EventSignal(state->wake);
            platform::ThreadWait(state->reader, kReaderStopWaitMs);
            // Hand the file over before the exchange: once orphaned, the
            // state belongs to the reader and may be gone at any moment.
            state->fileToClose = engine.fileHandle;
            readerEnded = state->owner.exchange(kOrphaned) == kReaderDone;
            if (readerEnded) {
                state->fileToClose = nullptr;
                platform::ThreadClose(state->reader);
            } else {
                engine.fileHandle = nullptr;
            }
        }
        if (readerEnded) FreeMachinery(state);
    }
    if (engine.saveFile != nullptr) {
        platform::FileClose(engine.saveFile);
        engine.saveFile = nullptr;
    }
}

namespace {

// Wakes the reader unless a wake is already on its way. The reader refills
// only below its threshold, so a read wakes it once the bytes it took have
// left the buffer below it, or when the buffer cannot serve it at all; waking
// it for every frame would cost a thread switch per frame.
void WakeReader(PrefetchState& state) {
    if (state.wakePending.exchange(1) == 0) platform::EventSignal(state.wake);
}

bool BelowRefillThreshold(const EngineRecord& engine, const PrefetchState& state) {
    return state.available < (engine.isHttp ? kHttpRefillThreshold : kFileRefillThreshold);
}

// Until the buffer holds count bytes (true) or the data cannot come (false).
bool WaitForBytes(PrefetchState& state, int32_t count) {
    while (state.available < count) {
        // Looked at before every wait: the reader marks the end of the data
        // without bringing bytes, possibly before this read marked itself
        // waiting, and then nothing would end the wait before its poll ran
        // out. A stop in progress ends the wait as if the data had ended, so
        // the playback thread is never held up by a stalled source.
        if (state.eof || g_globals.stopping || !platform::ThreadIsRunning(state.reader))
            return state.available >= count;
        platform::EventWait(state.arrived, kReadPollMs);
        // Waking the reader again on every pass lets a source that delivers
        // in small pieces, like a slow HTTP server, fill the request over
        // several reads instead of stalling it.
        platform::EventSignal(state.wake);
    }
    return true;
}

}  // namespace

int32_t SourceRead(EngineRecord& engine, uint8_t* destination, int32_t count, bool peek) {
    PrefetchState* state = g_prefetch;
    if (state == nullptr || state->buffer == nullptr || count < 0 || count > kPrefetchBytes) return 0;
    // A stop ends every read at once, even one the buffer could serve: the
    // frame reader may be crossing megabytes of junk byte by byte, and this
    // is where it would notice.
    if (g_globals.stopping) return 0;
    state->wanted = count;
    if (state->available < count) WakeReader(*state);
    // Marked before available is looked at, and the reader looks at the
    // mark after adding bytes: one of the two sees the other.
    state->readWaiting = 1;
    const bool delivered = WaitForBytes(*state, count);
    state->readWaiting = 0;
    if (!delivered) return 0;
    {
        platform::LockGuard hold(state->bufferLock);
        std::memcpy(destination, state->buffer + state->readOffset, static_cast<size_t>(count));
        if (!peek) {
            state->readOffset += count;
            state->available -= count;
        }
    }
    if (BelowRefillThreshold(engine, *state)) WakeReader(*state);
    return count;
}

int32_t SourceReposition(EngineRecord& engine, uint32_t position) {
    if (engine.isHttp) return 0;
    return platform::FileSeek(engine.fileHandle, position) ? 1 : 0;
}

void ClearPrefetch() {
    PrefetchState* state = g_prefetch;
    if (state == nullptr) return;
    state->readOffset = 0;
    state->available = 0;
    state->eof = 0;
}

void SourceLockEnter() {
    if (g_prefetch != nullptr) platform::LockEnter(g_prefetch->sourceLock);
}
void SourceLockLeave() {
    if (g_prefetch != nullptr) platform::LockLeave(g_prefetch->sourceLock);
}

}  // namespace vexa
