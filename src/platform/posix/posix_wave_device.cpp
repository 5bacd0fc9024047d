// The POSIX wave device. A feeder thread per open device takes the queued
// blocks in order and writes them to a sink: an ALSA PCM (blocking writes of
// about 10 ms each into a buffer of about 100 ms), or the silent sink, which
// consumes bytes at the format's real-time rate without making a sound.
//
// Only the feeder thread calls the sink, so ALSA is never entered from two
// threads. Requests from the output's thread (pause, restart, reset, close)
// are handed to the feeder and waited for, which keeps their effect ordered
// with the writes. A block becomes "done" only when the sink reports its
// last byte played, so the end of a stream is heard before the output counts
// it finished.
#include <alsa/asoundlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "platform/platform.h"
#include "platform/wave_device.h"

namespace vexa::platform {

// ---- Blocks ----------------------------------------------------------------

struct WaveBlock {
    uint8_t* data = nullptr;
    uint32_t capacity = 0;
    uint32_t length = 0;  // dwBufferLength
    uint32_t queued = 0;  // dwUser
    std::atomic<bool> done{false};
    bool prepared = false;
};

WaveBlock* WaveBlockCreate(uint32_t capacity) {
    if (TakeFault(Fault::Allocation)) return nullptr;
    auto* block = new (std::nothrow) WaveBlock;
    if (block == nullptr) return nullptr;
    block->data = new (std::nothrow) uint8_t[capacity == 0 ? 1 : capacity]();
    if (block->data == nullptr) {
        delete block;
        return nullptr;
    }
    block->capacity = capacity;
    return block;
}

void WaveBlockFree(WaveBlock* block) {
    if (block == nullptr) return;
    delete[] block->data;
    delete block;
}

uint8_t* WaveBlockData(WaveBlock* block) { return block->data; }
void WaveBlockSetLength(WaveBlock* block, uint32_t bytes) { block->length = std::min(bytes, block->capacity); }
uint32_t WaveBlockLength(const WaveBlock* block) { return block->length; }
uint32_t WaveBlockQueued(const WaveBlock* block) { return block->queued; }
void WaveBlockSetQueued(WaveBlock* block, uint32_t queued) { block->queued = queued; }
bool WaveBlockDone(const WaveBlock* block) { return block->done.load(std::memory_order_acquire); }

// ---- Sinks -----------------------------------------------------------------

namespace {

constexpr uint32_t kChunkMs = 10;    // one write
constexpr uint32_t kBufferMs = 100;  // what the sink holds ahead of the ear
constexpr uint32_t kRequestWaitMs = 40;  // for the feeder to carry out a request
constexpr uint32_t kCloseWaitMs = 100;   // for the feeder to end

// What the feeder writes to. Every call comes from the feeder thread.
class Sink {
public:
    virtual ~Sink() = default;
    // Blocks until the frames are accepted; false on a failure that lost them.
    virtual bool Write(const uint8_t* bytes, uint32_t frames) = 0;
    // Frames written but not yet heard.
    virtual uint64_t DelayFrames() = 0;
    virtual void Pause(bool pause) = 0;
    // Discards everything not yet heard.
    virtual void Drop() = 0;
    // Nothing more to write for now: what was written must play even when
    // it does not fill the buffer (the end of a short stream).
    virtual void Start() {}
};

// Plays nothing, at the rate a sound card would.
class SilentSink final : public Sink {
public:
    explicit SilentSink(uint32_t rate) : rate_(rate), capacity_(uint64_t{rate} * kBufferMs / 1000) {}

    bool Write(const uint8_t*, uint32_t frames) override {
        Advance();
        while (written_ - Played() > capacity_) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            Advance();
        }
        written_ += frames;
        return true;
    }
    uint64_t DelayFrames() override {
        Advance();
        return written_ - Played();
    }
    void Pause(bool pause) override {
        Advance();
        running_ = !pause;
    }
    void Drop() override {
        Advance();
        written_ = 0;
        played_ = 0.0;
    }

private:
    uint64_t Played() const { return static_cast<uint64_t>(played_); }
    void Advance() {
        const auto now = std::chrono::steady_clock::now();
        if (running_) {
            const double seconds = std::chrono::duration<double>(now - last_).count();
            // A starved device does not play ahead of what it was given.
            played_ = std::min(played_ + seconds * rate_, static_cast<double>(written_));
        }
        last_ = now;
    }

    uint32_t rate_;
    uint64_t capacity_;
    uint64_t written_ = 0;
    double played_ = 0.0;
    bool running_ = true;
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

class AlsaSink final : public Sink {
public:
    ~AlsaSink() override {
        if (pcm_ != nullptr) {
            snd_pcm_drop(pcm_);
            snd_pcm_close(pcm_);
        }
    }

    bool Open(const char* name, const WaveFormat& format) {
        if (snd_pcm_open(&pcm_, name, SND_PCM_STREAM_PLAYBACK, 0) < 0) {
            pcm_ = nullptr;
            return false;
        }
        frameBytes_ = format.blockAlign;
        const snd_pcm_format_t sampleFormat = format.bitsPerSample == 8 ? SND_PCM_FORMAT_U8 : SND_PCM_FORMAT_S16_LE;
        const unsigned int latencyUs = kBufferMs * 1000;
        if (snd_pcm_set_params(pcm_, sampleFormat, SND_PCM_ACCESS_RW_INTERLEAVED, format.channels,
                               format.samplesPerSec, 1, latencyUs) < 0)
            return false;
        snd_pcm_hw_params_t* params = nullptr;
        snd_pcm_hw_params_alloca(&params);
        canPause_ = snd_pcm_hw_params_current(pcm_, params) == 0 && snd_pcm_hw_params_can_pause(params) != 0;
        return true;
    }

