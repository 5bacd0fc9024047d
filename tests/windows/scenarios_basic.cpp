// The helpers the scenarios share, and the setters called through stdcall pointers.
#include <cstdio>
#include <string>

#include "vexaengine.h"
#include "windows/host.h"

namespace vexahost {

std::string JoinPath(const std::string& folder, const std::string& name) {
    if (folder.empty() || folder.back() == '\\' || folder.back() == '/') return folder + name;
    return folder + "\\" + name;
}

std::string ReadFileBytes(const std::string& path) {
    std::string bytes;
    FILE* file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) return bytes;
    char chunk[65536];
    for (size_t got; (got = std::fread(chunk, 1, sizeof chunk, file)) > 0;) bytes.append(chunk, got);
    std::fclose(file);
    return bytes;
}

int32_t PlayFile(Engine& engine, const std::string& path, const std::string& recordFolder, int32_t autoName,
                 HWND window, int32_t id) {
    char record[256] = {};
    char save[256] = {};
    recordFolder.copy(record, sizeof record - 1);
    return engine.Call(Play, window, path.c_str(), id, record, autoName, save);
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

// Each setter once, its result as the Linux tests know it: what crosses the
// boundary is the argument order and the return register.
void RunSetterChecks(Engine& engine) {
    const struct {
        const char* name;
        int32_t result, expected;
    } cases[] = {
        {"setters: SetQuality(-1) returns its argument", engine.Call(SetQuality, -1), -1},
        {"setters: SetChannel(5) returns 3", engine.Call(SetChannel, 5), 3},
        {"setters: SetEngine(2) returns 2", engine.Call(SetEngine, 2), 2},
        {"setters: SetScale returns its first argument", engine.Call(SetScale, 1, 25000), 1},
        {"setters: Set8bitResolution(9) returns 9", engine.Call(Set8bitResolution, 9), 9},
        {"setters: SetOutputOptions returns its third argument", engine.Call(SetOutputOptions, 2, 8, -2, 1), -2},
    };
    for (const auto& c : cases) CheckEqual(c.result, c.expected, c.name);
    // The void setters: only that they return with the stack intact (the
    // balance check at the end covers them) and change no mode.
    int32_t bands[20];
    for (int i = 0; i < 20; ++i) bands[i] = i - 10;
    engine.Call(SetEqualizer, bands);
    engine.Call(SetEffect, 1, 2, 3, 1, 4, 1, 5, 1, 6);
    CheckEqual(engine.Call(GetMode), VEXA_MODE_CLOSED, "setters: no setter opens the engine");
    RestoreDefaults(engine);
}

}  // namespace vexahost
