#include "output/wave_output.h"

#include <cstring>
#include <new>

#include "output/wave_record.h"
#include "platform/platform.h"
#include "vexaengine.h"

namespace vexa {

WaveOutputRecord g_waveOutput;

namespace {

using platform::WaveBlock;
using platform::WaveDevice;
using platform::WaveResult;

WaveDevice* Device() { return g_waveOutput.device.load(std::memory_order_acquire); }
OutputHost* Host() { return g_waveOutput.host.load(std::memory_order_acquire); }
bool LevelScanPending() {
    OutputHost* host = Host();
    return host != nullptr && host->LevelScanPending();
}

platform::WaveFormat FormatFor(const OutputSettings& settings) {
    platform::WaveFormat format{};
    const auto channels = static_cast<uint16_t>(settings.channels);
    const auto bytesPerSample = static_cast<uint16_t>(settings.bytesPerSample);
    format.formatTag = 1;
    format.channels = channels;
    format.samplesPerSec = static_cast<uint32_t>(settings.sampleRate);
    format.avgBytesPerSec = static_cast<uint32_t>(bytesPerSample) * format.samplesPerSec * channels;
    format.blockAlign = static_cast<uint16_t>(bytesPerSample * channels);
    format.bitsPerSample = bytesPerSample == 1 ? 8 : 16;
    format.extraSize = 0;
    return format;
}

// 200 ms of sound rounded down to a multiple of 4 bytes.
int32_t BlockSizeFor(const platform::WaveFormat& format) {
    return static_cast<int32_t>(format.avgBytesPerSec / 20 * 4);
}

WaveBlock*& CurrentBlock() { return g_waveOutput.blocks[g_waveOutput.count - 1]; }

// The queued block moves to entry 0, every other entry up by one; the new
// current block is the one queued longest ago.
void RotateBlocks() {
    WaveBlock** blocks = g_waveOutput.blocks;
    WaveBlock* queued = blocks[g_waveOutput.count - 1];
    std::memmove(blocks + 1, blocks, sizeof(WaveBlock*) * static_cast<size_t>(g_waveOutput.count - 1));
    blocks[0] = queued;
}

// Waits until the device gives the block back: this wait is what paces the
// decoder. The host's wait wakes on its requests; a stop or a seek ends it,
// so that neither waits for a block whose sound is to be thrown away (nor a
// stalled device keeps the playback thread from ending). The block then
// stays marked as queued, takes no PCM, and the reset or close that
// follows takes it back.
void ReclaimBlock(WaveBlock* block) {
    if (!platform::WaveBlockQueued(block)) return;
    while (platform::WaveUnprepare(Device(), block) == WaveResult::StillPlaying) {
        OutputHost* host = Host();
        if (host == nullptr) {
            platform::SleepMs(kStillPlayingPollMs);
        } else if (!host->WaitWhileBlockPlays(kStillPlayingPollMs)) {
            return;
        }
    }
    platform::WaveBlockSetQueued(block, 0);
}

// The closing rule: up to kCloseRetries tries after 50 ms each while the
// system reports the object busy, then one last call whose result is ignored.
template <typename Call>
void CallWithCloseRetries(Call call) {
    for (int retry = 0; retry < kCloseRetries; ++retry) {
        if (call() != WaveResult::StillPlaying) return;
        platform::SleepMs(kStillPlayingPollMs);
    }
    call();
}

// Queues the current block (its length already set) and takes the oldest
// block back as the new current one.
void QueueCurrentBlock() {
    WaveDevice* device = Device();
    WaveBlock* block = CurrentBlock();
    platform::WavePrepare(device, block);
    platform::WaveWrite(device, block);
    platform::WaveBlockSetQueued(block, 1);
    RotateBlocks();
    ReclaimBlock(CurrentBlock());
}

// The level scan measures blocks instead of playing them. 8-bit blocks are
// widened to the 16-bit scale the measurement is defined on.
void MeasureCurrentBlock() {
    OutputHost& host = *Host();
    uint8_t* data = platform::WaveBlockData(CurrentBlock());
    if (g_waveOutput.format.bitsPerSample == 8) {
        int16_t* widened = g_waveOutput.widened;
        if (widened == nullptr) return;
        for (int32_t i = 0; i < g_waveOutput.fill; ++i)
            widened[i] = static_cast<int16_t>((static_cast<int32_t>(data[i]) - 128) * 256);
        host.MeasureLevel(widened, g_waveOutput.fill);
        return;
    }
    host.MeasureLevel(reinterpret_cast<int16_t*>(data), g_waveOutput.fill / 2);
}

enum class Dispatch { Full, Final };

// Sends the current block on: to the level measurement while the scan runs,
// else through the effects (full blocks only), the recorder and the device.
// Returns false when the block was measured and dropped.
bool DispatchCurrentBlock(Dispatch kind) {
    WaveBlock* block = CurrentBlock();
    platform::WaveBlockSetLength(block, static_cast<uint32_t>(g_waveOutput.fill));
    if (LevelScanPending()) {
        MeasureCurrentBlock();
        g_waveOutput.fill = 0;
        return false;
    }
    uint8_t* data = platform::WaveBlockData(block);
    // The chain works on 16-bit samples: 8-bit blocks pass through it widened.
    if (kind == Dispatch::Full && g_waveOutput.format.bitsPerSample == 16)
        Output_ProcessBlock(g_waveOutput.effects, reinterpret_cast<int16_t*>(data), g_waveOutput.fill / 2);
    if (kind == Dispatch::Full && g_waveOutput.format.bitsPerSample == 8)
        Output_ProcessEightBitBlock(g_waveOutput.effects, data, g_waveOutput.fill, g_waveOutput.widened);
    if (g_waveOutput.recordFile != nullptr) Record_Append(g_waveOutput.recordFile, data, g_waveOutput.fill);
    if (Device() != nullptr) QueueCurrentBlock();
    return true;
}

bool AllocateBlocks() {
    for (int32_t i = 0; i < g_waveOutput.count; ++i) {
        g_waveOutput.blocks[i] = platform::WaveBlockCreate(static_cast<uint32_t>(g_waveOutput.blockSize));
        if (g_waveOutput.blocks[i] == nullptr) return false;
    }
    return true;
}

}  // namespace

int32_t Output_Open(const OutputSettings& settings, OutputHost& host) {
    WaveOutputRecord& output = g_waveOutput;
    output.device = nullptr;
    output.recordFile = nullptr;
    output.fill = 0;
    output.written = 0;
    output.host.store(&host, std::memory_order_release);
    output.count = settings.blockCount;
    // A pool needs a block to fill and one to queue.
    if (output.count < 2 || platform::TakeFault(platform::Fault::Allocation)) return VEXA_ERR_RESOURCES;
    output.blocks = new (std::nothrow) WaveBlock*[static_cast<size_t>(output.count)]();
    if (output.blocks == nullptr) return VEXA_ERR_RESOURCES;
    output.format = FormatFor(settings);
    output.blockSize = BlockSizeFor(output.format);
    if (output.blockSize < 4) return VEXA_ERR_OUTPUT;
    PrepareEffects(*settings.effects, settings.sampleRate);
    output.effects = ChooseEffectEntryPoints(*settings.effects, settings.sampleRate, settings.channels);
    if (!AllocateBlocks()) return VEXA_ERR_RESOURCES;
    if (output.format.bitsPerSample == 8) {  // for the level scan and the effects
        output.widened = new (std::nothrow) int16_t[static_cast<size_t>(output.blockSize)];
        if (output.widened == nullptr) return VEXA_ERR_RESOURCES;
    }
    if (settings.recordMode > 0) {
        const RecordOutcome outcome = Record_Open(settings.naming, output);
        if (outcome == RecordOutcome::CannotCreate) return VEXA_ERR_STREAM_SAVE;
        if (outcome == RecordOutcome::NoName && settings.recordMode == 1) return VEXA_ERR_RECORD_CANCELLED;
    }
    if (settings.recordMode == 0 || settings.recordMode == 2) {
        WaveDevice* device = platform::WaveOpen(output.format, settings.deviceInstance);
        if (device == nullptr) return VEXA_ERR_OUTPUT;
        // Priming: the first blocks go to a paused device.
        platform::WavePause(device);
        output.device.store(device, std::memory_order_release);
    }
    return 1;
}

void Output_Write(const uint8_t* pcm, int32_t bytes) {
    WaveOutputRecord& output = g_waveOutput;
    if (output.blocks == nullptr || bytes <= 0 || bytes > output.blockSize) return;
    if (output.fill + bytes > output.blockSize) {
        // A measured block is dropped together with the chunk that overflowed it.
        if (!DispatchCurrentBlock(Dispatch::Full)) return;
        if (Device() != nullptr) {
            ++output.written;
            if (output.written == output.count - 1) {
                platform::WaveRestart(Device());  // the end of priming
            } else if (output.written < output.count - 1) {
                platform::SleepMs(kPrimingSleepMs);
            }
        }
        output.fill = 0;
    }
    // A block still with a stalled device (see ReclaimBlock) takes no PCM.
    if (platform::WaveBlockQueued(CurrentBlock())) return;
    std::memcpy(platform::WaveBlockData(CurrentBlock()) + output.fill, pcm, static_cast<size_t>(bytes));
    output.fill += bytes;
}

void Output_Flush() {
    WaveOutputRecord& output = g_waveOutput;
    if (output.blocks == nullptr) return;
    if (output.fill > 0) DispatchCurrentBlock(Dispatch::Final);
    output.fill = 0;
    // A stream shorter than the priming leaves the device paused with its
    // blocks queued: start it, or they would never be heard.
    if (Device() != nullptr && output.written < output.count - 1 && !LevelScanPending())
        platform::WaveRestart(Device());
}

int32_t Output_IsPlaying() {
    const WaveOutputRecord& output = g_waveOutput;
    if (output.blocks == nullptr) return 0;
    for (int32_t i = 0; i < output.count; ++i) {
        const WaveBlock* block = output.blocks[i];
        if (block != nullptr && platform::WaveBlockQueued(block) && !platform::WaveBlockDone(block)) return 1;
    }
    return 0;
}

void Output_Reset() {
    WaveOutputRecord& output = g_waveOutput;
    WaveDevice* device = Device();
    if (device != nullptr) platform::WaveReset(device);
    if (output.blocks != nullptr) {
        for (int32_t i = 0; i < output.count; ++i) {
            WaveBlock* block = output.blocks[i];
            if (block == nullptr) continue;
            if (platform::WaveBlockQueued(block)) {
                platform::WaveUnprepare(device, block);
                platform::WaveBlockSetQueued(block, 0);
            }
            std::memset(platform::WaveBlockData(block), 0, static_cast<size_t>(output.blockSize));
        }
    }
    output.fill = 0;
    output.written = 0;
}

void Output_Pause() {
    if (WaveDevice* device = Device()) platform::WavePause(device);
}

void Output_Restart() {
    if (WaveDevice* device = Device()) platform::WaveRestart(device);
}

int32_t Output_GetPosition() {
    WaveOutputRecord& output = g_waveOutput;
    // Announced before the device is looked at: a close that takes the
    // device away after this waits until the read below is over.
    output.positionReaders.fetch_add(1);
    int32_t position = 0;
    OutputHost* host = Host();
    WaveDevice* device = output.device.load();
    if (device != nullptr) {
        const uint32_t bytes = platform::WaveGetPositionBytes(device);
        const double perSecond = output.format.avgBytesPerSec;
        position = static_cast<int32_t>(bytes * 1000.0 / perSecond + 0.5);
        if (host != nullptr) position += host->SeekBaseMs();
    } else if (host != nullptr) {
        position = host->DecodePosMs();
    }
    output.positionReaders.fetch_sub(1);
    return position;
}

void Output_Close() {
    WaveOutputRecord& output = g_waveOutput;
    if (output.recordFile != nullptr) {
        Record_Close(output.recordFile, output.riffChunk, output.dataChunk);
        output.recordFile = nullptr;
    }
    WaveDevice* device = Device();
    if (device != nullptr) platform::WaveReset(device);
    if (output.blocks != nullptr) {
        for (int32_t i = output.count - 1; i >= 0; --i) {
            WaveBlock* block = output.blocks[i];
            if (block == nullptr) continue;
            if (platform::WaveBlockQueued(block)) {
                CallWithCloseRetries([&] { return platform::WaveUnprepare(device, block); });
                platform::WaveBlockSetQueued(block, 0);
            }
            platform::WaveBlockFree(block);
            output.blocks[i] = nullptr;
        }
        delete[] output.blocks;
        output.blocks = nullptr;
    }
    delete[] output.widened;
    output.widened = nullptr;
    if (device != nullptr) {
        // No new position read finds the device; those under way end first.
        output.device.store(nullptr);
        while (output.positionReaders.load() != 0) platform::SleepMs(1);
        CallWithCloseRetries([&] { return platform::WaveClose(device); });
    }
    output.fill = 0;
    output.written = 0;
}

}  // namespace vexa
