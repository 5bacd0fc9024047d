#include "dsp/reverb.h"

#include <algorithm>
#include <limits>

#include "dsp/sample_arith.h"

namespace vexa::effects {

struct ReverbRoom {
    std::array<int32_t, 8> tapOffsets;
    int32_t earlyGain;     // G, Q15 of the early reflections into the combs
    int32_t damping;       // F, Q15 of each comb's filter state
    std::array<int32_t, Reverb::kCombCount> combWrap;      // comb k cycles through wrap + 1 entries
    std::array<int32_t, Reverb::kCombCount> combFeedback;  // Q15
    int32_t allPassGain;   // Q15
};

namespace {

// Early-reflection tap gains (Q15), the same in every room.
constexpr std::array<int32_t, 8> kTapGains = {5632, 5120, 4864, 4352, 4608, 4096, 1536, 1664};

constexpr ReverbRoom kRooms[4] = {
    {{0, 293, 382, 513, 670, 809, 1006, 1217}, 7680, 8960,
     {1380, 1470, 1558, 1652, 1732, 1822}, {21576, 21496, 21416, 21336, 21257, 21177}, 10240},  // default
    {{0, 239, 310, 413, 540, 653, 810, 983}, 6656, 9984,
     {1116, 1192, 1282, 1326, 1408, 1498}, {17266, 17216, 17166, 17116, 17066, 17016}, 3072},
    {{0, 263, 336, 449, 598, 725, 904, 1097}, 7168, 9472,
     {1230, 1318, 1446, 1498, 1570, 1692}, {18928, 18872, 18817, 18762, 18707, 18651}, 4096},
    {{0, 331, 428, 575, 754, 917, 1140, 1379}, 8192, 8192,
     {1510, 1656, 1740, 1846, 1930, 2028}, {23616, 23518, 23420, 23321, 23223, 23125}, 12288},
};

}  // namespace

void Reverb::Reset(int32_t type) {
    room_ = &kRooms[type >= 1 && type <= 3 ? type : 0];
    input_.fill(0);
    for (auto& comb : combs_) comb.fill(0);
    combIndex_.fill(0);
    combState_.fill(0);
    allPass_.fill(0);
    inputIndex_ = 0;
    allPassIndex_ = 0;
}

int32_t Reverb::Kernel(int32_t input) {
    if (room_ == nullptr) Reset(0);
    const ReverbRoom& room = *room_;
    input_[static_cast<std::size_t>(inputIndex_)] = input;
    inputIndex_ = (inputIndex_ - 1) & (kInputLength - 1);

    int32_t early = 0;
    for (std::size_t t = 0; t < kTapGains.size(); ++t) {
        const int32_t at = (inputIndex_ + room.tapOffsets[t]) & (kInputLength - 1);
        const int32_t tapped = input_[static_cast<std::size_t>(at)];
        early = Add(early, Mul(kTapGains[t], tapped));
    }
    const int32_t excitation = Mul(early >> 15, room.earlyGain);

    int32_t sum = 0;
    for (std::size_t k = 0; k < kCombCount; ++k) {
        int32_t& index = combIndex_[k];
        int32_t& entry = combs_[k][static_cast<std::size_t>(index)];
        const int32_t returned = entry;
        sum = Add(sum, returned);
        const int32_t filtered = Sub(Mul(combState_[k], room.damping), Mul(returned, room.combFeedback[k]));
        entry = Add(filtered, excitation) >> 15;
        combState_[k] = filtered >> 15;
        if (--index < 0) index = room.combWrap[k];
    }

    const int32_t delayed = allPass_[static_cast<std::size_t>(allPassIndex_)];
    const int32_t update = Mul(Sub(sum, delayed), room.allPassGain) >> 15;
    allPass_[static_cast<std::size_t>(allPassIndex_)] = Add(sum, update);
    allPassIndex_ = (allPassIndex_ + 1) & (kAllPassLength - 1);
    return Add(delayed, update);
}

void Reverb::ProcessStereo(std::span<int16_t> frames, int32_t level) {
    for (std::size_t i = 0; i + 1 < frames.size(); i += 2) {
        const int32_t left = frames[i];
        const int32_t right = frames[i + 1];
        const int32_t wet = Mul(Kernel(left + right), level) >> 4;
        frames[i] = Clamp(Add(left, wet));
        frames[i + 1] = Clamp(Add(right, wet));
    }
}

void Reverb::ProcessMono(std::span<int16_t> samples, int32_t level) {
    for (int16_t& sample : samples) {
        const int32_t wet = Mul(Kernel(sample), level) >> 3;
        sample = Clamp(Add(sample, wet));
    }
}

int32_t ReverbLevelFor(int32_t sampleRate, int32_t reverbLevel) {
    // In float, where 44,100 times the float nearest 1/44100 rounds to 1:
    // at 44,100 Hz the level is the host's own.
    constexpr float kPerReferenceRate = 1.0f / 44100.0f;
    const float level = static_cast<float>(static_cast<int64_t>(sampleRate) * reverbLevel) * kPerReferenceRate;
    constexpr auto kLow = static_cast<float>(std::numeric_limits<int32_t>::min());
    constexpr float kHigh = 2147483520.0f;  // the largest float below 2^31
    return static_cast<int32_t>(std::clamp(level, kLow, kHigh));
}

}  // namespace vexa::effects
