// Decoding through the DLL: record-only runs that write automatically named
// WAV files through the WinMM RIFF calls (compared byte for byte with the
// Linux library's by run_wine_tests.sh), and a smoke test of waveOut.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "vexaengine.h"
#include "windows/host.h"

namespace vexahost {
namespace {

// What is recorded: every layer, every numeric engine, every rate, mono and
// 8-bit output. run_wine_tests.sh has the Linux library record the same list
// (written by the host to recordings.txt) and compares the files byte for byte.
struct Recording {
    const char* vector;
    int32_t engine;     // 0 single, 1 double, 2 fixed, 3 mixed
    int32_t quality;    // 0 full, 1 half, 2 quarter rate
    int32_t mono;       // SetChannel argument
    int32_t eightBit;
};
const Recording kRecordings[] = {
    {"l1-fl1", 0, 0, 0, 0},   {"l2-fl10", 0, 0, 0, 0},  {"l3-compl", 0, 0, 0, 0},
    {"l3-compl", 1, 0, 0, 0}, {"l2-fl16", 2, 1, 0, 0},  {"l3-he_48khz", 3, 2, 1, 0},
    {"l1-fl3", 1, 0, 0, 1},   {"l3-si_huff", 2, 0, 1, 1},
};

constexpr uint32_t kDecodeTimeoutMs = 60000;

// The WAV itself is compared with the Linux library's by run_wine_tests.sh.
void RecordVector(Engine& engine, const HostOptions& options, const Recording& r) {
    char name[128];
    std::snprintf(name, sizeof name, "record %s engine %d quality %d%s%s: Play, the end, Stop", r.vector, r.engine,
                  r.quality, r.mono ? " mono" : "", r.eightBit ? " 8-bit" : "");
    engine.Call(SetEngine, r.engine);
    engine.Call(SetQuality, r.quality);
    engine.Call(SetChannel, r.mono);
    engine.Call(Set8bitResolution, r.eightBit);
    const int32_t played = PlayFile(engine, JoinPath(options.vectorsDir, std::string(r.vector) + ".bit"),
                                    options.workDir, 1);
    const bool ended = played == 1 && WaitForMode(engine, VEXA_MODE_ENDED, kDecodeTimeoutMs);
    const int32_t mode = engine.Call(GetMode);
    Check(played == 1 && ended && engine.Call(Stop) == 1, name, "Play %d, mode %d", played, mode);
}

// One line per recording, in order: engine quality mono eightBit input.
void WriteManifest(const HostOptions& options) {
    FILE* manifest = std::fopen(JoinPath(options.workDir, "recordings.txt").c_str(), "wb");
    if (manifest == nullptr) return;
    for (const Recording& r : kRecordings) {
        std::fprintf(manifest, "%d %d %d %d %s.bit\n", r.engine, r.quality, r.mono, r.eightBit, r.vector);
    }
    std::fclose(manifest);
}

// Stop in the middle of a record-only run: prompt, and the WAV is finished:
// the WinMM RIFF calls fill in the RIFF chunk's and the data chunk's sizes
// (after the 18-byte "fmt " chunk). The rest of the layout is held by the
// byte-for-byte comparison with Linux.
void StopWhileRecording(Engine& engine, const HostOptions& options, int number) {
    const std::string source = JoinPath(options.vectorsDir, "l3-sin1k0db.bit");
    if (!CheckEqual(PlayFile(engine, source, options.workDir, 1), 1, "record stop: Play returns 1")) return;
    Sleep(100);
    const ULONGLONG start = GetTickCount64();
    CheckEqual(engine.Call(Stop), 1, "record stop: Stop returns 1");
    const int32_t stopMs = static_cast<int32_t>(GetTickCount64() - start);
    Check(stopMs < 1000, "record stop: Stop returns promptly", "%d ms", stopMs);
    char wavName[64];
    std::snprintf(wavName, sizeof wavName, "%02d-l3-sin1k0db.wav", number);
    std::string wav = ReadFileBytes(JoinPath(options.workDir, wavName));
    const size_t size = wav.size();
    wav.resize(std::max<size_t>(size, 46));
    uint32_t riff, data;  // little-endian, as the host
    std::memcpy(&riff, &wav[4], 4);
    std::memcpy(&data, &wav[42], 4);
    Check(wav.compare(0, 4, "RIFF") == 0 && riff == size - 8 && wav.compare(38, 4, "data") == 0 && data == size - 46,
          "record stop: the partial recording is finished", "riff %u data %u size %lu", riff, data,
          static_cast<unsigned long>(size));
}

}  // namespace

void RunRecordChecks(Engine& engine, const HostOptions& options) {
    RestoreDefaults(engine);
    engine.Call(SetOutputOptions, 1, 16, 1, 0);
    // Automatic names count from 01 for each load of the library; the failed
    // Plays before did not reach the recorder.
    WriteManifest(options);
    for (const Recording& recording : kRecordings) RecordVector(engine, options, recording);
    RestoreDefaults(engine);
    engine.Call(SetOutputOptions, 1, 16, 1, 0);
    StopWhileRecording(engine, options, static_cast<int>(std::size(kRecordings)) + 1);
    RestoreDefaults(engine);
}

// A smoke test of the waveOut path: the position follows the device, pause
// holds it, a seek moves it, Stop is prompt and a stream played out ends.
// Timing in detail is the Linux tests' business.
void RunSoundChecks(Engine& engine, const HostOptions& options) {
    RestoreDefaults(engine);
    const std::string source = JoinPath(options.vectorsDir, "l3-sin1k0db.bit");  // about eight seconds
    if (!CheckEqual(PlayFile(engine, source, options.workDir, 0), 1, "sound: Play returns 1")) return;
    const auto positionPasses = [&](int32_t ms) {
        return WaitUntil([&] { return engine.Call(GetPosition) >= ms; }, 5000);
    };
    Check(positionPasses(1000), "sound: the position advances", "at %d ms", engine.Call(GetPosition));
    CheckEqual(engine.Call(Pause), 1, "sound: Pause returns 1");
    Sleep(200);  // the device's own reset settles first
    const int32_t pausedAt = engine.Call(GetPosition);
    Sleep(500);
    Check(engine.Call(GetPosition) - pausedAt < 50, "sound: pause holds the position");
    CheckEqual(engine.Call(Seek, 5000), 1, "sound: Seek while paused returns 1");
    CheckEqual(engine.Call(GetMode), VEXA_MODE_PLAYING, "sound: Seek while paused resumes playing");
    Check(positionPasses(5200), "sound: Seek(5000) plays on from 5 s", "at %d ms", engine.Call(GetPosition));
    const ULONGLONG stopStart = GetTickCount64();
    CheckEqual(engine.Call(Stop), 1, "sound: Stop returns 1");
    Check(GetTickCount64() - stopStart < 1000, "sound: Stop returns promptly");

    const std::string shortSource = JoinPath(options.vectorsDir, "l1-fl4.bit");
    if (CheckEqual(PlayFile(engine, shortSource, options.workDir, 0), 1, "sound: Play of a short stream")) {
        const int32_t lengthMs = engine.Call(GetLength);
        Check(WaitForMode(engine, VEXA_MODE_ENDED, static_cast<uint32_t>(lengthMs) + 10000), "sound: end gives 525",
              "mode %d after %d ms of stream", engine.Call(GetMode), lengthMs);
        CheckEqual(engine.Call(Stop), 1, "sound: Stop after the end");
    }
}

}  // namespace vexahost
