// HTTP streams against real loopback servers that this program starts
// (tests/http/servers.sh) and stops: a static and fault server, Icecast2 fed
// by a looping source client, and tinyproxy asking for Basic credentials.
#include <dirent.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <thread>

#include "http/http_fault_cases.h"
#include "support/sound_server.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexatest;

namespace {

struct Note {
    uint32_t kind = 0;  // 0: none arrived in time
    int32_t value = 0;
    bool operator==(const Note&) const = default;
};

std::mutex g_mutex;
std::condition_variable g_arrived;
std::deque<Note> g_notes;
std::deque<std::string> g_credentials;  // "user:password" answers, in order
int g_credentialAsks = 0;
std::string g_savePath;                  // empty: the save dialog is cancelled
std::string g_dialogSeen;                // filter, extension and suggested name

void OnNotify(void*, uint32_t, uint32_t wParam, int32_t lParam) {
    std::lock_guard<std::mutex> hold(g_mutex);
    g_notes.push_back({wParam & 0xFFFFu, lParam});
    g_arrived.notify_all();
}

int32_t OnSaveDialog(void*, const char* filter, const char* extension, char*, char* path, int32_t size) {
    g_dialogSeen = std::string(filter) + " " + extension + " " + path;
    if (g_savePath.empty()) return 0;
    snprintf(path, static_cast<size_t>(size), "%s", g_savePath.c_str());
    return 1;
}

int32_t OnCredentials(void*, const char*, char* user, int32_t userSize, char* password, int32_t passwordSize) {
    std::lock_guard<std::mutex> hold(g_mutex);
    ++g_credentialAsks;
    if (g_credentials.empty()) return 0;
    const std::string answer = g_credentials.front();
    g_credentials.pop_front();
    const size_t colon = answer.find(':');
    snprintf(user, static_cast<size_t>(userSize), "%s", answer.substr(0, colon).c_str());
    snprintf(password, static_cast<size_t>(passwordSize), "%s", answer.substr(colon + 1).c_str());
    return 1;
}

Note NextNote(int timeoutMs = 15000) {
    std::unique_lock<std::mutex> hold(g_mutex);
    if (!g_arrived.wait_for(hold, std::chrono::milliseconds(timeoutMs), [] { return !g_notes.empty(); })) return {};
    const Note note = g_notes.front();
    g_notes.pop_front();
    return note;
}

int64_t MsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

int64_t TimedStopMs() {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(VexaEngine_Stop(), 1);
    return MsSince(start);
}

bool WaitForMode(int32_t mode, int timeoutMs) {
    const auto start = std::chrono::steady_clock::now();
    while (VexaEngine_GetMode() != mode) {
        if (MsSince(start) > timeoutMs) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
}

size_t EntriesIn(const std::string& folder) {
    size_t count = 0;
    if (DIR* dir = opendir(folder.c_str())) {
        while (readdir(dir) != nullptr) ++count;
        closedir(dir);
    }
    return count;
}

// The bytes of the one WAV recording in folder.
std::vector<uint8_t> RecordingIn(const std::string& folder) {
    std::vector<uint8_t> bytes;
    if (DIR* dir = opendir(folder.c_str())) {
        while (dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name.size() > 4 && name.substr(name.size() - 4) == ".wav") bytes = ReadWholeFile(folder + "/" + name);
        }
        closedir(dir);
    }
    return bytes;
}

class HttpStream : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "all_proxy", "ALL_PROXY", "no_proxy"})
            unsetenv(name);
        servers_ = new ScratchDir;
        const std::string www = servers_->File("www");
        mkdir(www.c_str(), 0755);
        WriteWholeFile(www + "/stream.mp3", ReadWholeFile(FixturePath("mp3/mpeg1_48k_stereo_cbr.mp3")));
        WriteWholeFile(www + "/live.mp3", ReadWholeFile(std::string(VEXA_SOURCE_DIR) + "/assets/demo.mp3"));
        const std::string start = std::string(VEXA_SOURCE_DIR) + "/tests/http/servers.sh start " +
                                  servers_->File("state") + " " + www;
        ASSERT_EQ(std::system(start.c_str()), 0) << "the test servers did not start";
        VexaEnginePosix_SetNotifyCallback(OnNotify);
        VexaEnginePosix_SetSaveDialogCallback(OnSaveDialog);
        VexaEnginePosix_SetProxyCredentialsCallback(OnCredentials);
    }
    static void TearDownTestSuite() {
        VexaEngine_Stop();
        std::system((std::string(VEXA_SOURCE_DIR) + "/tests/http/servers.sh stop " + servers_->File("state")).c_str());
        VexaEnginePosix_SetNotifyCallback(nullptr);
        VexaEnginePosix_SetSaveDialogCallback(nullptr);
        VexaEnginePosix_SetProxyCredentialsCallback(nullptr);
        delete servers_;
    }
    void SetUp() override {
        VexaEngine_SetOutputOptions(1, 16, 1, 0);
        std::lock_guard<std::mutex> hold(g_mutex);
        g_notes.clear();
    }
    void TearDown() override {
        VexaEngine_Stop();
        VexaEngine_SetOutputOptions(0, 16, 1, 0);
        VexaEnginePosix_SetWaveDevice(nullptr);
    }
    static std::string Address(const char* server, const std::string& path) {
        const std::vector<uint8_t> port = ReadWholeFile(servers_->File(std::string("state/") + server + ".port"));
        return "http://127.0.0.1:" + std::string(port.begin(), std::find(port.begin(), port.end(), '\n')) + path;
    }
    static std::string ClosedPortAddress() {
        const int probe = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        bind(probe, reinterpret_cast<sockaddr*>(&address), size);
        getsockname(probe, reinterpret_cast<sockaddr*>(&address), &size);
        close(probe);
        return "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/stream.mp3";
    }
    // Play with recordings going to folder; the engine must be connecting.
    static Note Connect(const std::string& address, const std::string& folder) {
        char recordFolder[256] = {};
        char saveFolder[256] = {};
        snprintf(recordFolder, sizeof recordFolder, "%s", folder.c_str());
        EXPECT_EQ(VexaEngine_Play(nullptr, address.c_str(), 0x2A, recordFolder, 1, saveFolder), VEXA_CONNECTING);
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CONNECTING);
        return NextNote();
    }
    // The WAV of record-only playback of a local file.
    std::vector<uint8_t> LocalRecording(const std::vector<uint8_t>& bytes, const std::string& folder) {
        mkdir(folder.c_str(), 0755);
        WriteWholeFile(folder + "/local.mp3", bytes);
        char recordFolder[256] = {};
        char saveFolder[256] = {};
        snprintf(recordFolder, sizeof recordFolder, "%s", folder.c_str());
        EXPECT_EQ(VexaEngine_Play(nullptr, (folder + "/local.mp3").c_str(), 0, recordFolder, 1, saveFolder), 1);
        length_ = VexaEngine_GetLength();
        EXPECT_TRUE(WaitForMode(VEXA_MODE_ENDED, 20000));
        VexaEngine_Stop();
        return RecordingIn(folder);
    }
    static ScratchDir* servers_;
    ScratchDir scratch_;
    int32_t length_ = 0;
};
ScratchDir* HttpStream::servers_ = nullptr;

