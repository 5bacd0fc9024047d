// HTTP streams against real loopback servers that this program starts and
// stops (servers.sh): static and fault server, Icecast2 fed by a looping
// source client, tinyproxy asking for Basic credentials.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <filesystem>
#include <mutex>
#include <thread>

#include "http/http_fault_cases.h"
#include "platform/platform.h"
#include "support/decode_support.h"
#include "support/sound_server.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexatest;
using namespace std::chrono;
namespace fs = std::filesystem;

namespace {

using Note = std::pair<uint32_t, int32_t>;  // kind and value; {0, 0}: nothing arrived in time
constexpr Note kPlays{VEXA_NOTIFY_MODE, VEXA_MODE_PLAYING};

std::mutex g_mutex;
std::condition_variable g_arrived;
std::deque<Note> g_notes;
std::deque<std::string> g_credentials;  // user and password answers, in pairs
int g_asks = 0;
std::string g_savePath;  // empty: the save dialog is cancelled
std::string g_dialogSeen;

int g_window;  // the host window Play names, with the id 0x1002A

// A notification not addressed as Windows would post it arrives as kind 0.
void OnNotify(void* window, uint32_t message, uint32_t wParam, int32_t lParam) {
    std::lock_guard<std::mutex> hold(g_mutex);
    const bool addressed = window == &g_window && message == VEXA_NOTIFY_MESSAGE && wParam >> 16 == 0x2A;
    g_notes.emplace_back(addressed ? wParam & 0xFFFFu : 0, lParam);
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
    snprintf(user, static_cast<size_t>(userSize), "%s", g_credentials[0].c_str());
    snprintf(password, static_cast<size_t>(passwordSize), "%s", g_credentials[1].c_str());
    g_credentials.erase(g_credentials.begin(), g_credentials.begin() + 2);
    return 1;
}

int AnswerCredentials(const std::deque<std::string>& answers, bool reset) {
    std::lock_guard<std::mutex> hold(g_mutex);
    if (reset) {
        g_credentials = answers;
        g_asks = 0;
    }
    return g_asks;
}

int64_t StopMs() {
    const auto start = steady_clock::now();
    EXPECT_EQ(VexaEngine_Stop(), 1);
    return duration_cast<milliseconds>(steady_clock::now() - start).count();
}

bool PlaysToTheEnd() {
    const bool ended = WaitFor([] { return VexaEngine_GetMode() == VEXA_MODE_ENDED; }, seconds(30));
    return VexaEngine_Stop() == 1 && ended;
}

size_t EntriesIn(const fs::path& folder) { return static_cast<size_t>(std::distance(fs::directory_iterator(folder), {})); }

int32_t Play(const std::string& source, const std::string& folder) {
    return PlayInto(source, folder, 1, &g_window, 0x1002A);
}

class HttpStream : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        for (const char* name : {"http_proxy", "HTTP_PROXY", "https_proxy", "all_proxy", "ALL_PROXY", "no_proxy"})
            unsetenv(name);
        servers_ = new ScratchDir;
        fs::create_directory(servers_->File("www"));
        fs::copy_file(FixturePath("mp3/mpeg1_48k_stereo_cbr.mp3"), servers_->File("www/stream.mp3"));
        // The source client sends the audio of its file without the ID3v1
        // trailer, so the loop it makes is the file's frames end to end.
        std::vector<uint8_t> live = ReadWholeFile(VEXA_SOURCE_DIR "/assets/demo.mp3");
        if (live.size() > 128 && std::equal(live.end() - 128, live.end() - 125, "TAG")) live.resize(live.size() - 128);
        WriteWholeFile(servers_->File("www/live.mp3"), live);
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
    // may have left the failure it caused behind.)
    static Note Connect(const std::string& address, const std::string& folder) {
        std::unique_lock<std::mutex> hold(g_mutex);
        g_notes.clear();
        hold.unlock();
        EXPECT_EQ(Play(address, folder), VEXA_CONNECTING);
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CONNECTING);
        hold.lock();
        if (!g_arrived.wait_for(hold, seconds(15), [] { return !g_notes.empty(); })) return {};
        return g_notes.front();
    }
    static ScratchDir* servers_;
    ScratchDir scratch_;
};
ScratchDir* HttpStream::servers_ = nullptr;

