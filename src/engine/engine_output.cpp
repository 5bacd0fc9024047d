#include "engine/engine_output.h"

#include <atomic>

#include "engine/engine_record.h"
#include "engine/level_scan.h"
#include "engine/playback_requests.h"
#include "output/wave_output.h"

namespace vexa {
namespace {

// A block holds 200 ms of sound: a playing device gives one back well
// within this.
constexpr uint32_t kPreRollDeviceWaitMs = 1000;

class EngineOutputHost final : public OutputHost {
public:
    void Bind(EngineRecord& engine) { engine_.store(&engine, std::memory_order_release); }

    bool LevelScanPending() override { return Engine().levelScanPending != 0; }
    void MeasureLevel(const int16_t* samples, int32_t count) override { vexa::MeasureLevel(Engine(), samples, count); }

    // A pause asked for while the thread waits here is carried out here:
    // the block cannot finish before the device is restarted, and the host
    // must not hear the pool play on for seconds. Stop and seek end the
    // wait; their sound is about to be thrown away. A seek's pre-roll
    // (Layer I and II blocks can fill a small pool then) gives up on a
    // paused device, and on one that keeps a block far longer than it
    // plays: the seek holds the engine lock, so the host could neither
    // resume nor stop meanwhile.
    bool WaitWhileBlockPlays(uint32_t timeoutMs) override {
        EngineRecord& engine = Engine();
        if (engine.pauseChanged) ApplyPauseChange(engine);
        if (StopAsked(engine) || engine.seekRequest) return false;
        auto& preRoll = engine.seekPreRoll;
        if (preRoll.running && (engine.paused || preRoll.waitedMs >= kPreRollDeviceWaitMs)) {
            preRoll.gaveUp = true;
            return false;
        }
        WaitForRequest(engine, timeoutMs);
        if (preRoll.running) preRoll.waitedMs += timeoutMs;
        if (engine.pauseChanged) ApplyPauseChange(engine);
        return !(StopAsked(engine) || engine.seekRequest);
    }

    int32_t SeekBaseMs() override { return Engine().seekBaseMs; }
    int32_t DecodePosMs() override { return Engine().decodePosMs; }

private:
    EngineRecord& Engine() { return *engine_.load(std::memory_order_acquire); }
    std::atomic<EngineRecord*> engine_{&g_engine};
};

EngineOutputHost g_outputHost;

}  // namespace

int32_t OpenEngineOutput(EngineRecord& engine) {
    g_outputHost.Bind(engine);
    OutputSettings settings;
    settings.sampleRate = engine.sampleRate;
    settings.channels = engine.channels;
    settings.bytesPerSample = engine.bytesPerSample;
    settings.blockCount = engine.blockCount;
    settings.recordMode = engine.recordMode;
    settings.naming.sourceName = engine.sourceName;
    settings.naming.recordFolder = engine.recordFolder;
    settings.naming.autoName = engine.recordAutoName;
    settings.naming.ownerWindow = engine.hostWindow;
    settings.effects = &engine.effects;
    settings.deviceInstance = &engine;
    return Output_Open(settings, g_outputHost);
}

}  // namespace vexa
