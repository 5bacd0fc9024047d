// The benchmark's host: decodes a file in record-only mode through the
// exported interface, as a player converting a file would, and prints the
// best wall-clock time and the best processor time (all threads) in seconds
// of several runs, measured inside the program from VexaEngine_Play until the
// engine reports the end, so that a Windows build under Wine is timed without
// Wine's start-up. Processor time is what a busy machine distorts least. The
// WAVs written are removed after each run. Builds for Linux (the shared
// library) and Windows (the DLL).
//
//   bench_engine_host RUNS ENGINE QUALITY MONO EIGHTBIT INPUT FOLDER
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/resource.h>
#endif

#include "vexaengine.h"

namespace {

// User and system time of the whole process so far, in seconds.
double ProcessorSeconds() {
#if defined(_WIN32)
    FILETIME created, exited, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &created, &exited, &kernel, &user);
    const auto ticks = [](const FILETIME& t) {
        return (static_cast<uint64_t>(t.dwHighDateTime) << 32) | t.dwLowDateTime;
    };
    return static_cast<double>(ticks(kernel) + ticks(user)) * 1e-7;
#else
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
#endif
}

struct RunTime {
    double wall = -1.0;  // negative when the run failed
    double processor = 0.0;
};

RunTime RecordOnce(const char* input, const char* folder) {
    char recordFolder[256] = {};
    char saveFolder[256] = {};
    std::strncpy(recordFolder, folder, sizeof recordFolder - 1);
    RunTime time;
    const double processorStart = ProcessorSeconds();
    const auto start = std::chrono::steady_clock::now();
    if (VexaEngine_Play(nullptr, input, 0, recordFolder, 1, saveFolder) != 1) return time;
    // A short poll: its period is all the timing can be off by.
    while (VexaEngine_GetMode() != VEXA_MODE_ENDED) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    time.wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    time.processor = ProcessorSeconds() - processorStart;
    VexaEngine_Stop();
    return time;
}

void RemoveRecordings(const char* folder) {
    std::error_code ignored;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored))
        if (entry.path().extension() == ".wav") std::filesystem::remove(entry.path(), ignored);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 8) {
        std::fprintf(stderr, "usage: bench_engine_host RUNS ENGINE QUALITY MONO EIGHTBIT INPUT FOLDER\n");
        return 2;
    }
    const int runs = std::atoi(argv[1]);
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    VexaEngine_SetEngine(std::atoi(argv[2]));
    VexaEngine_SetQuality(std::atoi(argv[3]));
    VexaEngine_SetChannel(std::atoi(argv[4]));
    VexaEngine_Set8bitResolution(std::atoi(argv[5]));
    RunTime best;
    for (int run = 0; run < runs; ++run) {
        const RunTime time = RecordOnce(argv[6], argv[7]);
        RemoveRecordings(argv[7]);
        if (time.wall < 0.0) {
            std::fprintf(stderr, "bench_engine_host: %s does not play\n", argv[6]);
            return 1;
        }
        if (best.wall < 0.0 || time.wall < best.wall) best.wall = time.wall;
        if (run == 0 || time.processor < best.processor) best.processor = time.processor;
    }
    std::printf("%.6f %.6f\n", best.wall, best.processor);
    return 0;
}
