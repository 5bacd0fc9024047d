// The nineteen exported functions. They run on the host's thread(s), act on
// the one engine record, and never throw. Mode and settings are atomic
// 32-bit values written without a lock (any host thread may call a setter
// while another plays); run flags change under the engine lock, and every
// request then wakes the playback thread.
#include <cmath>
#include <cstring>

#include "decoder/decoder.h"
#include "dsp/effect_chain.h"
#include "dsp/spectrum_levels.h"
#include "engine/connect_thread.h"
#include "engine/engine_lifecycle.h"
#include "engine/engine_record.h"
#include "engine/playback_requests.h"
#include "engine/playback_thread.h"
#include "engine/prefetch_source.h"
#include "engine/spectrum_request.h"
#include "engine/stream_description.h"
#include "engine/stream_open.h"
#include "output/wave_output.h"
#include "stream/file_info.h"
#include "stream/frame_reader.h"
#include "vexaengine.h"

namespace vexa {
namespace {

bool IsOpenForPlayback() {
    const int32_t mode = g_globals.mode;
    return mode == kModePlaying || mode == kModePaused;
}

// Moves the mode from an open one to another, unless a Stop on another host
// thread has closed the engine meanwhile: a late Pause or end report must
// not leave a closed engine looking open.
bool MoveOpenMode(int32_t from, int32_t to) { return g_globals.mode.compare_exchange_strong(from, to); }

bool IsUrl(const char* name) { return std::strstr(name, "://") != nullptr; }

void ClearRunFlags(EngineRecord& engine) {
    engine.stopRequest = 0;
    engine.endReached = 0;
    engine.paused = 0;
    engine.pauseChanged = 0;
    engine.seekRequest = 0;
    engine.seekPercent = 0.0f;
    ResetSpectrumDisplayFactor();
}

void CopyPendingSettings(EngineRecord& engine, void* hostWindow, const char* sourceName) {
    engine.engineKind = g_globals.pendingEngine;
    engine.recordMode = g_globals.pendingRecordMode;
    engine.saveStream = g_globals.pendingSaveStream;
    engine.levelScanRequested = g_globals.pendingLevelScanRequest;
    engine.outputScale = g_globals.pendingOutputScale.load();
    engine.levelScanPending = 0;
    engine.hostWindow = hostWindow;
    CopyText(engine.sourceName, sourceName);
}

int32_t OpenLocalFile(EngineRecord& engine) {
    engine.isHttp = 0;
    Id3v1Tag tag{};
    const int32_t opened = OpenFileSource(engine, engine.sourceName, tag);
    if (opened < 1) return opened;
    PublishTag(engine, engine.hasId3v1 ? &tag : nullptr);
    PrefetchSource source(engine);
    const int32_t streamOpened = OpenStream(engine, source);
    if (streamOpened < 1) return streamOpened;
    PublishFormat(engine, g_header);
    return 1;
}

// Writes a record folder back into a caller's 256-byte buffer.
void ReturnFolder(char* callerBuffer, const char* folder) {
    if (callerBuffer != nullptr) CopyText(callerBuffer, folder);
}

// Sets run flags under the engine lock, then wakes the playback thread.
template <typename Change>
void AskPlaybackThread(Change change) {
    {
        platform::LockGuard hold(g_engine.engineLock);
        change(g_engine);
    }
    SignalPlaybackRequest(g_engine);
}

// Play of an address: the connect thread does the rest and reports through
// the notification message.
int32_t StartConnecting(EngineRecord& engine, char* recordFolder, char* streamSaveFolder) {
    engine.isHttp = 1;
    engine.fileHandle = nullptr;
    engine.hasId3v1 = 0;
    engine.dataSize = 0;
    ClearRunFlags(engine);
    // Both before the thread starts: its save dialog may change the folder,
    // and it sets the mode to playing once connected.
    ReturnFolder(recordFolder, engine.recordFolder);
    ReturnFolder(streamSaveFolder, engine.streamSaveFolder);
    g_globals.mode = kModeConnecting;
    g_globals.connectThread = platform::ThreadStart(ConnectThread, &engine);
    if (g_globals.connectThread == nullptr) {
        CleanupEngine();
        return kErrResources;
    }
    return kResultConnecting;
}

}  // namespace

int32_t StartPlaybackThread(EngineRecord& engine) {
    platform::Thread* thread = platform::ThreadStart(PlaybackThread, &engine);
    if (thread == nullptr) return kErrResources;
    if (engine.recordMode != 1) platform::ThreadSetPriority(thread, engine.threadPriority);
    platform::LockGuard hold(engine.engineLock);
    g_globals.playbackThread = thread;
    return 1;
}

}  // namespace vexa

