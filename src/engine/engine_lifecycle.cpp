#include "engine/engine_lifecycle.h"

#include "dsp/equalizer.h"
#include "engine/connect_thread.h"
#include "engine/engine_record.h"
#include "engine/playback_requests.h"
#include "engine/prefetch_source.h"
#include "output/wave_output.h"
#include "resources/string_table.h"

namespace vexa {
namespace {

void* g_module = nullptr;

constexpr uint32_t kPlaybackStopWaitMs = 5000;

// Ends the playback thread and closes the engine: the handle is forgotten
// and the mode closed in one step under the engine lock, so that a setter
// on another host thread sees either a running stream or a closed engine.
void StopPlaybackThread(EngineRecord& engine) {
    platform::Thread* thread = g_globals.playbackThread;
    const auto close = [&engine] {
        platform::LockGuard hold(engine.engineLock);
        g_globals.playbackThread = nullptr;
        g_globals.mode = kModeClosed;
    };
    if (thread == nullptr) {
        close();
        return;
    }
    // A thread that has reported the end is about to return; it is waited
    // for all the same (at no cost), so that nothing it still does can meet
    // the clean-up below. A thread that does not end in time is terminated
    // where the platform can; where it cannot, the thread checks the stop
    // request wherever it loops and ends by itself, and everything below
    // frees what it uses: so it is waited for to the end.
    if (!platform::ThreadWait(thread, kPlaybackStopWaitMs) && !platform::ThreadTerminate(thread))
        platform::ThreadWait(thread, platform::kWaitForever);
    close();
    platform::ThreadClose(thread);
}

void StopConnectThread() {
    platform::Thread* thread = g_globals.connectThread;
    if (thread == nullptr) return;
    platform::ThreadWait(thread, platform::kWaitForever);
    platform::ThreadClose(thread);
    g_globals.connectThread = nullptr;
}

}  // namespace

void EngineLoad(void* moduleHandle) {
    g_module = moduleHandle;
    SetStringModule(moduleHandle);
    ResetEngineRecordToDefaults(g_engine);
    ResetEqualizer();  // its tables live beside the decoder's hooks, outside the record
    g_engine.engineLock = platform::LockCreate();
    g_engine.requestEvent = platform::EventCreate();
}

void EngineUnload() {
    platform::LockDelete(g_engine.engineLock);
    g_engine.engineLock = nullptr;
    platform::EventClose(g_engine.requestEvent);
    g_engine.requestEvent = nullptr;
}

void* EngineModule() { return g_module; }

void CleanupEngine() {
    EngineRecord& engine = g_engine;
    g_globals.stopping = 1;
    engine.stopRequest = 1;
    SignalPlaybackRequest(engine);
    // The connect thread ends first: closing its session makes every network
    // call return, and once it has ended it can no longer start a playback
    // thread or fill the prefetch buffer that the steps below free.
    void* closedSession = CloseNetSession(engine);
    StopConnectThread();
    StopPlaybackThread(engine);
    StopPrefetch(engine);
    CloseFileSource(engine);
    ReleaseNetSession(engine, closedSession);
    Output_Close();
    g_globals.stopping = 0;
}

}  // namespace vexa
