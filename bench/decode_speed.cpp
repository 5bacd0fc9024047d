// Decodes a few minutes of Layer II (an ISO vector looped) with each engine
// and prints frames per second, and the ratio to mpg123 decoding the same
// file in the same run (run as a separate program, output discarded).
//
//   bench_decode [vector.bit] [seconds of audio]
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "bench_timing.h"
#include "engine/offline_decode.h"

namespace {

using benchtiming::TimeMpg123;

std::vector<uint8_t> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// The vector repeated until it lasts at least `seconds`.
std::vector<uint8_t> LoopStream(const std::vector<uint8_t>& vector, double vectorSeconds, double seconds) {
    std::vector<uint8_t> stream;
    for (double length = 0.0; length < seconds; length += vectorSeconds)
        stream.insert(stream.end(), vector.begin(), vector.end());
    return stream;
}

vexa::OfflineResult Decode(const std::vector<uint8_t>& stream, int32_t engine, double& seconds) {
    vexa::OfflineSettings settings;
    settings.engineKind = engine;
    return benchtiming::DecodeBestOfThree(stream, settings, seconds);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string vectorPath = argc > 1 ? argv[1] : std::string(VEXA_SHARED_DIR) + "/vectors/iso/l2-fl10.bit";
    const double targetSeconds = argc > 2 ? std::atof(argv[2]) : 180.0;
    const std::vector<uint8_t> vector = ReadFile(vectorPath);
    if (vector.empty()) {
        std::fprintf(stderr, "cannot read %s\n", vectorPath.c_str());
        return 1;
    }
    double unused = 0.0;
    const vexa::OfflineResult probe = Decode(vector, 0, unused);
    if (probe.status != 1 || probe.framesDecoded == 0) {
        std::fprintf(stderr, "%s does not decode\n", vectorPath.c_str());
        return 1;
    }
    const double vectorSeconds = probe.framesDecoded * 1152.0 / probe.sampleRate;
    const std::vector<uint8_t> stream = LoopStream(vector, vectorSeconds, targetSeconds);
    const std::string loopPath = "bench_decode_stream.mp2";
    std::ofstream(loopPath, std::ios::binary).write(reinterpret_cast<const char*>(stream.data()),
                                                    static_cast<std::streamsize>(stream.size()));

    const double loopFrames = static_cast<double>(stream.size() / vector.size()) * probe.framesDecoded;
    const double mpg123Seconds = TimeMpg123(loopPath);
    static const char* const kEngines[4] = {"single", "double", "fixed", "mixed"};
    std::printf("stream: %s looped to %zu bytes\n", vectorPath.c_str(), stream.size());
    for (int32_t engine = 0; engine < 4; ++engine) {
        double seconds = 0.0;
        const vexa::OfflineResult result = Decode(stream, engine, seconds);
        const double framesPerSecond = result.framesDecoded / seconds;
        std::printf("engine %d (%-6s): %7d frames (%.1f s of audio) in %.3f s: %9.0f frames/s, %6.1fx real time",
                    engine, kEngines[engine], result.framesDecoded, result.framesDecoded * 1152.0 / probe.sampleRate,
                    seconds, framesPerSecond, result.framesDecoded * 1152.0 / probe.sampleRate / seconds);
        if (mpg123Seconds > 0.0) std::printf(", %.2f x mpg123 speed", mpg123Seconds / seconds);
        std::printf("\n");
    }
    if (mpg123Seconds > 0.0)
        std::printf("mpg123 -q -s: %.3f s (%.0f frames/s)\n", mpg123Seconds, loopFrames / mpg123Seconds);
    else
        std::printf("mpg123 not available: no comparison\n");
    std::remove(loopPath.c_str());
    return 0;
}