// Every stream that plays is saved, but for the static file, whose save
// dialog is cancelled.
TEST_F(HttpStream, EachServerFaultEndsAsExpectedAndWhatPlaysRecordsAndSavesLikeTheFile) {
    std::vector<uint8_t> bytes = ReadWholeFile(servers_->File("www/stream.mp3"));
    std::vector<uint8_t> mp3s[2], wavs[2];  // the whole file and its first half, and their recordings
    int32_t length = 0;
    for (int half = 0; half < 2; ++half, bytes.resize(bytes.size() / 2)) {
        WriteWholeFile(scratch_.File("local.mp3"), mp3s[half] = bytes);
        ASSERT_EQ(Play(scratch_.File("local.mp3"), scratch_.File("local" + std::to_string(half))), 1);
        if (half == 0) length = VexaEngine_GetLength();
        ASSERT_TRUE(PlaysToTheEnd());
        wavs[half] = RecordingIn(scratch_.File("local" + std::to_string(half)));
    }
    VexaEngine_SetOutputOptions(1, 16, 1, 1);
    for (const vexahttp::FaultCase& c : vexahttp::kFaultCases) {
        SCOPED_TRACE(c.name);
        const std::string folder = scratch_.File(std::to_string(&c - vexahttp::kFaultCases));
        const std::string target = c.target;
        g_savePath = target == "/stream.mp3" ? "" : folder + "/saved.mp3";
        const Note note = Connect(target == vexahttp::kClosedPort ? Address("closed", "/stream.mp3")
                                  : target[0] == '/'              ? Address("http", target)
                                                                  : target,
                                  folder);
        if (c.failure != 0) {
            EXPECT_EQ(note, Note(VEXA_NOTIFY_FAILURE, c.failure));
            EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CONNECTING) << "until Stop";
            EXPECT_LT(StopMs(), 1000);
            continue;
        }
        ASSERT_EQ(note, kPlays);
        EXPECT_EQ(VexaEngine_GetLength(), c.statesLength ? length : 0);  // before GetMode can see the end
        EXPECT_TRUE(PlaysToTheEnd());
        EXPECT_TRUE(RecordingIn(folder) == wavs[c.firstHalfOnly]) << "the WAV differs";
        const std::string suggested = target.substr(target.rfind('/') + 1);
        EXPECT_EQ(g_dialogSeen, "MPEG Layer3 Sounds (*.mp3)|*.mp3|| mp3 " + suggested);
        EXPECT_EQ(EntriesIn(folder), g_savePath.empty() ? 1u : 2u) << "a cancelled dialog saves nothing";
        EXPECT_TRUE(g_savePath.empty() || ReadWholeFile(g_savePath) == mp3s[c.firstHalfOnly]) << "saved as received";
    }
    g_savePath.clear();
}

TEST_F(HttpStream, WithoutLibcurlInstalledAStreamFailsAsAnUnreachableServerDoes) {
    vexa::platform::InjectFault(vexa::platform::Fault::HttpLibrary, 1);
    EXPECT_EQ(Connect(Address("http", "/stream.mp3"), scratch_.path()), Note(VEXA_NOTIFY_FAILURE, VEXA_ERR_INPUT));
    VexaEngine_Stop();
    EXPECT_EQ(Connect(Address("http", "/stream.mp3"), scratch_.path()), kPlays);
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
    ASSERT_GT(saved.size(), 8192u);
    EXPECT_NE(std::search(loop.begin(), loop.end(), saved.begin(), saved.begin() + 8192), loop.end());
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    EXPECT_EQ(Play(g_savePath, scratch_.File("check")), 1);
    g_savePath.clear();
}

TEST_F(HttpStream, StopIsPromptInEveryPhaseAndStormsLeaveNothingBehind) {
    const std::string phases[] = {Address("http", "/fault/silent"), Address("http", "/fault/stall"),
                                  Address("http", "/fault/trickle/stream.mp3"), Address("icecast", "/live.mp3")};
    // A first connection before counting: runtimes (the thread sanitizer's
    // among them) start threads of their own with the first thread.
    ASSERT_EQ(Play(phases[0], scratch_.path()), VEXA_CONNECTING);
    EXPECT_LT(StopMs(), 1000);
    VexaEnginePosix_SetNotifyCallback(nullptr);  // the notifications go nowhere, harmlessly
    const size_t threads = EntriesIn("/proc/self/task");
    const size_t handles = EntriesIn("/proc/self/fd");
    for (int round = 0; round < 3; ++round) {
        for (const std::string& address : phases) {
            SCOPED_TRACE(address);
            ASSERT_EQ(Play(address, scratch_.path()), VEXA_CONNECTING);
            std::this_thread::sleep_for(milliseconds(round == 0 ? 400 : 17 * round));
            EXPECT_LT(StopMs(), 1000);
        }
    }
    VexaEnginePosix_SetNotifyCallback(OnNotify);
    EXPECT_EQ(EntriesIn("/proc/self/task"), threads);
    EXPECT_EQ(EntriesIn("/proc/self/fd"), handles);
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
        {"proxy", {"vexa", "secret"}, kPlays, 1}, {"proxy", {"vexa", "wrong", "vexa", "secret"}, fails, 1},
        {"proxy", {}, fails, 1},                  {"http", {"vexa", "wrong", "vexa", "secret"}, kPlays, 2},
        {"http", {"vexa", "wrong", "vexa", "wrong"}, fails, 3},
    };
    for (const auto& c : cases) {
        setenv("http_proxy", Address(c.proxy, "").c_str(), 1);
        AnswerCredentials(c.answers, true);
        EXPECT_EQ(Connect(Address("http", "/stream.mp3"), scratch_.path()), c.outcome);
        VexaEngine_Stop();
        unsetenv("http_proxy");
        EXPECT_EQ(AnswerCredentials({}, false), c.asks) << c.proxy;
    }
}

}  // namespace
