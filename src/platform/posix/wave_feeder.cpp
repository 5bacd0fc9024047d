// The POSIX wave device. A feeder thread per open device takes the queued
// blocks in order and writes them to a sink (wave_sink.h) in chunks of about
// 10 ms.
//
// Requests from the output's thread (pause, restart, reset, close) are
// handed to the feeder and waited for, which keeps their effect ordered with
// the writes. A block becomes "done" only when the sink reports its last
// byte played, so the end of a stream is heard before the output counts it
// finished.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include "platform/posix/wave_block.h"
#include "platform/posix/wave_sink.h"
#include "platform/wave_device.h"

namespace vexa::platform {
namespace {

constexpr uint32_t kChunkMs = 10;        // one write
constexpr uint32_t kRequestWaitMs = 40;  // for the feeder to carry out a request
constexpr uint32_t kCloseWaitMs = 100;   // for the feeder to end

}  // namespace

// ---- The device ------------------------------------------------------------

struct WaveDevice {
    std::unique_ptr<Sink> sink;
    WaveFormat format{};
    uint32_t chunkFrames = 0;

    std::mutex mutex;
    std::condition_variable wake;     // to the feeder: work or a request
    std::condition_variable settled;  // from the feeder: a request was carried out
    std::deque<WaveBlock*> pending;   // queued, not fully written
    uint32_t pendingOffset = 0;       // bytes of pending.front() already written
    struct InFlight {
        WaveBlock* block;
        uint64_t endFrame;  // frames written when its last byte was written
    };
    std::deque<InFlight> inFlight;    // written, not yet heard
    bool paused = false;
    bool quit = false;
    uint64_t requestSerial = 0;  // bumped by each reset/pause/restart request
    uint64_t doneSerial = 0;     // what the feeder has carried out
    bool resetRequested = false;
    uint64_t writtenFrames = 0;  // since open or the last reset
    std::atomic<uint64_t> playedFrames{0};
    bool finished = false;   // the feeder has left Run
    bool abandoned = false;  // WaveClose gave the device up to its feeder
    std::thread feeder;

    // Feeder thread: everything that touches the sink.
    void Run() {
        std::vector<uint8_t> chunk;
        std::unique_lock<std::mutex> hold(mutex);
        bool sinkPaused = false;
        for (;;) {
            if (resetRequested) {
                sink->Drop();
                ForgetQueue();
                resetRequested = false;
            }
            if (paused != sinkPaused) {
                if (sink->CanPause()) {
                    sink->Pause(paused);
                } else if (paused) {
                    TakeBackUnheard();
                }
                sinkPaused = paused;
            }
            if (doneSerial != requestSerial) {
                doneSerial = requestSerial;
                settled.notify_all();
            }
            UpdatePlayed();
            if (quit) break;
            if (!paused && pending.empty()) sink->Start();
            if (paused || pending.empty()) {
                // Keep the played count and the done flags moving while the
                // last blocks play out.
                wake.wait_for(hold, std::chrono::milliseconds(inFlight.empty() ? 100 : 5));
                continue;
            }
            WaveBlock* block = pending.front();
            const uint32_t frameBytes = format.blockAlign;
            const uint32_t left = (block->length - pendingOffset) / frameBytes;
            const uint32_t frames = std::min(left, chunkFrames);
            chunk.assign(block->data + pendingOffset, block->data + pendingOffset + frames * frameBytes);
            hold.unlock();
            const bool ok = frames == 0 || sink->Write(chunk.data(), frames);
            sink->NoteWritten(frames);
            hold.lock();
            if (!ok) FallBackToSilence();
            if (resetRequested) continue;  // the block may be gone already
            writtenFrames += frames;
            pendingOffset += frames * frameBytes;
            if (pendingOffset + frameBytes > block->length) {
                pending.pop_front();
                pendingOffset = 0;
                inFlight.push_back({block, writtenFrames});
            }
        }
        sink.reset();
    }

    // Every queued block done and given back; the counters start again.
    // With the mutex held; the feeder's sink keeps what it already has.
    void ForgetQueue() {
        for (WaveBlock* block : pending) block->done.store(true, std::memory_order_release);
        for (InFlight& entry : inFlight) entry.block->done.store(true, std::memory_order_release);
        pending.clear();
        inFlight.clear();
        pendingOffset = 0;
        writtenFrames = 0;
        playedFrames = 0;
    }

    // A sound device that fails for good (unplugged, server gone) must not
    // stall the queue: the rest of the stream keeps its timing in silence.
    void FallBackToSilence() { sink = MakeSilentSink(format.samplesPerSec); }

    // Pause on a sink that cannot hold its sound: what it holds unheard is
    // dropped at once (silence), and the blocks it came from go back to the
    // head of the queue from the first unheard frame, so the restart plays
    // on with no frame lost or repeated. With the mutex held.
    void TakeBackUnheard() {
        const uint32_t frameBytes = format.blockAlign;
        const uint64_t heard = writtenFrames - std::min(sink->DelayFrames(), writtenFrames);
        sink->Drop();
        // First frame of the block at the head of the queue.
        uint64_t headStart = writtenFrames - pendingOffset / frameBytes;
        while (!inFlight.empty() && inFlight.back().endFrame > heard) {
            WaveBlock* block = inFlight.back().block;
            headStart = inFlight.back().endFrame - block->length / frameBytes;
            pending.push_front(block);
            inFlight.pop_back();
        }
        pendingOffset = heard > headStart ? static_cast<uint32_t>(heard - headStart) * frameBytes : 0;
        writtenFrames = heard;
        playedFrames.store(heard, std::memory_order_relaxed);
    }