using namespace vexa;

extern "C" {

VEXA_API int32_t VEXA_CALL VexaEngine_Play(void* hostWindow, const char* sourceName, int32_t notificationId,
                                           char* recordFolder, int32_t recordAutoName, char* streamSaveFolder) {
    if (g_globals.mode != kModeClosed) return 0;
    EngineRecord& engine = g_engine;
    g_globals.notificationId = notificationId;
    CopyText(engine.recordFolder, recordFolder);
    CopyText(engine.streamSaveFolder, streamSaveFolder);
    engine.recordAutoName = recordAutoName;
    CleanupEngine();
    if (StartPrefetch(engine) != 1) {
        CleanupEngine();
        return kErrResources;
    }
    CopyPendingSettings(engine, hostWindow, sourceName);
    ClearStreamDescription(engine);
    if (IsUrl(engine.sourceName)) return StartConnecting(engine, recordFolder, streamSaveFolder);
    const int32_t opened = OpenLocalFile(engine);
    if (opened < 1) {
        CleanupEngine();
        return opened;
    }
    ClearRunFlags(engine);
    ReturnFolder(recordFolder, engine.recordFolder);
    ReturnFolder(streamSaveFolder, engine.streamSaveFolder);
    if (StartPlaybackThread(engine) != 1) {
        CleanupEngine();
        return kErrResources;
    }
    g_globals.mode = kModePlaying;
    return 1;
}

VEXA_API int32_t VEXA_CALL VexaEngine_Stop(void) {
    if (g_globals.mode == kModeClosed) return 0;
    CleanupEngine();
    return 1;
}

VEXA_API int32_t VEXA_CALL VexaEngine_Pause(void) {
    if (!MoveOpenMode(kModePlaying, kModePaused)) return 0;
    AskPlaybackThread([](EngineRecord& engine) {
        engine.paused = 1;
        engine.pauseChanged = 1;
    });
    return 1;
}

VEXA_API int32_t VEXA_CALL VexaEngine_Resume(void) {
    if (!MoveOpenMode(kModePaused, kModePlaying)) return 0;
    AskPlaybackThread([](EngineRecord& engine) {
        engine.paused = 0;
        engine.pauseChanged = 1;
    });
    return 1;
}

VEXA_API int32_t VEXA_CALL VexaEngine_Seek(uint32_t positionMs) {
    if (!IsOpenForPlayback()) return 0;
    AskPlaybackThread([positionMs](EngineRecord& engine) {
        if (engine.isHttp) {
            engine.pauseChanged = 1;
            engine.paused = 0;
        } else {
            float percent = static_cast<float>(100.0 / engine.lengthMs * positionMs);
            if (!(percent < 99.0f)) percent = 99.0f;  // also catches not-a-number
            if (percent <= 0.0f) percent = 0.0f;
            engine.seekPercent = percent;
            engine.seekRequest = 1;
            engine.paused = 0;
        }
    });
    MoveOpenMode(kModePaused, kModePlaying);
    return 1;
}

VEXA_API int32_t VEXA_CALL VexaEngine_GetMode(void) {
    // The end is reported only while a stream is open: after Stop the
    // engine is closed whatever the last stream did.
    if (g_engine.endReached && !MoveOpenMode(kModePlaying, kModeEnded)) MoveOpenMode(kModePaused, kModeEnded);
    return g_globals.mode;
}

VEXA_API int32_t VEXA_CALL VexaEngine_IsOpen(void) { return g_globals.mode != kModeClosed ? 1 : 0; }

VEXA_API int32_t VEXA_CALL VexaEngine_GetPosition(void) {
    if (!IsOpenForPlayback()) return 0;
    return Output_GetPosition();
}

VEXA_API int32_t VEXA_CALL VexaEngine_GetLength(void) {
    if (!IsOpenForPlayback()) return 0;
    return static_cast<int32_t>(g_engine.lengthMs + 0.5);
}

VEXA_API int32_t VEXA_CALL VexaEngine_GetFileInfo(char* text, int32_t textSize, int32_t* trackNumber,
                                                  int32_t wantFormat, int32_t* fieldFlags) {
    if (text != nullptr && textSize > 0) text[0] = '\0';
    StreamDescription description;
    if (!CopyStreamDescription(g_engine, description)) return 0;
    // A host that passes no buffer still learns the track number.
    char scratch[1] = {'\0'};
    const bool hasBuffer = text != nullptr && textSize > 0;
    const int32_t track = BuildFileInfo(hasBuffer ? text : scratch, hasBuffer ? textSize : 1, wantFormat != 0,
                                        fieldFlags, description.format, description.hasTag ? &description.tag : nullptr);
    if (trackNumber != nullptr) *trackNumber = track;
    return 1;
}

VEXA_API int32_t VEXA_CALL VexaEngine_GetSpectrum(int32_t* bands, int32_t separate) {
    return ReadSpectrum(g_engine, bands, separate);
}

VEXA_API int32_t VEXA_CALL VexaEngine_SetQuality(int32_t quality) {
    g_engine.quality = quality >= 0 && quality <= 2 ? quality : 0;
    return quality;
}

VEXA_API int32_t VEXA_CALL VexaEngine_SetEngine(int32_t engine) {
    g_globals.pendingEngine = engine;
    return engine;
}

VEXA_API int32_t VEXA_CALL VexaEngine_SetScale(int32_t levelScanRequest, int32_t outputScale) {
    g_globals.pendingLevelScanRequest = levelScanRequest;
    g_globals.pendingOutputScale = outputScale;
    return levelScanRequest;
}

VEXA_API int32_t VEXA_CALL VexaEngine_Set8bitResolution(int32_t flag) {
    g_engine.eightBit = flag;
    return flag;
}

VEXA_API int32_t VEXA_CALL VexaEngine_SetChannel(int32_t mixToMono) {
    const int32_t selection = mixToMono != 0 ? 3 : -1;
    g_engine.channelSelect = selection;
    return selection;
}

VEXA_API int32_t VEXA_CALL VexaEngine_SetOutputOptions(int32_t recordMode, int32_t blockCount,
                                                       int32_t threadPriority, int32_t saveStream) {
    g_globals.pendingRecordMode = recordMode;
    g_engine.blockCount = blockCount;
    g_engine.threadPriority = threadPriority;
    g_globals.pendingSaveStream = saveStream;
    return threadPriority;
}

VEXA_API void VEXA_CALL VexaEngine_SetEqualizer(const int32_t* bands) { SetEqualizerSettings(g_engine, bands); }

VEXA_API void VEXA_CALL VexaEngine_SetEffect(int32_t reverbOn, int32_t reverbType, int32_t reverbLevel,
                                             int32_t chorusOn, int32_t chorusLevel, int32_t wideOn,
                                             int32_t wideAmount, int32_t presetOn, int32_t presetNumber) {
    ChangeEffects(g_engine.effects,
                  {reverbOn, reverbType, reverbLevel, chorusOn, chorusLevel, wideOn, wideAmount, presetOn, presetNumber});
    // The windows are rebuilt with the current scale. While a playback thread
    // runs it does the rebuild, between two frames: it may be lowering the
    // scale in a level scan, and must never read a half-built table. Once it
    // has played the stream out it rebuilds nothing more, so the host does.
    // The lock keeps the thread from being started or its end reported
    // while this is decided.
    platform::LockGuard hold(g_engine.engineLock);
    const int32_t mode = g_globals.mode;
    if (mode == kModeClosed) return;
    // While connecting, the thread that opens the stream builds the windows
    // and the playback thread it starts takes the request.
    if ((g_globals.playbackThread != nullptr && !g_engine.endReached) || mode == kModeConnecting) {
        g_engine.windowRebuildPending = 1;
    } else {
        BuildWindowTables(g_engine.outputScale);
    }
}

}  // extern "C"
