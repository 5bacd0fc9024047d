#include "engine/spectrum_request.h"

#include "dsp/equalizer.h"
#include "dsp/spectrum_levels.h"
#include "output/wave_output.h"

namespace vexa {
namespace {

constexpr int32_t kSpectrumLagMs = 100;

}  // namespace

void SetEqualizerSettings(EngineRecord& engine, const int32_t* settings) {
    if (settings == nullptr) return;
    platform::LockGuard hold(engine.engineLock);
    SetEqualizerBands(settings);
}

int32_t ReadSpectrum(EngineRecord& engine, int32_t* bands, int32_t separate) {
    if (bands == nullptr) return 0;
    for (int i = 0; i < kSpectrumBands; ++i) bands[i] = 0;
    if (g_globals.stopping || g_globals.mode != kModePlaying) return 0;
    // Without a device (record-only) the position is the decode position.
    const int32_t position = Output_GetPosition();
    const int32_t target = position - kSpectrumLagMs > 0 ? position - kSpectrumLagMs : 0;
    SpectrumSnapshot slot;
    {
        platform::LockGuard hold(engine.engineLock);
        if (!CopySpectrumSlot(target, slot)) return 0;
    }
    if (slot.count == 0) return 0;
    SpectrumLevels(slot, separate != 0, bands);
    return 1;
}

}  // namespace vexa
