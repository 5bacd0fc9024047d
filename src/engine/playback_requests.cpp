#include "engine/playback_requests.h"

#include "engine/engine_record.h"
#include "output/wave_output.h"

namespace vexa {

void SignalPlaybackRequest(EngineRecord& engine) {
    if (engine.requestEvent != nullptr) platform::EventSignal(engine.requestEvent);
}

bool StopAsked(const EngineRecord& engine) { return engine.stopRequest != 0 || g_globals.stopping != 0; }

void WaitForRequest(EngineRecord& engine, uint32_t timeoutMs) {
    if (engine.requestEvent == nullptr) {
        platform::SleepMs(timeoutMs);
        return;
    }
    platform::EventWait(engine.requestEvent, timeoutMs);
}

void ApplyPauseChange(EngineRecord& engine) {
    platform::LockGuard hold(engine.engineLock);
    if (engine.paused) {
        Output_Pause();
    } else {
        Output_Restart();
    }
    engine.pauseChanged = 0;
}

}  // namespace vexa
