// Decoding through the DLL: record-only runs that write automatically named
// WAV files (no wave device needed), and playback on the wave device.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "vexaengine.h"
#include "windows/host_checks.h"
#include "windows/scenarios.h"

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

std::vector<unsigned char> ReadFileBytes(const std::string& path) {
    std::vector<unsigned char> bytes;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return bytes;
    unsigned char chunk[65536];
    size_t got = 0;
    while ((got = std::fread(chunk, 1, sizeof chunk, file)) > 0) bytes.insert(bytes.end(), chunk, chunk + got);
    std::fclose(file);
    return bytes;
}

uint32_t Le32(const unsigned char* at) {
    return at[0] | static_cast<uint32_t>(at[1]) << 8 | static_cast<uint32_t>(at[2]) << 16 |
           static_cast<uint32_t>(at[3]) << 24;
}
uint16_t Le16(const unsigned char* at) { return static_cast<uint16_t>(at[0] | at[1] << 8); }

// RIFF/WAVE with an 18-byte PCM "fmt " chunk and one "data" chunk whose
// sizes were filled in when the recording was finished.
bool CheckWaveLayout(const std::vector<unsigned char>& wav, const char* label, int32_t eightBit) {
    char name[128];
    std::snprintf(name, sizeof name, "record %s: WAV layout", label);
    if (wav.size() < 46) return Check(false, name, "only %lu bytes", static_cast<unsigned long>(wav.size()));
    const unsigned char* w = wav.data();
    const bool layout = std::memcmp(w, "RIFF", 4) == 0 && Le32(w + 4) == wav.size() - 8 &&
                        std::memcmp(w + 8, "WAVEfmt ", 8) == 0 && Le32(w + 16) == 18 && Le16(w + 20) == 1 &&
                        Le16(w + 36) == 0 && std::memcmp(w + 38, "data", 4) == 0 && Le32(w + 42) == wav.size() - 46;
    const uint16_t channels = Le16(w + 22);
    const uint32_t rate = Le32(w + 24);
    const uint16_t blockAlign = Le16(w + 32);
    const uint16_t bits = Le16(w + 34);
    const int bytesPerSample = eightBit ? 1 : 2;
    const bool format = (channels == 1 || channels == 2) && bits == 8 * bytesPerSample &&
                        blockAlign == channels * bytesPerSample &&
                        Le32(w + 28) == rate * blockAlign;
    return Check(layout && format && wav.size() > 46, name, "riff %u data %u size %lu, %u ch %u Hz %u bits",
                 Le32(w + 4), Le32(w + 42), static_cast<unsigned long>(wav.size()), channels, rate, bits);
}

void RecordVector(Engine& engine, const HostOptions& options, const Recording& recording, int number) {
    char label[96];
    std::snprintf(label, sizeof label, "%02d %s engine %d quality %d%s%s", number, recording.vector, recording.engine,
                  recording.quality, recording.mono ? " mono" : "", recording.eightBit ? " 8-bit" : "");
    char name[160];
    engine.Call(SetEngine, recording.engine);
    engine.Call(SetQuality, recording.quality);
    engine.Call(SetChannel, recording.mono);
    engine.Call(Set8bitResolution, recording.eightBit);
    const std::string source = JoinPath(options.vectorsDir, std::string(recording.vector) + ".bit");
    std::snprintf(name, sizeof name, "record %s: Play returns 1", label);
    if (!CheckEqual(PlayFile(engine, source, options.workDir, 1), 1, name)) return;
    std::snprintf(name, sizeof name, "record %s: length known while playing", label);
    Check(engine.Call(GetLength) > 0, name);
    char text[256] = {};
    int32_t track = 0;
    int32_t flags[6] = {};
    std::snprintf(name, sizeof name, "record %s: GetFileInfo describes the format", label);
    Check(engine.Call(GetFileInfo, text, 256, &track, 1, flags) == 1 && text[0] != '\0' && track == -1, name,
          "text \"%s\", track %d", text, track);
    std::snprintf(name, sizeof name, "record %s: decoded to the end", label);
    Check(WaitForMode(engine, VEXA_MODE_ENDED, kDecodeTimeoutMs), name, "mode %d", engine.Call(GetMode));
    std::snprintf(name, sizeof name, "record %s: Stop returns 1", label);
    CheckEqual(engine.Call(Stop), 1, name);

    char wavName[64];
    std::snprintf(wavName, sizeof wavName, "%02d-%s.wav", number, recording.vector);
    const std::vector<unsigned char> wav = ReadFileBytes(JoinPath(options.workDir, wavName));
    std::snprintf(name, sizeof name, "record %s: written as %s", label, wavName);
    if (Check(!wav.empty(), name)) CheckWaveLayout(wav, label, recording.eightBit);
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

}  // namespace

