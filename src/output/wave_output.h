// The wave output: collects PCM into a pool of blocks, runs full blocks
// through the effect chain and the recorder, queues them on the wave device
// and paces the decoder by waiting for the oldest block.
//
// Threads: the stream open opens it (before the playback thread exists); the
// playback thread writes, flushes, resets, pauses and restarts it (resets
// and pause changes under the engine lock); Output_Close runs on the
// playback thread when it is stopped and again in the cleanup routine;
// Output_GetPosition runs on any host thread and reads only the device and
// the format; a close waits until no such read is under way before the
// device goes.
#pragma once

#include <atomic>
#include <cstdint>

#include "dsp/effect_chain.h"
#include "output/output_host.h"
#include "platform/wave_device.h"
#include "platform/wave_file.h"

namespace vexa {

constexpr uint32_t kPrimingSleepMs = 10;     // after each block queued on the paused device
constexpr uint32_t kStillPlayingPollMs = 50; // between tries on a block or device still busy
constexpr int32_t kCloseRetries = 10;        // tries on a busy block or device when closing

struct WaveOutputRecord {
    // nullptr when no device is open (closed, or recording only). Atomic: the
    // host's thread reads it for the position.
    std::atomic<platform::WaveDevice*> device{nullptr};
    // count entries; entry count - 1 is always the block being filled.
    platform::WaveBlock** blocks = nullptr;
    platform::WaveFormat format{};
    int32_t fill = 0;       // bytes in the current block
    int32_t written = 0;    // blocks queued since open or the last reset
    int32_t count = 0;
    int32_t blockSize = 0;  // 200 ms of sound, a multiple of 4 bytes
    // Recording (nullptr when not recording).
    platform::RiffFile* recordFile = nullptr;
    platform::RiffChunk riffChunk{};
    platform::RiffChunk dataChunk{};
    EffectEntryPoints effects;
    // 8-bit output: a block widened to 16-bit for measuring and the effects.
    int16_t* widened = nullptr;
    // Who drives the output: level scan, waits, positions. Atomic: the
    // position is read on host threads while a new stream opens.
    std::atomic<OutputHost*> host{nullptr};
    // Position reads under way on host threads; the close waits for them.
    std::atomic<int32_t> positionReaders{0};
};

extern WaveOutputRecord g_waveOutput;

// 1, or VEXA_ERR_RESOURCES, _OUTPUT, _STREAM_SAVE or _RECORD_CANCELLED.
int32_t Output_Open(const OutputSettings& settings, OutputHost& host);
// Appends one PCM chunk (at most blockSize bytes); dispatches the current
// block first when the chunk does not fit. Blocks while the oldest queued
// block still plays: the decoder's only throttle. A chunk that arrives while
// the level scan measures is dropped with the block it overflowed.
void Output_Write(const uint8_t* pcm, int32_t bytes);
// End of stream: dispatches the partly filled block as decoded, and starts a
// device still held paused from priming so that what was queued is heard.
void Output_Flush();
int32_t Output_IsPlaying();
void Output_Reset();
void Output_Pause();
void Output_Restart();
// Played ms plus seekBaseMs with a device; decodePosMs without one.
int32_t Output_GetPosition();
void Output_Close();

}  // namespace vexa