    // Called by the feeder with the mutex held.
    void UpdatePlayed() {
        const uint64_t delay = std::min(sink->DelayFrames(), writtenFrames);
        const uint64_t played = writtenFrames - delay;
        playedFrames.store(played, std::memory_order_relaxed);
        while (!inFlight.empty() && inFlight.front().endFrame <= played) {
            inFlight.front().block->done.store(true, std::memory_order_release);
            inFlight.pop_front();
        }
    }

    // Hands a request to the feeder and waits until it has been carried
    // out, or at most kRequestWaitMs: a sound server can hold a write for
    // seconds while a stream starts. A reset then forgets the queue here;
    // the feeder drops what it was writing and catches up with the rest.
    template <typename Change>
    void Request(Change change) {
        std::unique_lock<std::mutex> hold(mutex);
        change();
        const uint64_t serial = ++requestSerial;
        wake.notify_all();
        const bool settledInTime = settled.wait_for(hold, std::chrono::milliseconds(kRequestWaitMs),
                                                    [&] { return doneSerial >= serial; });
        if (!settledInTime && resetRequested) ForgetQueue();
    }

    // Feeder thread, at its end: a device given up by WaveClose while the
    // feeder was held in the sink is freed here.
    void Finish() {
        bool orphaned;
        {
            std::lock_guard<std::mutex> hold(mutex);
            finished = true;
            orphaned = abandoned;
            settled.notify_all();
        }
        if (orphaned) delete this;
    }
};

WaveDevice* WaveOpen(const WaveFormat& format, void*) {
    if (format.blockAlign == 0 || format.samplesPerSec == 0) return nullptr;
    auto device = std::unique_ptr<WaveDevice>(new (std::nothrow) WaveDevice);
    if (device == nullptr) return nullptr;
    device->format = format;
    device->chunkFrames = std::max<uint32_t>(1, format.samplesPerSec * kChunkMs / 1000);
    device->sink = OpenChosenSink(format);
    if (device->sink == nullptr) return nullptr;
    try {
        device->feeder = std::thread([raw = device.get()] {
            raw->Run();
            raw->Finish();
        });
    } catch (...) {
        return nullptr;
    }
    return device.release();
}

WaveResult WavePrepare(WaveDevice* device, WaveBlock* block) {
    if (device == nullptr || block == nullptr) return WaveResult::Failed;
    block->prepared = true;
    block->done.store(false, std::memory_order_relaxed);
    return WaveResult::Ok;
}

WaveResult WaveWrite(WaveDevice* device, WaveBlock* block) {
    if (device == nullptr || block == nullptr || !block->prepared) return WaveResult::Failed;
    std::lock_guard<std::mutex> hold(device->mutex);
    block->done.store(false, std::memory_order_relaxed);
    device->pending.push_back(block);
    device->wake.notify_all();
    return WaveResult::Ok;
}

WaveResult WaveUnprepare(WaveDevice* device, WaveBlock* block) {
    if (device == nullptr || block == nullptr) return WaveResult::Failed;
    {
        std::lock_guard<std::mutex> hold(device->mutex);
        const auto isPending = [block](const WaveBlock* entry) { return entry == block; };
        const auto isInFlight = [block](const WaveDevice::InFlight& entry) { return entry.block == block; };
        if (std::any_of(device->pending.begin(), device->pending.end(), isPending) ||
            std::any_of(device->inFlight.begin(), device->inFlight.end(), isInFlight))
            return WaveResult::StillPlaying;
    }
    block->prepared = false;
    return WaveResult::Ok;
}

void WaveReset(WaveDevice* device) {
    if (device == nullptr) return;
    device->Request([device] {
        device->resetRequested = true;
        device->paused = false;
    });
}

void WavePause(WaveDevice* device) {
    if (device == nullptr) return;
    device->Request([device] { device->paused = true; });
}

void WaveRestart(WaveDevice* device) {
    if (device == nullptr) return;
    device->Request([device] { device->paused = false; });
}

uint32_t WaveGetPositionBytes(WaveDevice* device) {
    if (device == nullptr) return 0;
    return static_cast<uint32_t>(device->playedFrames.load(std::memory_order_relaxed) * device->format.blockAlign);
}

WaveResult WaveClose(WaveDevice* device) {
    if (device == nullptr) return WaveResult::Ok;
    {
        std::lock_guard<std::mutex> hold(device->mutex);
        if (!device->pending.empty() || !device->inFlight.empty()) return WaveResult::StillPlaying;
        device->quit = true;
        device->wake.notify_all();
    }
    {
        std::unique_lock<std::mutex> hold(device->mutex);
        if (!device->settled.wait_for(hold, std::chrono::milliseconds(kCloseWaitMs), [device] { return device->finished; })) {
            // The feeder is held in the sink: it frees the device itself.
            device->abandoned = true;
            device->feeder.detach();
            return WaveResult::Ok;
        }
    }
    device->feeder.join();
    delete device;
    return WaveResult::Ok;
}

}  // namespace vexa::platform
