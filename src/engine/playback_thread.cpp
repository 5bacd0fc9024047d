#include "engine/playback_thread.h"

#include "decoder/decoder.h"
#include "dsp/spectrum_history.h"
#include "engine/engine_record.h"
#include "engine/level_scan.h"
#include "engine/playback_requests.h"
#include "engine/prefetch_source.h"
#include "engine/seek.h"
#include "output/wave_output.h"
#include "stream/frame_reader.h"

namespace vexa {
namespace {

constexpr uint32_t kPausedSleepMs = 100;
constexpr uint32_t kDrainSleepMs = 50;
constexpr float kSpectrumSlotMs = 50.0f;
constexpr int kPreRollFrames = 8;  // refills the Layer III reservoir and overlap

struct PlaybackState {
    float decodedMs = 0.0f;    // since the start or the last seek, from the seek target
    float lastStampMs = 0.0f;  // decodedMs when the current history slot was opened
    bool ended = false;        // no more frames; only draining remains
};

int32_t RoundMs(double ms) { return static_cast<int32_t>(ms + 0.5); }

void DecodeCurrentFrame(EngineRecord& engine, PlaybackState& state) {
    DecodeFrame(g_header, 1);
    state.decodedMs += static_cast<float>(engine.frameMs);
    if (state.decodedMs > state.lastStampMs + kSpectrumSlotMs) {
        {
            platform::LockGuard hold(engine.engineLock);
            OpenSpectrumSlot(RoundMs(state.decodedMs));
        }
        state.lastStampMs = state.decodedMs;
    }
}

// The whole seek runs under the engine lock: output reset, reposition,
// pre-roll without output, spectrum history reset. The device then counts
// from 0 again, so the position continues from seekBaseMs.
void CarryOutSeek(EngineRecord& engine, ByteSource& source, PlaybackState& state) {
    platform::LockGuard hold(engine.engineLock);
    Output_Reset();
    const float percent = engine.seekPercent;
    SeekToPercent(engine, g_header, percent);
    state.decodedMs = static_cast<float>(percent * engine.lengthMs * 0.01);
    engine.seekRequest = 0;
    engine.seekPreRoll = {true, 0, false};
    for (int frame = 0; frame < kPreRollFrames; ++frame) {
        if (!ReadNextFrame(source, g_header)) break;
        DecodeFrame(g_header, 0);
        state.decodedMs += static_cast<float>(engine.frameMs);
    }
    // A pre-roll that gave up on the device has left a block behind that
    // takes no more sound: take the pool back, pre-roll sound and all.
    if (engine.seekPreRoll.gaveUp) Output_Reset();
    engine.seekPreRoll.running = false;
    const int32_t position = RoundMs(state.decodedMs);
    engine.seekBaseMs = position;
    engine.decodePosMs = position;
    ClearSpectrumHistory();
    state.lastStampMs = 0.0f;
    StampFirstSpectrumSlot(static_cast<int32_t>(state.decodedMs));
}

void StopPlayback(EngineRecord& engine) {
    {
        platform::LockGuard hold(engine.engineLock);
        if (engine.paused) Output_Reset();
    }
    Output_Close();
}

}  // namespace

uint32_t PlaybackThread(void* engineRecord) {
    EngineRecord& engine = *static_cast<EngineRecord*>(engineRecord);
    PrefetchSource source(engine);
    PlaybackState state;
    for (;;) {
        if (engine.levelScanPending) {
            // A file that cannot be read again after the scan has ended:
            // there is no current frame left to decode.
            if (!engine.isHttp && !RunLevelScan(engine, source)) state.ended = true;
            engine.levelScanPending = 0;
        }
        if (engine.windowRebuildPending.exchange(0)) BuildWindowTables(engine.outputScale);
        if (StopAsked(engine)) {
            StopPlayback(engine);
            return 0;
        }
        if (engine.pauseChanged) ApplyPauseChange(engine);
        if (engine.paused) {
            WaitForRequest(engine, kPausedSleepMs);
            continue;
        }
        if (!state.ended) DecodeCurrentFrame(engine, state);
        if (engine.seekRequest) CarryOutSeek(engine, source, state);
        if (!state.ended) {
            if (ReadNextFrame(source, g_header)) {
                engine.decodePosMs += RoundMs(engine.frameMs);
                continue;
            }
            // A read cut short by a stop is not the end of the data: the
            // stream must not count as ended, nor its partial block reach a
            // recording that is being closed.
            if (StopAsked(engine)) continue;
            state.ended = true;
            Output_Flush();
        }
        if (!Output_IsPlaying()) {
            platform::LockGuard hold(engine.engineLock);
            engine.endReached = 1;
            return 0;
        }
        WaitForRequest(engine, kDrainSleepMs);
    }
}

}  // namespace vexa
