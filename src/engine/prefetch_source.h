// The prefetching input: a 16384-byte read-ahead buffer that a reader thread
// keeps filled from the open file (or HTTP request), so the playback thread
// never waits on the disk or the network for single frames.
//
// Locks: the source lock (held by the reader for a whole compact-read-append
// cycle and by a seek while it repositions) is always taken before the buffer
// lock (held only while bytes are moved).
#pragma once

#include <atomic>
#include <cstdint>

#include "engine/engine_record.h"
#include "platform/platform.h"
#include "stream/byte_source.h"
#include "stream/id3v1_tag.h"

namespace vexa {

constexpr int32_t kPrefetchBytes = 16384;
constexpr int32_t kFileRefillThreshold = 8192;
constexpr int32_t kHttpRefillThreshold = 15360;
constexpr uint32_t kReaderStopWaitMs = 1000;
constexpr uint32_t kReadPollMs = 50;

// One set of prefetch machinery, made by StartPrefetch. Normally StopPrefetch
// frees it after the reader thread has ended; a reader still blocked in a
// read after the stop's wait keeps its machinery and frees it itself when the
// read returns, so nothing is freed under a running thread.
struct PrefetchState {
    EngineRecord* engine = nullptr;
    uint8_t* buffer = nullptr;
    std::atomic<int32_t> readOffset{0};
    std::atomic<int32_t> available{0};
    platform::Event* wake = nullptr;
    // Set by the read that signals wake, cleared by the reader before it
    // waits again: the reads between the two need not signal (on Windows
    // every signal is a round trip through the system, even to a set event).
    std::atomic<int32_t> wakePending{0};
    // Signalled by the reader after a refill while a read waits, and when it
    // stops, so a waiting read need not sleep out its whole poll interval.
    platform::Event* arrived = nullptr;
    // Set while a read may wait for arrived; refills signal only then (on
    // Windows every signal is a system call, even with nobody waiting).
    std::atomic<int32_t> readWaiting{0};
    std::atomic<int32_t> quit{0};
    std::atomic<int32_t> eof{0};
    // Bytes the waiting read needs: the reader also refills above its
    // threshold when a request is larger than what the buffer holds.
    std::atomic<int32_t> wanted{0};
    platform::Lock* bufferLock = nullptr;
    platform::Lock* sourceLock = nullptr;
    platform::Thread* reader = nullptr;
    // Who frees the machinery: see PrefetchOwner in prefetch_source.cpp.
    std::atomic<int32_t> owner{0};
    // The input file, handed to a reader that the stop left behind so that
    // it is closed only after the reader's last read.
    platform::File* fileToClose = nullptr;
};

// The machinery of the current stream, or nullptr.
extern PrefetchState* g_prefetch;

// Opens a local file, reads its ID3v1 trailer into the tag record and sets
// dataSize and hasId3v1. 1, or kErrInput when the file cannot be opened.
int32_t OpenFileSource(EngineRecord& engine, const char* sourceName, Id3v1Tag& tag);
void CloseFileSource(EngineRecord& engine);

// 1 when buffer, event, locks and reader thread exist; 0 on any failure
// (StopPrefetch frees what was made).
int32_t StartPrefetch(EngineRecord& engine);
void StopPrefetch(EngineRecord& engine);

// count bytes into destination (left in the buffer with peek), or 0.
int32_t SourceRead(EngineRecord& engine, uint8_t* destination, int32_t count, bool peek);
// Moves the file to a byte position; call with the source lock held.
int32_t SourceReposition(EngineRecord& engine, uint32_t position);
void ClearPrefetch();
void SourceLockEnter();
void SourceLockLeave();

// The frame reader's view of the prefetching source.
class PrefetchSource final : public ByteSource {
public:
    explicit PrefetchSource(EngineRecord& engine) : engine_(engine) {}
    int32_t Read(uint8_t* destination, int32_t count, bool peek) override {
        return SourceRead(engine_, destination, count, peek);
    }

private:
    EngineRecord& engine_;
};

}  // namespace vexa
