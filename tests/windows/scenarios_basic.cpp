// Exports, idle results, setters and Play's failures.
#include <cstdio>
#include <cstring>
#include <string>

#include "vexaengine.h"
#include "windows/host_checks.h"
#include "windows/scenarios.h"

namespace vexahost {

std::string JoinPath(const std::string& folder, const std::string& name) {
    if (folder.empty() || folder.back() == '\\' || folder.back() == '/') return folder + name;
    return folder + "\\" + name;
}

int32_t PlayFile(Engine& engine, const std::string& path, const std::string& recordFolder, int32_t autoName) {
    char record[256] = {};
    char save[256] = {};
    recordFolder.copy(record, sizeof record - 1);
    return engine.Call(Play, nullptr, path.c_str(), 7, record, autoName, save);
}

bool WaitForMode(Engine& engine, int32_t mode, uint32_t timeoutMs) {
    const ULONGLONG start = GetTickCount64();
    while (engine.Call(GetMode) != mode) {
        if (GetTickCount64() - start > timeoutMs) return false;
        Sleep(20);
    }
    return true;
}

void RestoreDefaults(Engine& engine) {
    engine.Call(SetQuality, 0);
    engine.Call(SetEngine, 0);
    engine.Call(SetScale, 0, 30000);
    engine.Call(Set8bitResolution, 0);
    engine.Call(SetChannel, 0);
    engine.Call(SetOutputOptions, 0, 16, 1, 0);
    int32_t flat[20] = {};
    engine.Call(SetEqualizer, flat);
    engine.Call(SetEffect, 0, 0, 0, 0, 0, 0, 0, 0, 0);
}

void RunExportChecks(Engine& engine) {
    int missing = 0;
    for (int i = 0; i < kExportCount; ++i) {
        if (!engine.Has(static_cast<Export>(i))) {
            std::printf("note: %s not found\n", kExportNames[i]);
            ++missing;
        }
    }
    CheckEqual(missing, 0, "exports: all nineteen names resolve undecorated");
#if defined(__i386__)
    // A host written for the library looks the names up without decoration;
    // the decorated forms must not be there to be found by mistake.
    const bool decorated = GetProcAddress(engine.module(), "VexaEngine_Play@24") != nullptr ||
                           GetProcAddress(engine.module(), "_VexaEngine_Play@24") != nullptr;
    Check(!decorated, "exports: no decorated stdcall names");
#endif
}

namespace {
// One call's result against the documented one.
struct Case {
    const char* name;
    int32_t result;
    int32_t expected;
};
}  // namespace

void RunIdleChecks(Engine& engine) {
    const Case cases[] = {
        {"idle: GetMode is closed", engine.Call(GetMode), VEXA_MODE_CLOSED},
        {"idle: IsOpen is 0", engine.Call(IsOpen), 0},
        {"idle: Stop returns 0", engine.Call(Stop), 0},
        {"idle: Pause returns 0", engine.Call(Pause), 0},
        {"idle: Resume returns 0", engine.Call(Resume), 0},
        {"idle: Seek returns 0", engine.Call(Seek, 1000), 0},
        {"idle: GetPosition is 0", engine.Call(GetPosition), 0},
        {"idle: GetLength is 0", engine.Call(GetLength), 0},
    };
    for (const Case& c : cases) CheckEqual(c.result, c.expected, c.name);

    char text[64] = "unchanged";
    int32_t track = 42;
    int32_t flags[6] = {1, 1, 1, 1, 1, 1};
    CheckEqual(engine.Call(GetFileInfo, text, static_cast<int32_t>(sizeof text), &track, 1, flags), 0,
               "idle: GetFileInfo returns 0");
    Check(text[0] == '\0', "idle: GetFileInfo empties the text", "text is \"%s\"", text);
    CheckEqual(track, 42, "idle: GetFileInfo leaves the track number alone");
    int32_t levels[20] = {};
    CheckEqual(engine.Call(GetSpectrum, levels, 0), 0, "idle: GetSpectrum returns 0");
    CheckEqual(engine.Call(GetMode), VEXA_MODE_CLOSED, "idle: still closed after the calls");
}

void RunSetterChecks(Engine& engine) {
    const Case cases[] = {
        {"setters: SetQuality(3) returns its argument", engine.Call(SetQuality, 3), 3},
        {"setters: SetQuality(-1) returns its argument", engine.Call(SetQuality, -1), -1},
        {"setters: SetQuality(2) returns 2", engine.Call(SetQuality, 2), 2},
        {"setters: SetChannel(5) returns 3", engine.Call(SetChannel, 5), 3},
        {"setters: SetChannel(0) returns -1", engine.Call(SetChannel, 0), -1},
        {"setters: SetEngine(2) returns 2", engine.Call(SetEngine, 2), 2},
        {"setters: SetScale returns its first argument", engine.Call(SetScale, 1, 25000), 1},
        {"setters: Set8bitResolution(9) returns 9", engine.Call(Set8bitResolution, 9), 9},
        {"setters: SetOutputOptions returns its third argument", engine.Call(SetOutputOptions, 2, 8, -2, 1), -2},
    };
    for (const Case& c : cases) CheckEqual(c.result, c.expected, c.name);
    // The void setters: only that they return with the stack intact (the
    // balance check at the end covers them) and change no mode.
    int32_t bands[20];
    for (int i = 0; i < 20; ++i) bands[i] = i - 10;
    engine.Call(SetEqualizer, bands);
    engine.Call(SetEffect, 1, 2, 3, 1, 4, 1, 5, 1, 6);
    CheckEqual(engine.Call(GetMode), VEXA_MODE_CLOSED, "setters: no setter opens the engine");
    RestoreDefaults(engine);
}

void RunPlayFailureChecks(Engine& engine, const HostOptions& options) {
    const std::string missing = JoinPath(options.workDir, "no-such-file.mp3");
    CheckEqual(PlayFile(engine, missing, options.workDir, 1), VEXA_ERR_INPUT, "play: a missing file gives -9553");
    CheckEqual(engine.Call(GetMode), VEXA_MODE_CLOSED, "play: closed after a missing file");

    // 8 KiB of a byte that can never start a frame header.
    const std::string noise = JoinPath(options.workDir, "no-frames.mp3");
    FILE* file = std::fopen(noise.c_str(), "wb");
    if (Check(file != nullptr, "play: scratch file created")) {
        for (int i = 0; i < 8192; ++i) std::fputc(0x55, file);
        std::fclose(file);
        CheckEqual(PlayFile(engine, noise, options.workDir, 1), VEXA_ERR_NO_FRAME,
                   "play: a file without frames gives -9554");
        CheckEqual(engine.Call(GetMode), VEXA_MODE_CLOSED, "play: closed after a file without frames");
        CheckEqual(engine.Call(IsOpen), 0, "play: IsOpen 0 after a failed Play");
    }
}

}  // namespace vexahost