TEST_F(HttpStream, EachServerFaultEndsAsExpectedAndWhatPlaysRecordsLikeTheFile) {
    const std::vector<uint8_t> file = ReadWholeFile(servers_->File("www/stream.mp3"));
    const std::vector<uint8_t> half(file.begin(), file.begin() + static_cast<long>(file.size() / 2));
    const std::vector<uint8_t> wholeWav = LocalRecording(file, scratch_.File("whole"));
    const int32_t fileLength = length_;
    const std::vector<uint8_t> halfWav = LocalRecording(half, scratch_.File("half"));
    int index = 0;
    for (const vexahttp::FaultCase& c : vexahttp::kFaultCases) {
        SCOPED_TRACE(c.name);
        const std::string folder = scratch_.File("case" + std::to_string(index++));
        mkdir(folder.c_str(), 0755);
        const std::string target = c.target;
        const std::string address = target == vexahttp::kClosedPort ? ClosedPortAddress()
                                    : target[0] == '/'                ? Address("http", target)
                                                                      : target;
        const Note note = Connect(address, folder);
        if (c.failure != 0) {
            EXPECT_EQ(note, (Note{VEXA_NOTIFY_FAILURE, c.failure}));
            EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CONNECTING);
            EXPECT_LT(TimedStopMs(), 1000);
            continue;
        }
        ASSERT_EQ(note, (Note{VEXA_NOTIFY_MODE, VEXA_MODE_PLAYING}));
        // Read before GetMode can report the end: the length needs the mode playing.
        if (c.statesLength) {
            EXPECT_EQ(VexaEngine_GetLength(), fileLength);
        }
        EXPECT_TRUE(WaitForMode(VEXA_MODE_ENDED, 30000));
        VexaEngine_Stop();
        EXPECT_TRUE(RecordingIn(folder) == (c.firstHalfOnly ? halfWav : wholeWav)) << "the WAV differs";
    }
}

TEST_F(HttpStream, ASavedStreamIsExactlyTheBytesReceivedAndACancelSavesNothing) {
    VexaEngine_SetOutputOptions(1, 16, 1, 1);
    for (const bool save : {true, false}) {
        g_savePath = save ? scratch_.File("saved.mp3") : "";
        const std::string folder = scratch_.File(save ? "save" : "cancel");
        mkdir(folder.c_str(), 0755);
        ASSERT_EQ(Connect(Address("http", "/stream.mp3"), folder), (Note{VEXA_NOTIFY_MODE, VEXA_MODE_PLAYING}));
        EXPECT_EQ(g_dialogSeen, "MPEG Layer3 Sounds (*.mp3)|*.mp3|| mp3 stream.mp3");
        EXPECT_TRUE(WaitForMode(VEXA_MODE_ENDED, 20000));
        VexaEngine_Stop();
        EXPECT_FALSE(RecordingIn(folder).empty());
    }
    EXPECT_TRUE(ReadWholeFile(scratch_.File("saved.mp3")) == ReadWholeFile(servers_->File("www/stream.mp3")));
    EXPECT_EQ(EntriesIn(scratch_.path()), 5u);  // ., .., saved.mp3 and the two folders: nothing saved on cancel
    g_savePath.clear();
}

