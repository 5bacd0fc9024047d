// The ALSA sink: blocking interleaved writes into a PCM whose buffer holds
// about kSinkBufferMs.
#include <alloca.h>

#include <cstring>

#include "platform/posix/alsa_library.h"
#include "platform/posix/wave_sink.h"

namespace vexa::platform {
namespace {

class AlsaSink final : public Sink {
public:
    explicit AlsaSink(const AlsaLibrary& alsa) : alsa_(alsa) {}
    ~AlsaSink() override {
        if (pcm_ != nullptr) {
            alsa_.pcmDrop(pcm_);
            alsa_.pcmClose(pcm_);
        }
    }

    bool Open(const char* name, const WaveFormat& format) {
        if (alsa_.pcmOpen(&pcm_, name, SND_PCM_STREAM_PLAYBACK, 0) < 0) {
            pcm_ = nullptr;
            return false;
        }
        frameBytes_ = format.blockAlign;
        const snd_pcm_format_t sampleFormat = format.bitsPerSample == 8 ? SND_PCM_FORMAT_U8 : SND_PCM_FORMAT_S16_LE;
        const unsigned int latencyUs = kSinkBufferMs * 1000;
        if (alsa_.pcmSetParams(pcm_, sampleFormat, SND_PCM_ACCESS_RW_INTERLEAVED, format.channels,
                               format.samplesPerSec, 1, latencyUs) < 0)
            return false;
        // On the stack, as ALSA's own macro does: only the library knows the size.
        const size_t paramsBytes = alsa_.hwParamsSizeof();
        auto* params = static_cast<snd_pcm_hw_params_t*>(alloca(paramsBytes));
        std::memset(params, 0, paramsBytes);
        canPause_ = alsa_.hwParamsCurrent(pcm_, params) == 0 && alsa_.hwParamsCanPause(params) != 0 &&
                    !HardwarePauseDenied();
        return true;
    }

    bool Write(const uint8_t* bytes, uint32_t frames) override {
        while (frames > 0) {
            const snd_pcm_sframes_t n = alsa_.pcmWritei(pcm_, bytes, frames);
            if (n < 0) {
                // An underrun (the queue ran dry) or a suspend: start again.
                if (alsa_.pcmRecover(pcm_, static_cast<int>(n), 1) < 0) return false;
                continue;
            }
            frames -= static_cast<uint32_t>(n);
            bytes += static_cast<size_t>(n) * frameBytes_;
        }
        return true;
    }
    uint64_t DelayFrames() override {
        const snd_pcm_state_t state = alsa_.pcmState(pcm_);
        if (state != SND_PCM_STATE_RUNNING && state != SND_PCM_STATE_PAUSED && state != SND_PCM_STATE_DRAINING) {
            // Prepared: nothing started yet, everything written is pending;
            // underrun: everything written has been heard.
            if (state == SND_PCM_STATE_PREPARED) return pendingUnstarted_;
            return 0;
        }
        snd_pcm_sframes_t delay = 0;
        if (alsa_.pcmDelay(pcm_, &delay) < 0 || delay < 0) return 0;
        return static_cast<uint64_t>(delay);
    }
    bool CanPause() override { return canPause_; }
    void Pause(bool pause) override {
        const snd_pcm_state_t state = alsa_.pcmState(pcm_);
        if (pause && state == SND_PCM_STATE_RUNNING) alsa_.pcmPause(pcm_, 1);
        if (!pause && state == SND_PCM_STATE_PAUSED) alsa_.pcmPause(pcm_, 0);
    }
    // What the stream holds is thrown away at once, like the queue.
    void Drop() override {
        alsa_.pcmDrop(pcm_);
        alsa_.pcmPrepare(pcm_);
        pendingUnstarted_ = 0;
    }
    // The stream starts by itself once its buffer is full (starting it
    // with less makes the sound server's plugin stall for seconds); a
    // shorter tail is started here.
    void Start() override {
        if (alsa_.pcmState(pcm_) == SND_PCM_STATE_PREPARED && pendingUnstarted_ > 0) alsa_.pcmStart(pcm_);
    }
    void NoteWritten(uint32_t frames) override {
        if (alsa_.pcmState(pcm_) == SND_PCM_STATE_PREPARED)
            pendingUnstarted_ += frames;
        else
            pendingUnstarted_ = 0;
    }

private:
    const AlsaLibrary& alsa_;
    snd_pcm_t* pcm_ = nullptr;
    uint32_t frameBytes_ = 1;
    bool canPause_ = false;
    uint64_t pendingUnstarted_ = 0;
};

}  // namespace

std::unique_ptr<Sink> OpenAlsaSink(const char* name, const WaveFormat& format) {
    const AlsaLibrary* alsa = Alsa();
    if (alsa == nullptr) return nullptr;
    auto sink = std::make_unique<AlsaSink>(*alsa);
    if (!sink->Open(name, format)) return nullptr;
    return sink;
}

}  // namespace vexa::platform
