#include "output/wave_output.h"

#include <cstring>
#include <new>

#include "engine/engine_record.h"
#include "engine/level_scan.h"
#include "output/wave_record.h"
#include "platform/platform.h"

namespace vexa {

WaveOutputRecord g_waveOutput;

namespace {

using platform::WaveBlock;
using platform::WaveDevice;
using platform::WaveResult;

WaveDevice* Device() { return g_waveOutput.device.load(std::memory_order_acquire); }

platform::WaveFormat FormatFor(const EngineRecord& engine) {
    platform::WaveFormat format{};
    const auto channels = static_cast<uint16_t>(engine.channels);
    const auto bytesPerSample = static_cast<uint16_t>(engine.bytesPerSample);
    format.formatTag = 1;
    format.channels = channels;
    format.samplesPerSec = static_cast<uint32_t>(engine.sampleRate);
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
// decoder. A stop request ends it, so that a stalled device cannot keep the
// playback thread from ending; the block then stays marked as queued and
// the close that follows takes it back.
void ReclaimBlock(WaveBlock* block) {
    if (!platform::WaveBlockQueued(block)) return;
    while (platform::WaveUnprepare(Device(), block) == WaveResult::StillPlaying) {
        if (g_waveOutput.engine != nullptr && g_waveOutput.engine->stopRequest) return;
        platform::SleepMs(kStillPlayingPollMs);
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
    EngineRecord& engine = *g_waveOutput.engine;
    uint8_t* data = platform::WaveBlockData(CurrentBlock());
    if (g_waveOutput.format.bitsPerSample == 8) {
        int16_t* widened = g_waveOutput.widened;
        if (widened == nullptr) return;
        for (int32_t i = 0; i < g_waveOutput.fill; ++i)
            widened[i] = static_cast<int16_t>((static_cast<int32_t>(data[i]) - 128) * 256);
        MeasureLevel(engine, widened, g_waveOutput.fill);
        return;
    }
    MeasureLevel(engine, reinterpret_cast<int16_t*>(data), g_waveOutput.fill / 2);
}

enum class Dispatch { Full, Final };

// Sends the current block on: to the level measurement while the scan runs,
// else through the effects (full blocks only), the recorder and the device.
// Returns false when the block was measured and dropped.
bool DispatchCurrentBlock(Dispatch kind) {
    WaveBlock* block = CurrentBlock();
    platform::WaveBlockSetLength(block, static_cast<uint32_t>(g_waveOutput.fill));
    if (g_waveOutput.engine != nullptr && g_waveOutput.engine->levelScanPending) {
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

int32_t Output_Open(EngineRecord& engine) {
    WaveOutputRecord& output = g_waveOutput;
    output.device = nullptr;
    output.recordFile = nullptr;
    output.fill = 0;
    output.written = 0;
    output.engine = &engine;
    output.count = engine.blockCount;
    // A pool needs a block to fill and one to queue.
    if (output.count < 2 || platform::TakeFault(platform::Fault::Allocation)) return kErrResources;
    output.blocks = new (std::nothrow) WaveBlock*[static_cast<size_t>(output.count)]();
    if (output.blocks == nullptr) return kErrResources;
    output.format = FormatFor(engine);
    output.blockSize = BlockSizeFor(output.format);
    if (output.blockSize < 4) return kErrOutput;
    PrepareEffects(engine.effects, engine.sampleRate);
    output.effects = ChooseEffectEntryPoints(engine.effects, engine.sampleRate, engine.channels);
    if (!AllocateBlocks()) return kErrResources;
    if (output.format.bitsPerSample == 8) {  // for the level scan and the effects
        output.widened = new (std::nothrow) int16_t[static_cast<size_t>(output.blockSize)];
        if (output.widened == nullptr) return kErrResources;
    }
    if (engine.recordMode > 0) {
        const RecordOutcome outcome = Record_Open(engine, output);
        if (outcome == RecordOutcome::CannotCreate) return kErrStreamSave;
        if (outcome == RecordOutcome::NoName && engine.recordMode == 1) return kErrRecordCancelled;
    }
    if (engine.recordMode == 0 || engine.recordMode == 2) {
        WaveDevice* device = platform::WaveOpen(output.format, &engine);
        if (device == nullptr) return kErrOutput;
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
        if (DispatchCurrentBlock(Dispatch::Full) && Device() != nullptr) {
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
    if (Device() != nullptr && output.written < output.count - 1 && !output.engine->levelScanPending)
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

int32_t Output_GetPosition(const EngineRecord& engine) {
    WaveDevice* device = Device();
    if (device == nullptr) return engine.decodePosMs;
    const uint32_t bytes = platform::WaveGetPositionBytes(device);
    const double perSecond = g_waveOutput.format.avgBytesPerSec;
    return static_cast<int32_t>(bytes * 1000.0 / perSecond + 0.5) + engine.seekBaseMs;
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
        CallWithCloseRetries([&] { return platform::WaveClose(device); });
        output.device.store(nullptr, std::memory_order_release);
    }
    output.fill = 0;
    output.written = 0;
}

}  // namespace vexa
