// Layer III decoding speed: a 128 kbit/s joint-stereo MP3 of 70 seconds,
// made at run time by sox and lame from a synthesised signal (nothing is
// committed), decoded in every engine through the offline path, and by the
// mpg123 command-line decoder in the same run for comparison.
//
//   bench_layer3 [seconds of audio]
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

// A sine sweep and pink noise with short noise bursts, encoded at 128 kbit/s.
bool MakeStream(const std::string& wav, const std::string& mp3, double seconds) {
    const std::string length = std::to_string(static_cast<int>(seconds));
    const std::string synth = "sox -n -r 44100 -c 2 -b 16 '" + wav + "' synth " + length +
                              " sine 110-12000 pinknoise tremolo 7 60 vol 0.5 2>/dev/null";
    const std::string encode = "lame --quiet -b 128 -m j '" + wav + "' '" + mp3 + "' 2>/dev/null";
    return std::system(synth.c_str()) == 0 && std::system(encode.c_str()) == 0;
}

vexa::OfflineResult Decode(const std::vector<uint8_t>& stream, int32_t engine, int32_t quality, double& seconds) {
    vexa::OfflineSettings settings;
    settings.engineKind = engine;
    settings.quality = quality;
    return benchtiming::DecodeBestOfThree(stream, settings, seconds);
}

}  // namespace

int main(int argc, char** argv) {
    const double targetSeconds = argc > 1 ? std::atof(argv[1]) : 70.0;
    const std::string wav = "bench_layer3_signal.wav";
    const std::string mp3 = "bench_layer3_stream.mp3";
    if (!MakeStream(wav, mp3, targetSeconds)) {
        std::fprintf(stderr, "sox and lame are needed to make the stream\n");
        return 1;
    }
    std::remove(wav.c_str());
    const std::vector<uint8_t> stream = ReadFile(mp3);
    const double mpg123Seconds = TimeMpg123(mp3);
    static const char* const kEngines[4] = {"single", "double", "fixed", "mixed"};
    std::printf("stream: %.0f s, 128 kbit/s joint stereo, 44.1 kHz, %zu bytes\n", targetSeconds, stream.size());
    double frames = 0.0;
    for (int32_t quality = 0; quality < 3; ++quality) {
        for (int32_t engine = 0; engine < 4; ++engine) {
            double seconds = 0.0;
            const vexa::OfflineResult result = Decode(stream, engine, quality, seconds);
            frames = result.framesDecoded;
            std::printf("quality %d engine %d (%-6s): %6d frames in %.3f s: %8.0f frames/s, %6.1fx real time", quality,
                        engine, kEngines[engine], result.framesDecoded, seconds, result.framesDecoded / seconds,
                        result.framesDecoded * 1152.0 / 44100.0 / seconds);
            if (mpg123Seconds > 0.0) std::printf(", %.2f x mpg123 speed", mpg123Seconds / seconds);
            std::printf("\n");
        }
    }
    if (mpg123Seconds > 0.0)
        std::printf("mpg123 -q -s: %.3f s (%.0f frames/s)\n", mpg123Seconds, frames / mpg123Seconds);
    else
        std::printf("mpg123 not available: no comparison\n");
    std::remove(mp3.c_str());
    return 0;
}
