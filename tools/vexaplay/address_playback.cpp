#include "address_playback.h"

#include <termios.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>

#include "vexaengine.h"

namespace vexaplay {
namespace {

constexpr int kKeyPollMs = 100;

struct Shared {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::pair<uint32_t, int32_t>> notes;  // kind, value
    bool credentialsWanted = false;                   // the connect thread waits for an answer
    bool credentialsGiven = false;
    bool credentialsCancelled = false;
    std::string user, password, url;
    std::string saveFolder, savedPath;
};
Shared g_shared;

void OnNotify(void*, uint32_t, uint32_t wParam, int32_t lParam) {
    std::lock_guard<std::mutex> hold(g_shared.mutex);
    g_shared.notes.emplace_back(wParam & 0xFFFFu, lParam);
}

int32_t OnSaveDialog(void*, const char*, const char*, char*, char* path, int32_t pathSize) {
    std::lock_guard<std::mutex> hold(g_shared.mutex);
    if (g_shared.saveFolder.empty()) return 0;
    const std::string chosen = g_shared.saveFolder + "/" + path;  // path holds the suggested name
    if (chosen.size() >= static_cast<size_t>(pathSize)) return 0;
    std::snprintf(path, static_cast<size_t>(pathSize), "%s", chosen.c_str());
    g_shared.savedPath = chosen;
    return 1;
}

// Connect thread: hands the question to the terminal loop and waits.
int32_t OnProxyCredentials(void*, const char* url, char* user, int32_t userSize, char* password,
                           int32_t passwordSize) {
    std::unique_lock<std::mutex> hold(g_shared.mutex);
    if (g_shared.credentialsCancelled) return 0;
    g_shared.url = url;
    g_shared.credentialsGiven = false;
    g_shared.credentialsWanted = true;
    g_shared.changed.wait(hold, [] { return !g_shared.credentialsWanted || g_shared.credentialsCancelled; });
    if (!g_shared.credentialsGiven || g_shared.credentialsCancelled) return 0;
    std::snprintf(user, static_cast<size_t>(userSize), "%s", g_shared.user.c_str());
    std::snprintf(password, static_cast<size_t>(passwordSize), "%s", g_shared.password.c_str());
    return 1;
}

// One line from the terminal; false on end of input or an interrupting signal.
bool ReadLine(const char* prompt, bool hidden, std::string& line) {
    std::printf("%s", prompt);
    std::fflush(stdout);
    termios saved{};
    const bool hide = hidden && isatty(STDIN_FILENO) && tcgetattr(STDIN_FILENO, &saved) == 0;
    if (hide) {
        termios quiet = saved;
        quiet.c_lflag &= static_cast<tcflag_t>(~ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    char text[256] = {};
    const bool ok = std::fgets(text, sizeof text, stdin) != nullptr;
    if (hide) {
        tcsetattr(STDIN_FILENO, TCSANOW, &saved);
        std::printf("\n");
    }
    line.assign(text, std::strcspn(text, "\r\n"));
    return ok;
}

void AskForCredentials(const Terminal& terminal) {
    std::string url;
    {
        std::lock_guard<std::mutex> hold(g_shared.mutex);
        url = g_shared.url;
    }
    terminal.enterLineMode();
    std::printf("\nthe proxy asks for credentials for %s (empty user name: cancel)\n", url.c_str());
    std::string user, password;
    const bool given = ReadLine("proxy user name: ", false, user) && !user.empty() &&
                       ReadLine("proxy password: ", true, password) && !*terminal.interrupted;
    terminal.enterKeyMode();
    std::lock_guard<std::mutex> hold(g_shared.mutex);
    g_shared.user = user;
    g_shared.password = password;
    g_shared.credentialsGiven = given;
    g_shared.credentialsWanted = false;
    g_shared.changed.notify_all();
}

const char* DescribeStreamFailure(int32_t code) {
    switch (code) {
        case VEXA_ERR_INPUT: return "the address could not be opened (no server there, unknown name, or refused)";
        case VEXA_ERR_NO_FRAME: return "the server sent too little to start (or the proxy credentials were refused)";
        case VEXA_ERR_RESOURCES: return "what arrived could not be played (no MPEG audio, or no sound device)";
        default: return "the engine reported a failure";
    }
}

}  // namespace

bool IsAddress(const char* source) { return source != nullptr && std::strstr(source, "://") != nullptr; }

void PrepareAddressPlayback(const char* saveFolder) {
    g_shared.saveFolder = saveFolder != nullptr ? saveFolder : "";
    VexaEnginePosix_SetNotifyCallback(OnNotify);
    VexaEnginePosix_SetSaveDialogCallback(OnSaveDialog);
    VexaEnginePosix_SetProxyCredentialsCallback(OnProxyCredentials);
}

int32_t AwaitConnection(const char* address, const Terminal& terminal) {
    std::printf("connecting… %s", address);
    std::fflush(stdout);
    for (;;) {
        if (*terminal.interrupted || terminal.quitPressed(kKeyPollMs)) {
            std::printf("\n");
            return 0;
        }
        std::unique_lock<std::mutex> hold(g_shared.mutex);
        if (g_shared.credentialsWanted) {
            hold.unlock();
            AskForCredentials(terminal);
            continue;
        }
        if (g_shared.notes.empty()) continue;
        const auto [kind, value] = g_shared.notes.front();
        g_shared.notes.pop_front();
        const std::string saved = g_shared.savedPath;
        hold.unlock();
        if (kind == VEXA_NOTIFY_FAILURE) {
            std::printf("\nconnection failed: %s (%d)\n", DescribeStreamFailure(value), value);
            return value;
        }
        if (kind == VEXA_NOTIFY_MODE && value == VEXA_MODE_PLAYING) {
            const int32_t length = VexaEngine_GetLength();
            if (length > 0) {
                std::printf("\nconnected: playing; the server states a length of %.1f s\n", length / 1000.0);
            } else {
                std::printf("\nconnected: playing; no length stated (a live stream)\n");
            }
            if (!saved.empty()) std::printf("saving the stream to %s\n", saved.c_str());
            return 1;
        }
        std::printf("\nnotification: kind %u, value %d\n", kind, value);
    }
}

void CancelCredentialsRequest() {
    std::lock_guard<std::mutex> hold(g_shared.mutex);
    g_shared.credentialsCancelled = true;
    g_shared.changed.notify_all();
}

}  // namespace vexaplay
