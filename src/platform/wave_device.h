// The wave device: a queue of PCM blocks played in order, with per-block
// completion flags and a byte counter of what has been heard. The interface
// follows the system's waveOut model one call for one call, so that the
// output (src/output) owns every decision (priming, rotation, the retry
// rules) and a platform only maps calls:
//   Win32: waveOutOpen (WAVE_MAPPER, no callback, WAVE_ALLOWSYNC),
//          waveOutPrepareHeader, waveOutWrite, waveOutUnprepareHeader,
//          waveOutReset, waveOutPause, waveOutRestart,
//          waveOutGetPosition (TIME_BYTES), waveOutClose.
//   POSIX: an ALSA device (the "default" device or the one named through
//          VexaEnginePosix_SetWaveDevice) fed by a feeder thread, or a
//          silent device that "plays" in real time on a machine without
//          sound. A pause on a device without hardware pause drops what the
//          device holds and plays it again from the first unheard frame on
//          restart, so a pause is silent at once either way.
//
// Threads: all calls for one device come from one thread at a time (the
// stream open, then the playback thread, then the cleanup routine), except
// WaveGetPositionBytes, which the host's thread calls while the playback
// thread writes.
#pragma once

#include <cstdint>

namespace vexa::platform {

// The PCM format, field for field a WAVEFORMATEX (18 bytes when written to a
// file: see WaveFormatBytes).
struct WaveFormat {
    uint16_t formatTag;       // 1 = PCM
    uint16_t channels;        // 1 or 2
    uint32_t samplesPerSec;   // Hz
    uint32_t avgBytesPerSec;  // samplesPerSec * blockAlign
    uint16_t blockAlign;      // channels * bytes per sample
    uint16_t bitsPerSample;   // 8 or 16
    uint16_t extraSize;       // 0
};
constexpr int32_t kWaveFormatBytes = 18;
// The little-endian 18-byte image of a format, as a RIFF "fmt " chunk holds it.
void WaveFormatBytes(const WaveFormat& format, uint8_t (&bytes)[kWaveFormatBytes]);

// One block of the pool: a header owning a data buffer of fixed capacity.
// On Win32 it is a WAVEHDR; the queued flag is its dwUser word, the length
// its dwBufferLength and "done" the WHDR_DONE bit of dwFlags.
struct WaveBlock;

// A block with a buffer of capacity bytes, every header field 0; nullptr when
// memory cannot be had (also under Fault::Allocation).
WaveBlock* WaveBlockCreate(uint32_t capacity);
void WaveBlockFree(WaveBlock* block);
uint8_t* WaveBlockData(WaveBlock* block);
void WaveBlockSetLength(WaveBlock* block, uint32_t bytes);
uint32_t WaveBlockLength(const WaveBlock* block);
// The output's own mark: 1 from the write until the block is unprepared.
uint32_t WaveBlockQueued(const WaveBlock* block);
void WaveBlockSetQueued(WaveBlock* block, uint32_t queued);
// The device has finished playing the block (WHDR_DONE).
bool WaveBlockDone(const WaveBlock* block);

struct WaveDevice;

enum class WaveResult {
    Ok,
    StillPlaying,  // WAVERR_STILLPLAYING (33): the block or device is busy, try later
    Failed,
};

// Opens the device for the format; nullptr on failure. instance is handed to
// the system as instance data (the engine record); no callback is used.
WaveDevice* WaveOpen(const WaveFormat& format, void* instance);
WaveResult WavePrepare(WaveDevice* device, WaveBlock* block);
// Queues a prepared block; it plays after the blocks queued before it, as
// soon as the device is not paused.
WaveResult WaveWrite(WaveDevice* device, WaveBlock* block);
// StillPlaying while the block is queued and not done; Ok once it may be reused.
WaveResult WaveUnprepare(WaveDevice* device, WaveBlock* block);
// Stops at once, marks every queued block done, and restarts the byte
// counter at 0. The device is not paused afterwards.
void WaveReset(WaveDevice* device);
void WavePause(WaveDevice* device);
void WaveRestart(WaveDevice* device);
// Bytes played since open or the last reset (TIME_BYTES): what has been
// heard, not what has been handed to the system.
uint32_t WaveGetPositionBytes(WaveDevice* device);
// StillPlaying while blocks are still queued (the device stays open);
// otherwise the device is gone.
WaveResult WaveClose(WaveDevice* device);

// ---- POSIX-only choices (no effect on Win32) --------------------------------
// Which device WaveOpen uses: nullptr or "" for the system default (falling
// back to the silent device when there is no sound device), "null" for the
// silent device, or any ALSA device name (no fallback: failure to open it is
// an output failure).
void WaveSetDeviceName(const char* name);
// 1 when the device opened last is the silent one.
int32_t WaveLastOpenWasSilent();

}  // namespace vexa::platform
