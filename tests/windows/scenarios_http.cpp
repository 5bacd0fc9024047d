// HTTP streams through the DLL against the loopback servers that
// run_wine_tests.sh --http starts (tests/http/servers.sh), named by the
// environment: VEXA_HTTP (the static and fault server), VEXA_HTTP_CLOSED (a
// port nothing listens on), VEXA_HTTP_PROXY (host:port of a proxy asking for
// credentials). The notification message is read from this thread's queue.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "http/http_fault_cases.h"
#include "windows/host_checks.h"
#include "windows/scenarios.h"

namespace vexahost {
namespace {

constexpr UINT kNotifyMessage = 0x83DE;
constexpr int32_t kConnecting = 9550;

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

// The first notification within 15 s: kind in the high half, value in the low.
bool NextNote(HWND window, uint32_t* kind, int32_t* value) {
    const ULONGLONG start = GetTickCount64();
    MSG message;
    while (!PeekMessageA(&message, window, kNotifyMessage, kNotifyMessage, PM_REMOVE)) {
        if (GetTickCount64() - start > 15000) return false;
        Sleep(20);
    }
    *kind = static_cast<uint32_t>(message.wParam) & 0xFFFF;
    *value = static_cast<int32_t>(message.lParam);
    return (static_cast<uint32_t>(message.wParam) >> 16) == 0x2A;
}

std::vector<char> RecordingIn(const std::string& folder) {
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA(JoinPath(folder, "*.wav").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return {};
    FindClose(search);
    std::vector<char> bytes;
    if (FILE* file = std::fopen(JoinPath(folder, found.cFileName).c_str(), "rb")) {
        for (int c; (c = std::fgetc(file)) != EOF;) bytes.push_back(static_cast<char>(c));
        std::fclose(file);
    }
    return bytes;
}

// Plays an address (or a file) recording into a new folder.
int32_t PlayAddress(Engine& engine, HWND window, const std::string& source, const std::string& folder) {
    CreateDirectoryA(folder.c_str(), nullptr);
    char record[256] = {};
    char save[256] = {};
    folder.copy(record, sizeof record - 1);
    return engine.Call(vexahost::Play, window, source.c_str(), 0x2A, record, 1, save);
}

// WinINet takes the system's proxy from the user's Internet settings.
void SetSystemProxy(const std::string& proxy) {
    HKEY key;
    if (RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings", 0,
                        nullptr, 0, KEY_SET_VALUE, nullptr, &key, nullptr) != ERROR_SUCCESS)
        return;
    const DWORD enable = proxy.empty() ? 0 : 1;
    RegSetValueExA(key, "ProxyEnable", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&enable), sizeof enable);
    RegSetValueExA(key, "ProxyServer", 0, REG_SZ, reinterpret_cast<const BYTE*>(proxy.c_str()),
                   static_cast<DWORD>(proxy.size() + 1));
    RegCloseKey(key);
}

}  // namespace

void RunHttpChecks(Engine& engine, const HostOptions& options) {
    const std::string base = Environment("VEXA_HTTP");
    if (base.empty()) return;
    const HWND window = CreateWindowExA(0, "STATIC", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    if (!Check(window != nullptr, "http: a message window for the notifications")) return;
    engine.Call(SetOutputOptions, 1, 16, 1, 0);
    const std::string local = JoinPath(options.workDir, "local");
    CheckEqual(PlayAddress(engine, window, JoinPath(options.workDir, "stream.mp3"), local), 1,
               "http: the local file plays");
    WaitForMode(engine, 525, 20000);
    engine.Call(Stop);
    const std::vector<char> wholeWav = RecordingIn(local);
    int index = 0;
    for (const vexahttp::FaultCase& c : vexahttp::kFaultCases) {
        if (c.firstHalfOnly) continue;  // the half file is checked on Linux only
        const std::string target = c.target;
        const std::string address = target == vexahttp::kClosedPort ? Environment("VEXA_HTTP_CLOSED") + "/x.mp3"
                                    : target[0] == '/'              ? base + target
                                                                    : target;
        const std::string folder = JoinPath(options.workDir, "http" + std::to_string(index++));
        const std::string name = std::string("http: ") + c.name;
        CheckEqual(PlayAddress(engine, window, address, folder), kConnecting, (name + ": Play").c_str());
        uint32_t kind = 0;
        int32_t value = 0;
        Check(NextNote(window, &kind, &value), (name + ": a notification with the id").c_str());
        CheckEqual(value, c.failure != 0 ? c.failure : 526, (name + ": its code").c_str());
        if (c.failure == 0) {
            std::printf("note %s: GetLength %d\n", c.name, engine.Call(GetLength));
            Check(WaitForMode(engine, 525, 30000), (name + ": plays to its end").c_str());
            engine.Call(Stop);
            Check(RecordingIn(folder) == wholeWav, (name + ": the WAV equals the local file's").c_str());
        }
        const ULONGLONG start = GetTickCount64();
        engine.Call(Stop);
        std::printf("note %s: Stop took %llu ms\n", c.name, GetTickCount64() - start);
    }
    const ULONGLONG start = GetTickCount64();
    CheckEqual(PlayAddress(engine, window, base + "/fault/silent", JoinPath(options.workDir, "silent")), kConnecting,
               "http: a server that never answers: Play");
    Sleep(300);
    engine.Call(Stop);
    std::printf("note silent server: Stop returned after %llu ms\n", GetTickCount64() - start - 300);
    const std::string proxy = Environment("VEXA_HTTP_PROXY");
    if (!proxy.empty()) {
        SetSystemProxy(proxy);
        CheckEqual(PlayAddress(engine, window, base + "/stream.mp3", JoinPath(options.workDir, "proxy")), kConnecting,
                   "http: through a proxy asking for credentials: Play");
        uint32_t kind = 0;
        int32_t value = 0;
        NextNote(window, &kind, &value);
        std::printf("note proxy: notification kind %u value %d\n", kind, value);
        engine.Call(Stop);
        SetSystemProxy("");
    }
    engine.Call(SetOutputOptions, 0, 16, 1, 0);
    DestroyWindow(window);
}

}  // namespace vexahost
