// The engine record: all state and settings of the one engine in the process,
// and the few global items that live beside it. Every exported function acts
// on these; the playback, connect and reader threads receive the record's
// address.
//
// Values that one thread writes and another reads without the engine lock
// (run flags, mode, positions, effect settings) are atomics: the engine relies
// on plain 32-bit stores and loads, and atomics say so to the compiler and to
// the thread sanitizer without changing the protocol.
#pragma once

#include <atomic>
#include <cstdint>

#include "dsp/effect_settings.h"
#include "engine/result_codes.h"
#include "platform/platform.h"

namespace vexa {

constexpr int32_t kTextCapacity = 256;  // 255 characters and a NUL
constexpr int32_t kDefaultOutputScale = 30000;
constexpr int32_t kLevelScanStartScale = 128000;

struct EngineRecord {
    int32_t sampleRate;       // output rate in Hz: stream rate >> quality
    int32_t channels;         // output channels, 1 or 2
    int32_t bytesPerSample;   // 1 (8-bit) or 2
    std::atomic<int32_t> outputScale;  // gain given to BuildWindowTables
    int32_t levelScanRequested;
    int32_t levelScanPending;  // the output measures instead of playing while set
    void* hostWindow;
    char sourceName[kTextCapacity];
    char recordFolder[kTextCapacity];
    char streamSaveFolder[kTextCapacity];
    int32_t recordAutoName;
    // nullptr is the invalid handle. Atomic because a reader thread that a
    // stop had to leave behind still holds it while the host forgets it.
    std::atomic<platform::File*> fileHandle;
    uint32_t dataSize;        // MPEG data bytes: file size less an ID3v1 trailer, or HTTP length
    // The setters write these on a host thread while another host thread
    // may be opening a stream that reads them.
    std::atomic<int32_t> channelSelect;  // -1 stereo, 3 mixed to one channel
    std::atomic<int32_t> quality;        // 0..2
    std::atomic<int32_t> eightBit;
    std::atomic<int32_t> stopRequest;
    std::atomic<int32_t> endReached;
    std::atomic<int32_t> paused;
    std::atomic<int32_t> pauseChanged;
    double frameMs;
    int32_t frameCount;
    std::atomic<double> lengthMs;  // read by GetLength and Seek on any host thread
    std::atomic<int32_t> seekRequest;
    // The playback thread's own, for a seek's pre-roll, which holds the
    // engine lock: whether one runs, how long it has waited for the device,
    // and whether it gave up waiting.
    struct {
        bool running;
        uint32_t waitedMs;
        bool gaveUp;
    } seekPreRoll;
    std::atomic<float> seekPercent;
    std::atomic<int32_t> seekBaseMs;
    std::atomic<int32_t> decodePosMs;
    EffectSettings effects;
    // The host asks the playback thread to rebuild the synthesis windows
    // (effect change), so that only one thread ever writes the tables.
    std::atomic<int32_t> windowRebuildPending;
    int32_t isLayer3;
    int32_t hasId3v1;
    int32_t recordMode;       // 0 play, 1 record only, 2 play and record
    std::atomic<int32_t> blockCount;
    std::atomic<int32_t> threadPriority;
    int32_t engineKind;       // 0 single, 1 double, 2 fixed, 3 mixed
    platform::Lock* engineLock;
    // Signalled after every stop, pause, resume or seek request, so that a
    // playback thread waiting for its device or idling wakes at once.
    platform::Event* requestEvent;
    int32_t isHttp;
    // HTTP session and request (platform-owned); made by the connect thread,
    // closed by the cleanup on the host's thread.
    std::atomic<void*> netSession;
    std::atomic<void*> netUrl;
    int32_t saveStream;
    platform::File* saveFile;
};

// The global items outside the record.
struct EngineGlobals {
    std::atomic<int32_t> mode{kModeClosed};
    // Setters write these on any host thread; Play copies them on its own.
    std::atomic<int32_t> notificationId{0};
    std::atomic<int32_t> pendingEngine{0};
    std::atomic<int32_t> pendingLevelScanRequest{0};
    std::atomic<int32_t> pendingOutputScale{kDefaultOutputScale};
    std::atomic<int32_t> pendingRecordMode{0};
    std::atomic<int32_t> pendingSaveStream{0};
    // Started by Play or, for an HTTP stream, by the connect thread; set and
    // cleared under the engine lock, so that a setter on another host thread
    // never looks at a handle being closed.
    std::atomic<platform::Thread*> playbackThread{nullptr};
    platform::Thread* connectThread = nullptr;
    std::atomic<int32_t> stopping{0};
};

extern EngineRecord g_engine;
extern EngineGlobals g_globals;

// Sets every field of the record to its load-time default (the lock is left
// alone: the entry point creates it).
void ResetEngineRecordToDefaults(EngineRecord& engine);

// Copies a possibly unterminated or over-long text into a 256-byte field,
// always NUL-terminated (at most 255 characters are kept).
void CopyText(char* destination, const char* source);

}  // namespace vexa