    bool Write(const uint8_t* bytes, uint32_t frames) override {
        while (frames > 0) {
            const snd_pcm_sframes_t n = snd_pcm_writei(pcm_, bytes, frames);
            if (n < 0) {
                // An underrun (the queue ran dry) or a suspend: start again.
                if (snd_pcm_recover(pcm_, static_cast<int>(n), 1) < 0) return false;
                continue;
            }
            frames -= static_cast<uint32_t>(n);
            bytes += static_cast<size_t>(n) * frameBytes_;
        }
        return true;
    }
    uint64_t DelayFrames() override {
        const snd_pcm_state_t state = snd_pcm_state(pcm_);
        if (state != SND_PCM_STATE_RUNNING && state != SND_PCM_STATE_PAUSED && state != SND_PCM_STATE_DRAINING) {
            // Prepared: nothing started yet, everything written is pending;
            // underrun: everything written has been heard.
            if (state == SND_PCM_STATE_PREPARED) return pendingUnstarted_;
            return 0;
        }
        snd_pcm_sframes_t delay = 0;
        if (snd_pcm_delay(pcm_, &delay) < 0 || delay < 0) return 0;
        return static_cast<uint64_t>(delay);
    }
    void Pause(bool pause) override {
        const snd_pcm_state_t state = snd_pcm_state(pcm_);
        if (canPause_) {
            if (pause && state == SND_PCM_STATE_RUNNING) snd_pcm_pause(pcm_, 1);
            if (!pause && state == SND_PCM_STATE_PAUSED) snd_pcm_pause(pcm_, 0);
        }
        // Without hardware pause the feeder simply stops writing: what the
        // sink already holds (at most kBufferMs) still plays out.
    }
    // What the stream holds is thrown away at once, like the queue.
    void Drop() override {
        snd_pcm_drop(pcm_);
        snd_pcm_prepare(pcm_);
        pendingUnstarted_ = 0;
    }
    // The stream starts by itself once its buffer is full (starting it
    // with less makes the sound server's plugin stall for seconds); a
    // shorter tail is started here.
    void Start() override {
        if (snd_pcm_state(pcm_) == SND_PCM_STATE_PREPARED && pendingUnstarted_ > 0) snd_pcm_start(pcm_);
    }
    void NoteWritten(uint32_t frames) {
        if (snd_pcm_state(pcm_) == SND_PCM_STATE_PREPARED)
            pendingUnstarted_ += frames;
        else
            pendingUnstarted_ = 0;
    }

private:
    snd_pcm_t* pcm_ = nullptr;
    uint32_t frameBytes_ = 1;
    bool canPause_ = false;
    uint64_t pendingUnstarted_ = 0;
};

std::mutex g_deviceNameMutex;
std::string g_deviceName;
std::atomic<int32_t> g_lastOpenSilent{0};

// ALSA prints its own complaints (no card, unknown device) to stderr; the
// engine reports failures through its results, and hosts decide what to show.
void QuietAlsaMessage(const char*, int, const char*, int, const char*, ...) {}

std::string ChosenDeviceName() {
    std::lock_guard<std::mutex> hold(g_deviceNameMutex);
    return g_deviceName;
}

}  // namespace

// ---- The device ------------------------------------------------------------

struct WaveDevice {
    std::unique_ptr<Sink> sink;
    AlsaSink* alsa = nullptr;  // the sink when it is ALSA
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
                sink->Pause(paused);
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
            if (alsa != nullptr) alsa->NoteWritten(frames);
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
    void FallBackToSilence() {
        sink = std::make_unique<SilentSink>(format.samplesPerSec);
        alsa = nullptr;
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

void WaveSetDeviceName(const char* name) {
    std::lock_guard<std::mutex> hold(g_deviceNameMutex);
    g_deviceName = name != nullptr ? name : "";
}

int32_t WaveLastOpenWasSilent() { return g_lastOpenSilent.load(); }

WaveDevice* WaveOpen(const WaveFormat& format, void*) {
    if (format.blockAlign == 0 || format.samplesPerSec == 0) return nullptr;
    auto device = std::unique_ptr<WaveDevice>(new (std::nothrow) WaveDevice);
    if (device == nullptr) return nullptr;
    device->format = format;
    device->chunkFrames = std::max<uint32_t>(1, format.samplesPerSec * kChunkMs / 1000);
    static std::once_flag quieted;
    std::call_once(quieted, [] { snd_lib_error_set_handler(QuietAlsaMessage); });
    const std::string name = ChosenDeviceName();
    const bool silentByName = name == "null";
    if (!silentByName) {
        auto alsa = std::make_unique<AlsaSink>();
        if (alsa->Open(name.empty() ? "default" : name.c_str(), format)) {
            device->alsa = alsa.get();
            device->sink = std::move(alsa);
        } else if (!name.empty()) {
            return nullptr;  // a named device that cannot be had is a failure
        }
    }
    if (device->sink == nullptr) device->sink = std::make_unique<SilentSink>(format.samplesPerSec);
    g_lastOpenSilent = device->alsa == nullptr ? 1 : 0;
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
