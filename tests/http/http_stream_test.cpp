// HTTP streams against real loopback servers that this program starts and
// stops (servers.sh): static and fault server, Icecast2 fed by a looping
// source client, tinyproxy asking for Basic credentials.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "http/http_fault_cases.h"
#include "support/sound_server.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexatest;
using namespace std::chrono;

namespace {

struct Note {
    uint32_t kind = 0;  // 0: nothing arrived in time
    int32_t value = 0;
    bool operator==(const Note&) const = default;
};
constexpr Note kPlays{VEXA_NOTIFY_MODE, VEXA_MODE_PLAYING};

std::mutex g_mutex;
std::condition_variable g_arrived;
std::deque<Note> g_notes;
std::deque<std::string> g_credentials;  // "user:password" answers, in order
int g_asks = 0;
std::string g_savePath;  // empty: the save dialog is cancelled
std::string g_dialogSeen;

void OnNotify(void*, uint32_t, uint32_t wParam, int32_t lParam) {
    std::lock_guard<std::mutex> hold(g_mutex);
    g_notes.push_back({wParam & 0xFFFFu, lParam});
    g_arrived.notify_all();
}

int32_t OnSaveDialog(void*, const char* filter, const char* extension, char*, char* path, int32_t size) {
    g_dialogSeen = std::string(filter) + " " + extension + " " + path;
    snprintf(path, static_cast<size_t>(size), "%s", g_savePath.c_str());
    return g_savePath.empty() ? 0 : 1;
}

int32_t OnCredentials(void*, const char*, char* user, int32_t userSize, char* password, int32_t passwordSize) {
    std::lock_guard<std::mutex> hold(g_mutex);
    ++g_asks;
    if (g_credentials.empty()) return 0;
    const std::string answer = g_credentials.front();
    g_credentials.pop_front();
    snprintf(user, static_cast<size_t>(userSize), "%s", answer.substr(0, answer.find(':')).c_str());
    snprintf(password, static_cast<size_t>(passwordSize), "%s", answer.substr(answer.find(':') + 1).c_str());
    return 1;
}

Note NextNote() {
    std::unique_lock<std::mutex> hold(g_mutex);
    if (!g_arrived.wait_for(hold, seconds(15), [] { return !g_notes.empty(); })) return {};
    const Note note = g_notes.front();
    g_notes.pop_front();
    return note;
}

int64_t StopMs() {
    const auto start = steady_clock::now();
    EXPECT_EQ(VexaEngine_Stop(), 1);
    return duration_cast<milliseconds>(steady_clock::now() - start).count();
}

bool PlaysToTheEnd() {
    const auto deadline = steady_clock::now() + seconds(30);
    while (VexaEngine_GetMode() != VEXA_MODE_ENDED && steady_clock::now() < deadline)
        std::this_thread::sleep_for(milliseconds(20));
    return VexaEngine_Stop() == 1 && steady_clock::now() < deadline;
}

// Names in a folder ending in suffix ("" for every entry but . and ..).
std::vector<std::string> Entries(const std::string& folder, const std::string& suffix = "") {
    std::vector<std::string> names;
    if (DIR* dir = opendir(folder.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            const std::string name = entry->d_name;
            if (name != "." && name != ".." && name.size() >= suffix.size() &&
                name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
                names.push_back(name);
        }
        closedir(dir);
    }
    return names;
}

// Plays source recording into a fresh folder; returns Play's result.
int32_t Play(const std::string& source, const std::string& folder) {
    mkdir(folder.c_str(), 0755);
    char recordFolder[256] = {};
    snprintf(recordFolder, sizeof recordFolder, "%s", folder.c_str());
    char saveFolder[256] = {};
    return VexaEngine_Play(nullptr, source.c_str(), 0x2A, recordFolder, 1, saveFolder);
}

std::vector<uint8_t> RecordingIn(const std::string& folder) {
    const std::vector<std::string> wavs = Entries(folder, ".wav");
    return wavs.size() == 1 ? ReadWholeFile(folder + "/" + wavs[0]) : std::vector<uint8_t>{};
}

class HttpStream : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "all_proxy", "ALL_PROXY", "no_proxy"})
            unsetenv(name);
        servers_ = new ScratchDir;
        mkdir(servers_->File("www").c_str(), 0755);
        WriteWholeFile(servers_->File("www/stream.mp3"), ReadWholeFile(FixturePath("mp3/mpeg1_48k_stereo_cbr.mp3")));
        WriteWholeFile(servers_->File("www/live.mp3"), ReadWholeFile(VEXA_SOURCE_DIR "/assets/demo.mp3"));
        ASSERT_EQ(Servers("start " + servers_->File("state") + " " + servers_->File("www")), 0);
        VexaEnginePosix_SetNotifyCallback(OnNotify);
        VexaEnginePosix_SetSaveDialogCallback(OnSaveDialog);
        VexaEnginePosix_SetProxyCredentialsCallback(OnCredentials);
    }
    static void TearDownTestSuite() {
        VexaEngine_Stop();
        Servers("stop " + servers_->File("state"));
        VexaEnginePosix_SetNotifyCallback(nullptr);
        VexaEnginePosix_SetSaveDialogCallback(nullptr);
        VexaEnginePosix_SetProxyCredentialsCallback(nullptr);
        delete servers_;
    }
    static int Servers(const std::string& arguments) {
        return std::system((VEXA_SOURCE_DIR "/tests/http/servers.sh " + arguments).c_str());
    }
    void SetUp() override { VexaEngine_SetOutputOptions(1, 16, 1, 0); }
    void TearDown() override {
        VexaEngine_Stop();
        VexaEngine_SetOutputOptions(0, 16, 1, 0);
        VexaEnginePosix_SetWaveDevice(nullptr);
    }
    static std::string Address(const char* server, const std::string& path) {
        const std::vector<uint8_t> port = ReadWholeFile(servers_->File(std::string("state/") + server + ".port"));
        return "http://127.0.0.1:" + std::string(port.begin(), std::find(port.begin(), port.end(), '\n')) + path;
    }
    // Play of an address: connecting, then the first notification. (A stop
    // may leave the failure it caused behind.)
    Note Connect(const std::string& address, const std::string& folder) {
        std::lock_guard<std::mutex>{g_mutex}, g_notes.clear();
        EXPECT_EQ(Play(address, folder), VEXA_CONNECTING);
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CONNECTING);
        return NextNote();
    }
    static ScratchDir* servers_;
    ScratchDir scratch_;
};
ScratchDir* HttpStream::servers_ = nullptr;

