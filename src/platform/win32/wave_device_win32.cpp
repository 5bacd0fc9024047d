// The wave device on Windows: waveOut calls on the wave mapper, without a
// callback; block completion is read from WHDR_DONE and WAVERR_STILLPLAYING.
#include <windows.h>
#include <mmsystem.h>

#include <new>

#include "platform/platform.h"
#include "platform/wave_device.h"

namespace vexa::platform {

struct WaveBlock {
    WAVEHDR header;
    uint32_t capacity;
};

namespace {
HWAVEOUT Handle(WaveDevice* device) { return reinterpret_cast<HWAVEOUT>(device); }
WaveResult FromMmResult(MMRESULT result) {
    if (result == MMSYSERR_NOERROR) return WaveResult::Ok;
    return result == WAVERR_STILLPLAYING ? WaveResult::StillPlaying : WaveResult::Failed;
}
}  // namespace

WaveBlock* WaveBlockCreate(uint32_t capacity) {
    if (TakeFault(Fault::Allocation)) return nullptr;
    auto* block = new (std::nothrow) WaveBlock{};
    if (block == nullptr) return nullptr;
    block->header.lpData = new (std::nothrow) char[capacity == 0 ? 1 : capacity]();
    if (block->header.lpData == nullptr) {
        delete block;
        return nullptr;
    }
    block->capacity = capacity;
    return block;
}

void WaveBlockFree(WaveBlock* block) {
    if (block == nullptr) return;
    delete[] block->header.lpData;
    delete block;
}

uint8_t* WaveBlockData(WaveBlock* block) { return reinterpret_cast<uint8_t*>(block->header.lpData); }
void WaveBlockSetLength(WaveBlock* block, uint32_t bytes) {
    block->header.dwBufferLength = bytes < block->capacity ? bytes : block->capacity;
}
uint32_t WaveBlockLength(const WaveBlock* block) { return block->header.dwBufferLength; }
uint32_t WaveBlockQueued(const WaveBlock* block) { return static_cast<uint32_t>(block->header.dwUser); }
void WaveBlockSetQueued(WaveBlock* block, uint32_t queued) { block->header.dwUser = queued; }
bool WaveBlockDone(const WaveBlock* block) {
    // The driver sets the flag from its own thread.
    return (static_cast<volatile const DWORD&>(block->header.dwFlags) & WHDR_DONE) != 0;
}

WaveDevice* WaveOpen(const WaveFormat& format, void* instance) {
    WAVEFORMATEX wfx{};
    wfx.wFormatTag = format.formatTag;
    wfx.nChannels = format.channels;
    wfx.nSamplesPerSec = format.samplesPerSec;
    wfx.nAvgBytesPerSec = format.avgBytesPerSec;
    wfx.nBlockAlign = format.blockAlign;
    wfx.wBitsPerSample = format.bitsPerSample;
    wfx.cbSize = format.extraSize;
    HWAVEOUT device = nullptr;
    if (waveOutOpen(&device, WAVE_MAPPER, &wfx, 0, reinterpret_cast<DWORD_PTR>(instance), WAVE_ALLOWSYNC) !=
        MMSYSERR_NOERROR)
        return nullptr;
    return reinterpret_cast<WaveDevice*>(device);
}

WaveResult WavePrepare(WaveDevice* device, WaveBlock* block) {
    return FromMmResult(waveOutPrepareHeader(Handle(device), &block->header, sizeof(WAVEHDR)));
}
WaveResult WaveWrite(WaveDevice* device, WaveBlock* block) {
    return FromMmResult(waveOutWrite(Handle(device), &block->header, sizeof(WAVEHDR)));
}
WaveResult WaveUnprepare(WaveDevice* device, WaveBlock* block) {
    return FromMmResult(waveOutUnprepareHeader(Handle(device), &block->header, sizeof(WAVEHDR)));
}
void WaveReset(WaveDevice* device) { waveOutReset(Handle(device)); }
void WavePause(WaveDevice* device) { waveOutPause(Handle(device)); }
void WaveRestart(WaveDevice* device) { waveOutRestart(Handle(device)); }

uint32_t WaveGetPositionBytes(WaveDevice* device) {
    MMTIME time{};
    time.wType = TIME_BYTES;
    waveOutGetPosition(Handle(device), &time, sizeof time);
    return time.wType == TIME_BYTES ? time.u.cb : 0;
}

WaveResult WaveClose(WaveDevice* device) { return FromMmResult(waveOutClose(Handle(device))); }

// The wave mapper is the only device on Windows.
void WaveSetDeviceName(const char*) {}
int32_t WaveLastOpenWasSilent() { return 0; }

}  // namespace vexa::platform
