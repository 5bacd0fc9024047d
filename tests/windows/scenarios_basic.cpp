// The helpers the scenarios share, and the exports no scenario calls.
#include <cstdio>
#include <string>

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

bool WaitUntil(const std::function<bool()>& condition, uint32_t timeoutMs) {
    for (const ULONGLONG start = GetTickCount64(); !condition(); Sleep(20))
        if (GetTickCount64() - start > timeoutMs) return false;
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

// The exports no scenario needs, once each while closed: with the setters
// (RestoreDefaults) and the scenarios' calls, the stack balance check at the
// end then covers all nineteen. What the setters return is the Linux tests'
// business: the DLL runs the same code, and an export whose arguments did
// not arrive in order would fail the scenarios.
void RunIdleCalls(Engine& engine) {
    char text[64] = "";
    int32_t track = 0;
    int32_t flags[6] = {};
    int32_t levels[20] = {};
    CheckEqual(engine.Call(IsOpen), 0, "calls: IsOpen while closed");
    CheckEqual(engine.Call(GetFileInfo, text, 64, &track, 1, flags), 0, "calls: GetFileInfo while closed");
    engine.Call(GetSpectrum, levels, 0);
    RestoreDefaults(engine);
}

}  // namespace vexahost