TEST_F(HttpStream, ALiveStreamPlaysOnTheSinkHasNoLengthOnlyResumesAndIsSavedAsReceived) {
    ASSERT_EQ(StartSoundServer(), "");
    VexaEnginePosix_SetWaveDevice(kTestSinkDevice);
    VexaEngine_SetOutputOptions(0, 16, 1, 1);
    g_savePath = scratch_.File("live.mp3");
    SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing());
    ASSERT_EQ(Connect(Address("icecast", "/live.mp3"), scratch_.path()), (Note{VEXA_NOTIFY_MODE, VEXA_MODE_PLAYING}));
    EXPECT_EQ(VexaEngine_GetLength(), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    EXPECT_EQ(VexaEngine_Pause(), 1);
    EXPECT_EQ(VexaEngine_Seek(60000), 1);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PLAYING);
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    EXPECT_LT(VexaEngine_GetPosition(), 10000) << "a stream must not seek";
    EXPECT_GT(PeakIn(capture.Samples(), 0, capture.SampleCount()), 1000) << "the sink heard nothing";
    EXPECT_LT(TimedStopMs(), 1000);
    g_savePath.clear();
    // The saved bytes are a run of the looping source, which the engine plays.
    const std::vector<uint8_t> saved = ReadWholeFile(scratch_.File("live.mp3"));
    std::vector<uint8_t> loop = ReadWholeFile(servers_->File("www/live.mp3"));
    loop.insert(loop.end(), loop.begin(), loop.end());
    ASSERT_GT(saved.size(), 16384u);
    EXPECT_NE(std::search(loop.begin(), loop.end(), saved.begin(), saved.begin() + 8192), loop.end());
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    char none[256] = {};
    EXPECT_EQ(VexaEngine_Play(nullptr, scratch_.File("live.mp3").c_str(), 0, none, 0, none), VEXA_ERR_OUTPUT)
        << "the saved stream has MPEG frames: only the cancelled recording dialog stops it";
}

TEST_F(HttpStream, StopIsPromptInEveryPhaseAndStormsLeaveNothingBehind) {
    const struct {
        const char* phase;
        std::string address;
    } phases[] = {
        {"server never answers", Address("http", "/fault/silent")},
        {"pre-buffering stalls", Address("http", "/fault/stall")},
        {"trickling while playing", Address("http", "/fault/trickle/stream.mp3")},
        {"live stream playing", Address("icecast", "/live.mp3")},
    };
    const size_t threads = EntriesIn("/proc/self/task");
    const size_t handles = EntriesIn("/proc/self/fd");
    for (int round = 0; round < 3; ++round) {
        for (const auto& p : phases) {
            SCOPED_TRACE(p.phase);
            char folder[256] = {};
            snprintf(folder, sizeof folder, "%s", scratch_.path().c_str());
            ASSERT_EQ(VexaEngine_Play(nullptr, p.address.c_str(), 0, folder, 1, folder), VEXA_CONNECTING);
            std::this_thread::sleep_for(std::chrono::milliseconds(round == 0 ? 400 : 17 * round));
            EXPECT_LT(TimedStopMs(), 1000);
        }
    }
    EXPECT_EQ(EntriesIn("/proc/self/task"), threads);
    EXPECT_EQ(EntriesIn("/proc/self/fd"), handles);
}

// tinyproxy 1.11 answers wrong credentials with 401, not 407: the engine
// then stops asking and fails on the refusal page. The test server, asked as
// a proxy, answers 407 again, and the engine asks again.
TEST_F(HttpStream, AProxyAsksForCredentialsUntilItAcceptsThemOrTheHostCancels) {
    const Note plays{VEXA_NOTIFY_MODE, VEXA_MODE_PLAYING};
    const Note fails{VEXA_NOTIFY_FAILURE, VEXA_ERR_NO_FRAME};
    const struct {
        const char* proxy;
        std::deque<std::string> answers;
        Note outcome;
        int asks;
    } cases[] = {
        {"proxy", {"vexa:secret"}, plays, 1},       {"proxy", {"vexa:wrong", "vexa:secret"}, fails, 1},
        {"proxy", {}, fails, 1},                    {"http", {"vexa:wrong", "vexa:secret"}, plays, 2},
        {"http", {"vexa:wrong", "vexa:wrong"}, fails, 3},
    };
    for (const auto& c : cases) {
        setenv("http_proxy", Address(c.proxy, "").c_str(), 1);
        {
            std::lock_guard<std::mutex> hold(g_mutex);
            g_credentials = c.answers;
            g_credentialAsks = 0;
        }
        EXPECT_EQ(Connect(Address("http", "/stream.mp3"), scratch_.path()), c.outcome);
        VexaEngine_Stop();
        std::lock_guard<std::mutex> hold(g_mutex);
        EXPECT_EQ(g_credentialAsks, c.asks) << c.proxy;
        unsetenv("http_proxy");
    }
}

}  // namespace
