// What the equalizer and spectrum hooks cost: each engine decodes a looped
// stream (Layer I, II and III) with the equalizer off and on (offline path,
// best of seven); then the hooks alone run as often as that decode calls
// them, on blocks of the same size, with the equalizer off and on. The
// hooks' share of the decode time is what the two add to every frame.
//
//   bench_equalizer [seconds of audio]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <type_traits>
#include <string>
#include <vector>

#include "bench_timing.h"
#include "dsp/decoder_hooks.h"
#include "dsp/equalizer.h"
#include "dsp/spectrum_history.h"
#include "engine/offline_decode.h"

namespace {

using benchtiming::Clock;
using benchtiming::SecondsSince;

// Best of several runs: the machine may be shared, and the least disturbed
// run is the one that measures the code.
constexpr int kRuns = 7;

double DecodeSeconds(const std::vector<uint8_t>& stream, const vexa::OfflineSettings& settings, int64_t& frames) {
    double best = -1.0;
    for (int run = 0; run < kRuns; ++run) {
        const Clock::time_point start = Clock::now();
        frames = vexa::DecodeToMemory(stream.data(), static_cast<uint32_t>(stream.size()), settings).framesDecoded;
        const double seconds = SecondsSince(start);
        if (best < 0.0 || seconds < best) best = seconds;
    }
    return best;
}

std::vector<uint8_t> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// An ID3v1 trailer inside a looped stream would end it: copies leave it out.
std::vector<uint8_t> Loop(const std::vector<uint8_t>& piece, int times) {
    size_t size = piece.size();
    if (size > 128 && piece[size - 128] == 'T' && piece[size - 127] == 'A' && piece[size - 126] == 'G') size -= 128;
    std::vector<uint8_t> stream;
    for (int i = 0; i < times; ++i) stream.insert(stream.end(), piece.begin(), piece.begin() + static_cast<long>(size));
    return stream;
}

void SetEqualizer(bool on) {
    int32_t settings[vexa::kEqualizerBands] = {};
    if (on)
        for (int b = 0; b < vexa::kEqualizerBands; ++b) settings[b] = (b % 7) - 3;
    vexa::SetEqualizerBands(settings);
}

// The hooks as often as a decode calls them: per channel, `steps` sub-band
// blocks and `granules` line sets, each refilled from fresh noise first as
// the decoder refills its buffers. With withHooks false only the refills
// run, so the difference is the hooks' time. Seconds, best of three.
template <class S>
double TimeHooks(int64_t steps, int64_t granules, int channels, bool layer3, bool withHooks) {
    std::mt19937 random(1);
    std::uniform_real_distribution<double> value(-0.5, 0.5);
    const double scale = std::is_integral_v<S> ? 32768.0 : 1.0;
    std::vector<S> blockSource(32), lineSource(576), block(32), lines(576);
    for (S& x : blockSource) x = static_cast<S>(value(random) * scale);
    for (S& x : lineSource) x = static_cast<S>(value(random) * scale);
    vexa::ConfigureSpectrumHistory(layer3, std::is_integral_v<S> ? vexa::SpectrumRing::Integer : vexa::SpectrumRing::Float);
    double best = -1.0;
    for (int run = 0; run < kRuns; ++run) {
        vexa::ClearSpectrumHistory();
        const Clock::time_point start = Clock::now();
        for (int64_t i = 0; i < steps; ++i)
            for (int ch = 0; ch < channels; ++ch) {
                std::copy(blockSource.begin(), blockSource.end(), block.begin());
                if (withHooks) vexa::SubbandHook(block.data(), channels == 2 ? ch : -1);
                asm volatile("" : : "r"(block.data()) : "memory");
            }
        for (int64_t i = 0; i < granules; ++i)
            for (int ch = 0; ch < channels; ++ch) {
                std::copy(lineSource.begin(), lineSource.end(), lines.begin());
                if (withHooks) vexa::LineHook(lines.data(), channels == 2 ? ch : -1);
                asm volatile("" : : "r"(lines.data()) : "memory");
            }
        const double seconds = SecondsSince(start);
        if (best < 0.0 || seconds < best) best = seconds;
    }
    return best;
}

template <class S>
double HookSeconds(int64_t steps, int64_t granules, int channels, bool layer3) {
    const double total = TimeHooks<S>(steps, granules, channels, layer3, true);
    const double refills = TimeHooks<S>(steps, granules, channels, layer3, false);
    return total > refills ? total - refills : 0.0;
}

struct StreamCase {
    const char* name;
    std::string path;
    int layer;
};

}  // namespace

int main(int argc, char** argv) {
    const double targetSeconds = argc > 1 ? std::atof(argv[1]) : 120.0;
    const std::string shared = VEXA_SHARED_DIR;
    const StreamCase streams[] = {
        {"Layer I", shared + "/vectors/iso/l1-fl8.bit", 1},
        {"Layer II", shared + "/vectors/iso/l2-fl10.bit", 2},
        {"Layer III", std::string(VEXA_SOURCE_DIR) + "/assets/demo.mp3", 3},
    };
    static const char* const kEngines[4] = {"single", "double", "fixed", "mixed"};
    std::printf("%-9s %-6s %8s %9s %9s %7s %10s %10s\n", "stream", "engine", "frames", "off (s)", "on (s)", "on/off",
                "hooks off", "hooks on");
    for (const StreamCase& c : streams) {
        const std::vector<uint8_t> piece = ReadFile(c.path);
        if (piece.empty()) {
            std::fprintf(stderr, "cannot read %s\n", c.path.c_str());
            return 1;
        }
        vexa::OfflineSettings probeSettings;
        const vexa::OfflineResult probe = vexa::DecodeToMemory(piece.data(), static_cast<uint32_t>(piece.size()), probeSettings);
        const double pieceSeconds = probe.pcm.size() / (4.0 * probe.sampleRate);
        const std::vector<uint8_t> stream = Loop(piece, static_cast<int>(targetSeconds / pieceSeconds) + 1);
        const int channels = probe.header.channels == 1 ? 1 : 2;
        for (int32_t engine = 0; engine < 4; ++engine) {
            vexa::OfflineSettings settings;
            settings.engineKind = engine;
            int64_t frames = 0;
            SetEqualizer(false);
            const double off = DecodeSeconds(stream, settings, frames);
            SetEqualizer(true);
            const double on = DecodeSeconds(stream, settings, frames);
            const int64_t granules = c.layer == 3 ? frames * (probe.header.lsf ? 1 : 2) : 0;
            const int64_t steps = c.layer == 1 ? frames * 12 : (c.layer == 2 ? frames * 36 : granules * 18);
            const bool layer3 = c.layer == 3;
            const bool fixedHooks = engine == 2 || (engine == 3 && !layer3);
            double hooks[2];
            for (int eq = 0; eq < 2; ++eq) {
                SetEqualizer(eq == 1);
                hooks[eq] = engine == 1        ? HookSeconds<double>(steps, granules, channels, layer3)
                            : fixedHooks       ? HookSeconds<int32_t>(steps, granules, channels, layer3)
                                               : HookSeconds<float>(steps, granules, channels, layer3);
            }
            SetEqualizer(false);
            std::printf("%-9s %-6s %8lld %9.3f %9.3f %6.1f%% %9.2f%% %9.2f%%\n", c.name, kEngines[engine],
                        static_cast<long long>(frames), off, on, 100.0 * (on / off - 1.0), 100.0 * hooks[0] / off,
                        100.0 * hooks[1] / off);
        }
    }
    return 0;
}