// Stop in the middle of a record-only run: prompt, and the WAV is finished
// (its sizes match what was written).
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
    const std::vector<unsigned char> wav = ReadFileBytes(JoinPath(options.workDir, wavName));
    if (Check(!wav.empty(), "record stop: the partial recording exists")) CheckWaveLayout(wav, "stop", 0);
}

void RunRecordChecks(Engine& engine, const HostOptions& options) {
    RestoreDefaults(engine);
    engine.Call(SetOutputOptions, 1, 16, 1, 0);
    // Automatic names count from 01 for each load of the library; the failed
    // Plays before did not reach the recorder.
    WriteManifest(options);
    int number = 1;
    for (const Recording& recording : kRecordings) RecordVector(engine, options, recording, number++);
    RestoreDefaults(engine);
    engine.Call(SetOutputOptions, 1, 16, 1, 0);
    StopWhileRecording(engine, options, number);
    RestoreDefaults(engine);
}

void RunSoundChecks(Engine& engine, const HostOptions& options) {
    RestoreDefaults(engine);
    // About eight seconds of sound: long enough for every step below.
    const std::string source = JoinPath(options.vectorsDir, "l3-sin1k0db.bit");
    if (!CheckEqual(PlayFile(engine, source, options.workDir, 0), 1, "sound: Play returns 1")) return;
    CheckEqual(engine.Call(GetMode), VEXA_MODE_PLAYING, "sound: playing");
    Sleep(1500);  // past the priming of the block queue
    const int32_t first = engine.Call(GetPosition);
    const ULONGLONG start = GetTickCount64();
    Sleep(1000);
    const int32_t second = engine.Call(GetPosition);
    const int32_t elapsed = static_cast<int32_t>(GetTickCount64() - start);
    Check(second - first > elapsed - 300 && second - first < elapsed + 300, "sound: position advances in real time",
          "%d ms of position in %d ms", second - first, elapsed);

    CheckEqual(engine.Call(Pause), 1, "sound: Pause returns 1");
    CheckEqual(engine.Call(GetMode), VEXA_MODE_PAUSED, "sound: paused");
    Sleep(200);
    const int32_t pausedAt = engine.Call(GetPosition);
    Sleep(800);
    const int32_t stillAt = engine.Call(GetPosition);
    Check(stillAt - pausedAt < 50, "sound: pause holds the position", "moved %d ms", stillAt - pausedAt);
    CheckEqual(engine.Call(Resume), 1, "sound: Resume returns 1");
    Sleep(500);
    const int32_t beforeSeek = engine.Call(GetPosition);
    CheckEqual(engine.Call(Seek, 0), 1, "sound: Seek returns 1");
    CheckEqual(engine.Call(GetMode), VEXA_MODE_PLAYING, "sound: playing after the seek");
    Sleep(700);
    const int32_t afterSeek = engine.Call(GetPosition);
    Check(afterSeek < beforeSeek - 500 && afterSeek < 1500, "sound: Seek(0) takes the position back",
          "%d ms before, %d ms after", beforeSeek, afterSeek);
    CheckEqual(engine.Call(Pause), 1, "sound: Pause again");
    CheckEqual(engine.Call(Seek, 5000), 1, "sound: Seek while paused returns 1");
    CheckEqual(engine.Call(GetMode), VEXA_MODE_PLAYING, "sound: Seek while paused resumes playing");
    Sleep(700);
    const int32_t afterForwardSeek = engine.Call(GetPosition);
    Check(afterForwardSeek >= 4800 && afterForwardSeek < 7000, "sound: Seek(5000) plays from about 5 s",
          "position %d ms", afterForwardSeek);

    const ULONGLONG stopStart = GetTickCount64();
    CheckEqual(engine.Call(Stop), 1, "sound: Stop returns 1");
    const int32_t stopMs = static_cast<int32_t>(GetTickCount64() - stopStart);
    Check(stopMs < 1000, "sound: Stop returns promptly", "%d ms", stopMs);
    CheckEqual(engine.Call(GetMode), VEXA_MODE_CLOSED, "sound: closed after Stop");

    // A short stream played out: the end is reported as 525.
    const std::string shortSource = JoinPath(options.vectorsDir, "l1-fl4.bit");
    if (CheckEqual(PlayFile(engine, shortSource, options.workDir, 0), 1, "sound: Play of a short stream")) {
        const int32_t lengthMs = engine.Call(GetLength);
        Check(WaitForMode(engine, VEXA_MODE_ENDED, static_cast<uint32_t>(lengthMs) + 10000), "sound: end gives 525",
              "mode %d after %d ms of stream", engine.Call(GetMode), lengthMs);
        CheckEqual(engine.Call(GetPosition), 0, "sound: no position once ended");
        CheckEqual(engine.Call(Stop), 1, "sound: Stop after the end");
    }
}

}  // namespace vexahost