TEST_F(HttpStream, EachServerFaultEndsAsExpectedAndWhatPlaysRecordsLikeTheFile) {
    std::vector<uint8_t> bytes = ReadWholeFile(servers_->File("www/stream.mp3"));
    std::vector<uint8_t> wavs[2];  // the whole file's recording and its first half's
    int32_t length = 0;
    for (auto& wav : wavs) {
        const std::string folder = scratch_.File("local" + std::to_string(&wav - wavs));
        WriteWholeFile(scratch_.File("local.mp3"), bytes);
        ASSERT_EQ(Play(scratch_.File("local.mp3"), folder), 1);
        if (length == 0) length = VexaEngine_GetLength();
        ASSERT_TRUE(PlaysToTheEnd());
        wav = RecordingIn(folder);
        bytes.resize(bytes.size() / 2);
    }
    for (const vexahttp::FaultCase& c : vexahttp::kFaultCases) {
        SCOPED_TRACE(c.name);
        const std::string folder = scratch_.File(std::to_string(&c - vexahttp::kFaultCases));
        const std::string target = c.target;
        const Note note = Connect(target == vexahttp::kClosedPort ? Address("closed", "/stream.mp3")
                                  : target[0] == '/'              ? Address("http", target)
                                                                  : target,
                                  folder);
        if (c.failure != 0) {
            EXPECT_EQ(note, (Note{VEXA_NOTIFY_FAILURE, c.failure}));
            EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CONNECTING) << "until Stop";
            EXPECT_LT(StopMs(), 1000);
            continue;
        }
        ASSERT_EQ(note, kPlays);
        EXPECT_EQ(VexaEngine_GetLength(), c.statesLength ? length : 0);  // before GetMode can see the end
        EXPECT_TRUE(PlaysToTheEnd());
        EXPECT_TRUE(RecordingIn(folder) == wavs[c.firstHalfOnly ? 1 : 0]) << "the WAV differs";
    }
}

TEST_F(HttpStream, ASavedStreamIsExactlyTheBytesReceivedAndACancelSavesNothing) {
    VexaEngine_SetOutputOptions(1, 16, 1, 1);
    for (const std::string save : {"saved.mp3", ""}) {
        g_savePath = save.empty() ? "" : scratch_.File(save);
        ASSERT_EQ(Connect(Address("http", "/stream.mp3"), scratch_.File("rec" + std::to_string(save.empty()))), kPlays);
        EXPECT_EQ(g_dialogSeen, "MPEG Layer3 Sounds (*.mp3)|*.mp3|| mp3 stream.mp3");
        EXPECT_TRUE(PlaysToTheEnd());
        EXPECT_FALSE(RecordingIn(scratch_.File("rec" + std::to_string(save.empty()))).empty()) << "the stream plays either way";
    }
    EXPECT_TRUE(ReadWholeFile(scratch_.File("saved.mp3")) == ReadWholeFile(servers_->File("www/stream.mp3")));
    EXPECT_EQ(Entries(scratch_.path(), ".mp3").size(), 1u) << "a cancelled dialog saves nothing";
}

