#include "engine/level_scan.h"

#include <algorithm>
#include <cstdlib>

#include "decoder/decoder.h"
#include "dsp/equalizer.h"
#include "dsp/spectrum_history.h"
#include "engine/engine_record.h"
#include "engine/playback_requests.h"
#include "engine/seek.h"
#include "output/wave_output.h"
#include "stream/frame_reader.h"

namespace vexa {
namespace {

constexpr int kScanPositions = 10;
constexpr double kFirstPositionMs = 4000.0;  // the start usually sets the level
constexpr double kOtherPositionMs = 1000.0;

// Sum of squares; with two channels each pair counts with its louder sample.
double SumOfSquares(const int16_t* samples, int32_t count, int32_t channels) {
    double sum = 0.0;
    if (channels == 2) {
        for (int32_t i = 0; i + 1 < count; i += 2) {
            const double louder = std::max(std::abs(int32_t{samples[i]}), std::abs(int32_t{samples[i + 1]}));
            sum += louder * louder;
        }
    } else {
        for (int32_t i = 0; i < count; ++i) sum += static_cast<double>(samples[i]) * samples[i];
    }
    return sum;
}

// Decodes (and so measures) frames at the current position until more than
// limitMs have passed or the stream ends. false when a stop was requested.
bool DecodeStretch(EngineRecord& engine, ByteSource& source, double limitMs) {
    double sumMs = 0.0;
    while (sumMs <= limitMs) {
        if (StopAsked(engine)) return false;
        if (!ReadNextFrame(source, g_header)) break;
        DecodeFrame(g_header, 1);
        sumMs += engine.frameMs;
    }
    return true;
}

}  // namespace

int32_t MeasureLevel(EngineRecord& engine, const int16_t* samples, int32_t count) {
    const int32_t scale = engine.outputScale;
    if (scale < kLevelScanFloorScale) return 0;
    if (count <= 0) return 1;
    const double mean = SumOfSquares(samples, count, engine.channels) / count;
    const double ratio = kLevelScanPowerLimit / mean;
    if (ratio < 1.0) {
        int32_t lowered = static_cast<int32_t>(scale * ratio);
        if (lowered <= kLevelScanFloorScale) lowered = kLevelScanFloorScale;
        engine.outputScale = lowered;
        BuildWindowTables(lowered);
    }
    return 1;
}

bool RunLevelScan(EngineRecord& engine, ByteSource& source) {
    // The equalizer must not colour the measurement.
    const int32_t eqWasActive = g_equalizer.active.exchange(0);
    for (int position = 0; position < kScanPositions; ++position) {
        SeekToPercent(engine, g_header, static_cast<float>(10 * position));
        if (!DecodeStretch(engine, source, position == 0 ? kFirstPositionMs : kOtherPositionMs)) break;
    }
    Output_Flush();  // the last partial block is measured too
    {
        platform::LockGuard hold(engine.engineLock);
        ClearSpectrumHistory();
    }
    SeekToPercent(engine, g_header, 0.0f);
    const bool frameReady = ReadNextFrame(source, g_header);
    g_equalizer.active.store(eqWasActive);
    BuildWindowTables(engine.outputScale);
    return frameReady;
}

}  // namespace vexa
