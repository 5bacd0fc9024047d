// One offline decode of a file, nothing else: the program to run under a
// profiler (perf record, valgrind --tool=callgrind) when comparing the
// decoder's stages before and after a change.
//
//   profile_decode FILE [ENGINE [QUALITY [REPEATS]]]
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <vector>

#include "engine/offline_decode.h"

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: profile_decode FILE [ENGINE [QUALITY [REPEATS]]]\n");
        return 2;
    }
    std::ifstream in(argv[1], std::ios::binary);
    const std::vector<uint8_t> stream{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    vexa::OfflineSettings settings;
    settings.engineKind = argc > 2 ? std::atoi(argv[2]) : 0;
    settings.quality = argc > 3 ? std::atoi(argv[3]) : 0;
    const int repeats = argc > 4 ? std::atoi(argv[4]) : 1;
    size_t bytes = 0;
    for (int run = 0; run < repeats; ++run)
        bytes += vexa::DecodeToMemory(stream.data(), static_cast<uint32_t>(stream.size()), settings).pcm.size();
    std::printf("%zu PCM bytes\n", bytes);
    return bytes > 0 ? 0 : 1;
}
