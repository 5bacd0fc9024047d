// Timing helpers shared by the benchmarks: best-of-three runs of the offline
// decode and of the mpg123 command-line decoder (output discarded).
#pragma once

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "engine/offline_decode.h"

namespace benchtiming {

using Clock = std::chrono::steady_clock;

inline double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Seconds of the best of three runs; negative when mpg123 cannot run.
inline double TimeMpg123(const std::string& path) {
    const std::string command = "mpg123 -q -s '" + path + "' > /dev/null 2>&1";
    double best = -1.0;
    for (int run = 0; run < 3; ++run) {
        const Clock::time_point start = Clock::now();
        if (std::system(command.c_str()) != 0) return -1.0;
        const double seconds = SecondsSince(start);
        if (best < 0.0 || seconds < best) best = seconds;
    }
    return best;
}

// The result of the last of three decodes; seconds is the best time.
inline vexa::OfflineResult DecodeBestOfThree(const std::vector<uint8_t>& stream, const vexa::OfflineSettings& settings,
                                             double& seconds) {
    seconds = -1.0;
    vexa::OfflineResult result;
    for (int run = 0; run < 3; ++run) {
        const Clock::time_point start = Clock::now();
        result = vexa::DecodeToMemory(stream.data(), static_cast<uint32_t>(stream.size()), settings);
        const double elapsed = SecondsSince(start);
        if (seconds < 0.0 || elapsed < seconds) seconds = elapsed;
    }
    return result;
}

}  // namespace benchtiming
