// Cost of the effect chain: each effect, each kind of preset processor and
// everything at once, run over 60 s of 44.1 kHz stereo noise in 200 ms
// output blocks. Prints the processing time per second of audio and the
// share of one core it takes to keep up.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "dsp/effect_chain.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int32_t kRate = 44100;
constexpr int32_t kSeconds = 60;
constexpr int32_t kBlockSamples = 2 * kRate / 5;  // 200 ms, stereo

struct Chain {
    const char* name;
    vexa::EffectRequest request;
};

// Best of three runs, in seconds.
double TimeChain(const vexa::EffectRequest& request, const std::vector<int16_t>& audio) {
    static vexa::EffectSettings settings;
    double best = -1;
    for (int run = 0; run < 3; ++run) {
        vexa::ChangeEffects(settings, request);
        vexa::PrepareEffects(settings, kRate);
        const vexa::EffectEntryPoints effects = vexa::ChooseEffectEntryPoints(settings, kRate, 2);
        std::vector<int16_t> block(kBlockSamples);
        const Clock::time_point start = Clock::now();
        for (size_t at = 0; at + kBlockSamples <= audio.size(); at += kBlockSamples) {
            std::copy(audio.begin() + static_cast<long>(at), audio.begin() + static_cast<long>(at + kBlockSamples),
                      block.begin());
            vexa::Output_ProcessBlock(effects, block.data(), kBlockSamples);
        }
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        if (best < 0 || seconds < best) best = seconds;
    }
    return best;
}

}  // namespace

int main() {
    std::vector<int16_t> audio(static_cast<size_t>(2 * kRate * kSeconds));
    uint32_t seed = 1;
    for (int16_t& sample : audio) {
        seed = seed * 1664525u + 1013904223u;
        sample = static_cast<int16_t>(static_cast<int32_t>(seed >> 16) % 20000 - 10000);
    }
    const Chain chains[] = {
        {"none (copy only)", {}},
        {"reverb", {.reverbOn = 1, .reverbType = 2, .reverbLevel = 8}},
        {"chorus", {.chorusOn = 1, .chorusLevel = 12}},
        {"widening", {.wideOn = 1, .wideAmount = 12}},
        {"preset 0 flanger", {.presetOn = 1, .presetNumber = 0}},
        {"preset 6 pitch +7", {.presetOn = 1, .presetNumber = 6}},
        {"preset 10 phaser", {.presetOn = 1, .presetNumber = 10}},
        {"reverb+chorus+wide+pitch", {1, 2, 8, 1, 12, 1, 12, 1, 6}},
    };
    std::printf("%-26s %14s %12s\n", "chain", "ms per s audio", "% of a core");
    for (const Chain& chain : chains) {
        const double perSecond = TimeChain(chain.request, audio) / kSeconds;
        std::printf("%-26s %14.3f %12.3f\n", chain.name, perSecond * 1000, perSecond * 100);
    }
    return 0;
}