TEST_F(HttpStream, ALiveStreamPlaysOnTheSinkHasNoLengthOnlyResumesAndIsSavedAsReceived) {
    ASSERT_EQ(StartSoundServer(), "");
    VexaEnginePosix_SetWaveDevice(kTestSinkDevice);
    VexaEngine_SetOutputOptions(0, 16, 1, 1);
    g_savePath = scratch_.File("live.mp3");
    SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing());
    ASSERT_EQ(Connect(Address("icecast", "/live.mp3"), scratch_.path()), kPlays);
    EXPECT_EQ(VexaEngine_GetLength(), 0);
    std::this_thread::sleep_for(milliseconds(1500));
    EXPECT_EQ(VexaEngine_Pause(), 1);
    EXPECT_EQ(VexaEngine_Seek(60000), 1);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PLAYING);
    std::this_thread::sleep_for(milliseconds(1000));
    EXPECT_LT(VexaEngine_GetPosition(), 10000) << "a stream must not seek";
    EXPECT_GT(PeakIn(capture.Samples(), 0, capture.SampleCount()), 1000) << "the sink heard nothing";
    EXPECT_LT(StopMs(), 1000);
    // What was saved is a run of the looping source, and it holds MPEG frames.
    const std::vector<uint8_t> saved = ReadWholeFile(g_savePath);
    std::vector<uint8_t> loop = ReadWholeFile(servers_->File("www/live.mp3"));
    loop.insert(loop.end(), loop.begin(), loop.end());
    ASSERT_GT(saved.size(), 16384u);
    EXPECT_NE(std::search(loop.begin(), loop.end(), saved.begin(), saved.begin() + 8192), loop.end());
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    EXPECT_EQ(Play(g_savePath, scratch_.File("check")), 1);
    g_savePath.clear();
}

TEST_F(HttpStream, StopIsPromptInEveryPhaseAndStormsLeaveNothingBehind) {
    const std::string phases[] = {Address("http", "/fault/silent"), Address("http", "/fault/stall"),
                                  Address("http", "/fault/trickle/stream.mp3"), Address("icecast", "/live.mp3")};
    const size_t threads = Entries("/proc/self/task").size();
    const size_t handles = Entries("/proc/self/fd").size();
    for (int round = 0; round < 3; ++round) {
        for (const std::string& address : phases) {
            SCOPED_TRACE(address);
            ASSERT_EQ(Play(address, scratch_.path()), VEXA_CONNECTING);
            std::this_thread::sleep_for(milliseconds(round == 0 ? 400 : 17 * round));
            EXPECT_LT(StopMs(), 1000);
        }
    }
    EXPECT_EQ(Entries("/proc/self/task").size(), threads);
    EXPECT_EQ(Entries("/proc/self/fd").size(), handles);
}

// tinyproxy 1.11 answers wrong credentials with 401, not 407, so the engine
// stops asking and fails on the refusal page; the test server, asked as a
// proxy, answers 407 again and the engine asks again.
TEST_F(HttpStream, AProxyAsksForCredentialsUntilItAcceptsThemOrTheHostCancels) {
    const Note fails{VEXA_NOTIFY_FAILURE, VEXA_ERR_NO_FRAME};
    const struct {
        const char* proxy;
        std::deque<std::string> answers;
        Note outcome;
        int asks;
    } cases[] = {
        {"proxy", {"vexa:secret"}, kPlays, 1}, {"proxy", {"vexa:wrong", "vexa:secret"}, fails, 1},
        {"proxy", {}, fails, 1},               {"http", {"vexa:wrong", "vexa:secret"}, kPlays, 2},
        {"http", {"vexa:wrong", "vexa:wrong"}, fails, 3},
    };
    for (const auto& c : cases) {
        setenv("http_proxy", Address(c.proxy, "").c_str(), 1);
        {
            std::lock_guard<std::mutex> hold(g_mutex);
            g_credentials = c.answers;
            g_asks = 0;
        }
        EXPECT_EQ(Connect(Address("http", "/stream.mp3"), scratch_.path()), c.outcome);
        VexaEngine_Stop();
        unsetenv("http_proxy");
        std::lock_guard<std::mutex> hold(g_mutex);
        EXPECT_EQ(g_asks, c.asks) << c.proxy;
    }
}

}  // namespace
