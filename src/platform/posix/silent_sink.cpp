// The silent sink: a device that "plays" in real time without a sound card.
#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/posix/wave_sink.h"

namespace vexa::platform {
namespace {

class SilentSink final : public Sink {
public:
    explicit SilentSink(uint32_t rate) : rate_(rate), capacity_(uint64_t{rate} * kSinkBufferMs / 1000) {}

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
    bool CanPause() override { return canPause_; }
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
    bool canPause_ = !HardwarePauseDenied();
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

}  // namespace

std::unique_ptr<Sink> MakeSilentSink(uint32_t rate) { return std::make_unique<SilentSink>(rate); }

}  // namespace vexa::platform
