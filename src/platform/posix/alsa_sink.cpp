// The ALSA sink: blocking interleaved writes into a PCM whose buffer holds
// about kSinkBufferMs.
#include <alsa/asoundlib.h>

#include <mutex>

#include "platform/posix/wave_sink.h"

namespace vexa::platform {
namespace {

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
        const unsigned int latencyUs = kSinkBufferMs * 1000;
        if (snd_pcm_set_params(pcm_, sampleFormat, SND_PCM_ACCESS_RW_INTERLEAVED, format.channels,
                               format.samplesPerSec, 1, latencyUs) < 0)
            return false;
        snd_pcm_hw_params_t* params = nullptr;
        snd_pcm_hw_params_alloca(&params);
        canPause_ = snd_pcm_hw_params_current(pcm_, params) == 0 && snd_pcm_hw_params_can_pause(params) != 0 &&
                    !HardwarePauseDenied();
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
    bool CanPause() override { return canPause_; }
    void Pause(bool pause) override {
        const snd_pcm_state_t state = snd_pcm_state(pcm_);
        if (pause && state == SND_PCM_STATE_RUNNING) snd_pcm_pause(pcm_, 1);
        if (!pause && state == SND_PCM_STATE_PAUSED) snd_pcm_pause(pcm_, 0);
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
    void NoteWritten(uint32_t frames) override {
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

// ALSA prints its own complaints (no card, unknown device) to stderr; the
// engine reports failures through its results, and hosts decide what to show.
void QuietAlsaMessage(const char*, int, const char*, int, const char*, ...) {}

}  // namespace

std::unique_ptr<Sink> OpenAlsaSink(const char* name, const WaveFormat& format) {
    static std::once_flag quieted;
    std::call_once(quieted, [] { snd_lib_error_set_handler(QuietAlsaMessage); });
    auto sink = std::make_unique<AlsaSink>();
    if (!sink->Open(name, format)) return nullptr;
    return sink;
}

}  // namespace vexa::platform
