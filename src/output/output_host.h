// What the wave output needs from the one who drives it, so that the output
// knows nothing of the engine above it: the stream's settings at open, and
// while it runs the level measurement, the wait for a busy block and the
// positions it adds to the device's count.
#pragma once

#include <cstdint>

#include "dsp/effect_settings.h"

namespace vexa {

// Where a recording is named: the source's name, the folder (updated in
// place when a save dialog chose another one) and the dialog's owner.
struct RecordNaming {
    const char* sourceName = "";
    char* recordFolder = nullptr;  // 256 bytes
    int32_t autoName = 0;          // 1: numbered names in recordFolder, no dialog
    void* ownerWindow = nullptr;
};

struct OutputSettings {
    int32_t sampleRate = 0;      // Hz
    int32_t channels = 0;        // 1 or 2
    int32_t bytesPerSample = 2;  // 1 or 2
    int32_t blockCount = 16;
    int32_t recordMode = 0;      // 0 play, 1 record only, 2 play and record
    RecordNaming naming;
    // The effect chain's settings, read per block while the stream plays.
    const EffectSettings* effects = nullptr;
    void* deviceInstance = nullptr;  // handed to the device as its instance data
};

class OutputHost {
public:
    // While true, full blocks are measured and dropped instead of played.
    virtual bool LevelScanPending() = 0;
    virtual void MeasureLevel(const int16_t* samples, int32_t count) = 0;
    // Playback thread, while the oldest block still plays: waits up to
    // timeoutMs, returning early when the host asks for something. false
    // when the output must stop waiting for the block (stop or seek).
    virtual bool WaitWhileBlockPlays(uint32_t timeoutMs) = 0;
    // Any thread: where the device's count started (last seek), and the
    // position without a device (record only).
    virtual int32_t SeekBaseMs() = 0;
    virtual int32_t DecodePosMs() = 0;

protected:
    ~OutputHost() = default;
};

}  // namespace vexa
