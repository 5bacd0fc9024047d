#include "dsp/chorus.h"

#include "dsp/sample_arith.h"

namespace vexa::effects {

namespace {

constexpr int32_t kMask = Chorus::kLineLength - 1;
constexpr int32_t kSweepDepth = 1300;    // 16.16 frames of delay per phase step
constexpr int32_t kTapOffset = 294;      // from the write index: 293 frames of delay at phase 0
constexpr int16_t kQuarterSweep = 16383;

// |phase|, with the most negative phase read as the most positive.
int32_t Magnitude(int16_t phase) { return phase == -32768 ? 32767 : (phase < 0 ? -phase : phase); }

int16_t AdvancePhase(int16_t phase, int32_t by) { return static_cast<int16_t>(static_cast<uint16_t>(phase + by)); }

}  // namespace

void Chorus::Line::Push(int32_t input) {
    values[static_cast<std::size_t>(write)] = Sub(input, feedback) >> 16;
    write = (write - 1) & kMask;
}

int32_t Chorus::Line::Tap(int16_t phase) {
    const int32_t position = Magnitude(phase) * kSweepDepth;  // at most 42.6 million: no overflow
    const int32_t fraction = position & 0xFFFF;
    const int32_t index = ((position >> 16) + write + kTapOffset) & kMask;
    const int32_t near = values[static_cast<std::size_t>(index)];
    const int32_t far = values[static_cast<std::size_t>((index + 1) & kMask)];
    const int32_t value = Add(Mul(Sub(far, near), fraction), ShiftLeft(near, 16));
    feedback = value >> 2;
    return value >> 15;
}

void Chorus::Reset() {
    lineA_ = Line{};
    lineB_ = Line{};
    phase_ = 0;
    countdown_ = 1;
}

Chorus::Taps Chorus::Kernel(int32_t input) {
    lineA_.Push(input);
    if (countdown_ == 1) {
        countdown_ = kFramesPerPhaseStep;
        phase_ = AdvancePhase(phase_, 1);
    } else {
        --countdown_;
    }
    Taps taps{};
    taps.a = lineA_.Tap(phase_);
    lineB_.Push(input);
    taps.b = lineB_.Tap(AdvancePhase(phase_, kQuarterSweep));
    return taps;
}

void Chorus::ProcessStereo(std::span<int16_t> frames, int32_t level) {
    for (std::size_t i = 0; i + 1 < frames.size(); i += 2) {
        const int32_t left = frames[i];
        const int32_t right = frames[i + 1];
        const Taps taps = Kernel(ShiftLeft(left + right, 12));
        frames[i] = Clamp(Add(left, Mul(taps.a, level) >> 3));
        frames[i + 1] = Clamp(Add(right, Mul(taps.b, level) >> 3));
    }
}

void Chorus::ProcessMono(std::span<int16_t> samples, int32_t level) {
    for (int16_t& sample : samples) {
        const Taps taps = Kernel(ShiftLeft(sample, 13));
        const int32_t wet = Add(Mul(taps.b, level) >> 3, Mul(taps.a, level) >> 3) >> 1;
        sample = Clamp(Add(sample, wet));
    }
}

}  // namespace vexa::effects
