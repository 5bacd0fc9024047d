// The reverb: an input line with eight early-reflection taps, six damped
// combs and an all-pass, in 32-bit fixed point. Four rooms (types 1, 2, 3 and
// the default for any other type) differ in their taps, gains and comb
// lengths.
//
// Threads: Reset and the passes run under the effect chain's lock.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vexa::effects {

struct ReverbRoom;

class Reverb {
public:
    static constexpr int kInputLength = 4096;
    static constexpr int kCombCount = 6;
    static constexpr int kCombCapacity = 2048;
    static constexpr int kAllPassLength = 64;

    // Clears every line and selects the room of type.
    void Reset(int32_t type);
    // One frame's mono input in, the wet signal out.
    int32_t Kernel(int32_t input);
    // In place on interleaved frames; the wet signal goes to both channels.
    void ProcessStereo(std::span<int16_t> frames, int32_t level);
    void ProcessMono(std::span<int16_t> samples, int32_t level);

private:
    const ReverbRoom* room_ = nullptr;
    std::array<int32_t, kInputLength> input_{};
    int32_t inputIndex_ = 0;
    std::array<std::array<int32_t, kCombCapacity>, kCombCount> combs_{};
    std::array<int32_t, kCombCount> combIndex_{};
    std::array<int32_t, kCombCount> combState_{};  // each comb's one-value damping filter
    std::array<int32_t, kAllPassLength> allPass_{};
    int32_t allPassIndex_ = 0;
};

// The wet level for a stream: the host's level is meant at 44,100 Hz and
// scales with the sample rate (truncated toward zero).
int32_t ReverbLevelFor(int32_t sampleRate, int32_t reverbLevel);

}  // namespace vexa::effects
