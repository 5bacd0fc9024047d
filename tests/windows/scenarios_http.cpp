// HTTP streams through the DLL against the loopback servers that
// run_wine_tests.sh --http starts, named by the environment: VEXA_HTTP (the
// static and fault server), VEXA_HTTP_CLOSED (a port nothing listens on) and
// VEXA_HTTP_PROXY (host:port of a proxy asking for credentials). The
// notification message is read from this thread's queue.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "http/http_fault_cases.h"
#include "windows/host.h"

namespace vexahost {
namespace {

std::string Environment(const char* name) { return std::getenv(name) != nullptr ? std::getenv(name) : ""; }

// The value of the first notification with Play's id within 15 s (0: none).
int32_t NextNote(HWND window) {
    MSG message;
    if (!WaitUntil([&] { return PeekMessageA(&message, window, 0x83DE, 0x83DE, PM_REMOVE) != 0; }, 15000)) return 0;
    return (message.wParam >> 16) == 0x2A ? static_cast<int32_t>(message.lParam) : 0;
}

std::string RecordingIn(const std::string& folder) {
    WIN32_FIND_DATAA found;
    const HANDLE search = FindFirstFileA(JoinPath(folder, "*.wav").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return "";
    FindClose(search);
    return ReadFileBytes(JoinPath(folder, found.cFileName));
}

// Plays an address (or a file) recording into a new folder.
int32_t PlayInto(Engine& engine, HWND window, const std::string& source, const std::string& folder) {
    CreateDirectoryA(folder.c_str(), nullptr);
    return PlayFile(engine, source, folder, 1, window, 0x2A);
}

// WinINet takes the system's proxy from the user's Internet settings.
void SetSystemProxy(const std::string& proxy) {
    HKEY key;
    RegCreateKeyExA(HKEY_CURRENT_USER, "Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings", 0, nullptr,
                    0, KEY_SET_VALUE, nullptr, &key, nullptr);
    const DWORD enable = proxy.empty() ? 0 : 1;
    RegSetValueExA(key, "ProxyEnable", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&enable), sizeof enable);
    RegSetValueExA(key, "ProxyServer", 0, REG_SZ, reinterpret_cast<const BYTE*>(proxy.c_str()),
                   static_cast<DWORD>(proxy.size() + 1));
    RegCloseKey(key);
}

}  // namespace

void RunHttpChecks(Engine& engine, const HostOptions& options) {
    const std::string base = Environment("VEXA_HTTP");
    const HWND window = CreateWindowExA(0, "STATIC", "", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, nullptr, nullptr);
    if (base.empty() || !Check(window != nullptr, "http: a message window for the notifications")) return;
    engine.Call(SetOutputOptions, 1, 16, 1, 0);
    const std::string local = JoinPath(options.workDir, "local");
    CheckEqual(PlayInto(engine, window, JoinPath(options.workDir, "stream.mp3"), local), 1, "http: the file plays");
    WaitForMode(engine, 525, 20000);
    engine.Call(Stop);
    for (const vexahttp::FaultCase& c : vexahttp::kFaultCases) {
        if (c.firstHalfOnly) continue;  // the half file is compared on Linux
        const std::string target = c.target, name = std::string("http: ") + c.name;
        const std::string folder = JoinPath(options.workDir, "http" + std::to_string(&c - vexahttp::kFaultCases));
        CheckEqual(PlayInto(engine, window,
                            target == vexahttp::kClosedPort ? Environment("VEXA_HTTP_CLOSED") + "/x.mp3"
                            : target[0] == '/'              ? base + target
                                                            : target,
                            folder),
                   9550, (name + ": Play connects").c_str());
        CheckEqual(NextNote(window), c.failure != 0 ? c.failure : 526, (name + ": the notification").c_str());
        if (c.failure == 0) {
            // WinINet under Wine cannot move to the end of a response: the length stays 0.
            std::printf("note %s: GetLength %d\n", c.name, engine.Call(GetLength));
            Check(WaitForMode(engine, 525, 30000), (name + ": plays to its end").c_str());
        }
        engine.Call(Stop);  // finishes the WAV
        if (c.failure == 0) Check(RecordingIn(folder) == RecordingIn(local), (name + ": the file's WAV").c_str());
    }
    const ULONGLONG start = GetTickCount64();
    CheckEqual(PlayInto(engine, window, base + "/fault/silent", JoinPath(options.workDir, "silent")), 9550,
               "http: a server that never answers: Play connects");
    Sleep(300);  // until the request waits for the answer
    engine.Call(Stop);
    std::printf("note silent server: Stop returned after %llu ms\n", GetTickCount64() - start - 300);
    SetSystemProxy(Environment("VEXA_HTTP_PROXY"));
    PlayInto(engine, window, base + "/stream.mp3", JoinPath(options.workDir, "proxy"));
    // Without a display the credentials dialog cannot show: the refused answer
    // is all that arrives. With one, run_wine_tests.sh types the credentials.
    const bool dialog = Environment("VEXA_HTTP_DIALOG") == "1";
    const int32_t note = NextNote(window);
    CheckEqual(note, dialog ? 526 : -9554,
               dialog ? "http: proxy credentials typed into the dialog" : "http: proxy credentials, headless");
    // A dialog nobody answered would hold Stop for ever: cancel it.
    if (HWND left = FindWindowA(nullptr, "Enter Network Password"); note == 0 && left != nullptr)
        PostMessageA(left, WM_CLOSE, 0, 0);
    engine.Call(Stop);
    SetSystemProxy("");
    engine.Call(SetOutputOptions, 0, 16, 1, 0);
    DestroyWindow(window);
}

}  // namespace vexahost
