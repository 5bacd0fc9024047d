// The chorus: two lines whose taps sweep as a triangle between about 293 and
// 943 frames of delay, one a quarter sweep ahead of the other, each feeding
// back a quarter of its tap with the opposite sign. 32-bit fixed point.
//
// Threads: Reset and the passes run under the effect chain's lock.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vexa::effects {

class Chorus {
public:
    static constexpr int kLineLength = 2048;
    // The sweep phase advances once every three frames and runs through
    // 65,536 values: one sweep lasts 196,608 frames.
    static constexpr int32_t kFramesPerPhaseStep = 3;

    struct Taps {
        int32_t a;
        int32_t b;
    };

    void Reset();
    Taps Kernel(int32_t input);
    // Stereo: tap A goes to the left channel, tap B to the right.
    void ProcessStereo(std::span<int16_t> frames, int32_t level);
    // Mono: the mean of both taps.
    void ProcessMono(std::span<int16_t> samples, int32_t level);

private:
    struct Line {
        std::array<int32_t, kLineLength> values{};
        int32_t write = 0;
        int32_t feedback = 0;
        void Push(int32_t input);
        // The interpolated tap for this phase; updates the feedback.
        int32_t Tap(int16_t phase);
    };
    Line lineA_;
    Line lineB_;
    int16_t phase_ = 0;
    int32_t countdown_ = 1;  // 1: the phase steps on the next frame
};

}  // namespace vexa::effects
