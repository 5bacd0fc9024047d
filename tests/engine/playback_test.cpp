// Playback end to end through the exported interface: what the sound device
// plays, the position, pause, seeks, the end of a stream, Stop in every
// phase, record-only mode, the save dialog's cancel, the level scan and three
// host threads at once.
//
// The device tests play through a private sound server's null sink (see
// tests/scripts/sound_server.sh) and capture its monitor; they fail when the
// server cannot be started.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "engine/engine_record.h"
#include "output/wave_record.h"
#include "platform/posix/wave_sink.h"
#include "support/decode_support.h"
#include "support/frame_builder.h"
#include "support/sound_server.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexa;
using namespace vexatest;
using namespace std::chrono_literals;

namespace {

using Clock = std::chrono::steady_clock;
constexpr size_t kWaveHeaderBytes = 46;

int64_t MsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// An ISO Layer II vector at 44.1 kHz stereo, 192 kbit/s (constant bitrate),
// 1.3 s: repeated, it makes streams of any length without large files.
std::vector<uint8_t> Layer2Stream(int repeats) {
    const std::vector<uint8_t> vector = ReadWholeFile(SharedPath("vectors/iso/l2-fl11.bit"));
    std::vector<uint8_t> stream;
    for (int i = 0; i < repeats; ++i) stream.insert(stream.end(), vector.begin(), vector.end());
    return stream;
}
constexpr int kRepeatsFor100s = 78;

std::vector<uint8_t> DecodedPcm(const std::vector<uint8_t>& stream, int32_t outputScale = 30000) {
    return DecodeStream(stream, {.outputScale = outputScale}).pcm;
}

bool ModeIs(int32_t mode, std::chrono::milliseconds timeout) {
    return WaitFor([mode] { return VexaEngine_GetMode() == mode; }, timeout);
}

class Playback : public ::testing::Test {
protected:
    void SetUp() override {
        ResetEngine(0);
        VexaEnginePosix_SetSaveDialogCallback(nullptr);
    }
    void TearDown() override {
        SetUp();
        VexaEnginePosix_SetWaveDevice(nullptr);
    }
    int32_t Play(const std::string& path, int32_t autoName = 1) { return PlayInto(path, scratch.path(), autoName); }
    ScratchDir scratch;
};

// ---- On the real device ------------------------------------------------------

class DevicePlayback : public Playback {
protected:
    void SetUp() override {
        Playback::SetUp();
        ASSERT_EQ(StartSoundServer(), "");
        VexaEnginePosix_SetWaveDevice(kTestSinkDevice);
    }
};

TEST_F(DevicePlayback, TheDeviceHearsTheDecodedPcmInRealTimeAndTheEndIsReported) {
    const std::vector<uint8_t> stream = Layer2Stream(3);  // 3.8 s
    const std::vector<int16_t> decoded = AsSamples(DecodedPcm(stream));
    SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing());
    ASSERT_EQ(Play(scratch.Write("stream.mp2", stream)), 1);
    EXPECT_EQ(VexaEnginePosix_WaveDeviceIsSilent(), 0);
    EXPECT_EQ(VexaEngine_GetLength(), static_cast<int32_t>(g_engine.lengthMs + 0.5));

    ASSERT_TRUE(WaitFor([] { return VexaEngine_GetPosition() >= 700; }, 3000ms));
    const auto t1 = Clock::now();
    const int32_t p1 = VexaEngine_GetPosition();
    platform::SleepMs(1500);
    // The position is what has been heard: it follows the clock within 50 ms.
    EXPECT_NEAR(VexaEngine_GetPosition() - p1, MsSince(t1), 50);

    ASSERT_TRUE(ModeIs(VEXA_MODE_ENDED, 8000ms));
    platform::SleepMs(300);
    capture.Stop();
    const std::vector<int16_t> heard = capture.Samples();
    const std::vector<int16_t> expected(decoded.begin() + kSinkRate / 10, decoded.end());  // after the first 50 ms
    const long offset = FindInCapture(heard, expected);
    ASSERT_GE(offset, 0) << "the decoded stream was not heard";
    ASSERT_GE(heard.size(), static_cast<size_t>(offset) + expected.size()) << "the end of the stream was cut";
    EXPECT_GT(ComparePcm(heard, expected, 1, static_cast<size_t>(offset)).snrDb, 90.0);
}

// Pause on a device that holds its sound, and on one that cannot (the
// output drops what the sink holds and plays it again on resume): silence
// at once, a position that stands still, and after Resume the stream goes
// on from where it stopped. The sink's monitor shows a cork or a flush some
// milliseconds off (under load up to 10 ms either way), so "where it
// stopped" is checked to 20 ms, and the second that follows sample by
// sample. The output's own test counts every byte played exactly once.
TEST_F(DevicePlayback, PauseIsSilentHoldsThePositionAndResumeGoesOnWhereItStopped) {
    const std::vector<uint8_t> stream = Layer2Stream(8);  // 10 s at 44.1 kHz: the sink does not resample
    const std::vector<int16_t> decoded = AsSamples(DecodedPcm(stream));
    const std::string path = scratch.Write("stream.mp2", stream);
    constexpr long kSecond = kSinkRate * kSinkChannels;
    for (const bool hardwarePause : {true, false}) {
        SCOPED_TRACE(hardwarePause ? "hardware pause" : "no hardware pause");
        platform::WaveDenyHardwarePause(!hardwarePause);
        SinkCapture capture;
        ASSERT_TRUE(capture.WaitUntilCapturing());
        ASSERT_EQ(Play(path), 1);
        ASSERT_TRUE(WaitFor([] { return VexaEngine_GetPosition() >= 1200; }, 4000ms));
        const size_t pausedAt = capture.SampleCount();
        ASSERT_EQ(VexaEngine_Pause(), 1);
        platform::SleepMs(80);
        const int32_t held = VexaEngine_GetPosition();
        const size_t quietFrom = capture.SampleCount();
        platform::SleepMs(700);
        EXPECT_EQ(VexaEngine_GetPosition(), held);
        const size_t quietTo = capture.SampleCount();
        ASSERT_EQ(VexaEngine_Resume(), 1);
        platform::SleepMs(2000);
        EXPECT_GT(VexaEngine_GetPosition(), held + 1500);
        VexaEngine_Stop();
        platform::WaveDenyHardwarePause(false);
        capture.Stop();
        const std::vector<int16_t> heard = capture.Samples();
        ASSERT_GT(quietTo, quietFrom + kSinkRate);
        EXPECT_LT(PeakIn(heard, quietFrom, quietTo), 50) << "sound while paused";

        const size_t skip = kSecond / 20;  // the server may skip a stream's first ms
        // The stream repeats a short vector: its start is looked for before the pause only.
        const long start = FindInCapture(std::vector<int16_t>(heard.begin(), heard.begin() + static_cast<long>(quietFrom)),
                                         std::vector<int16_t>(decoded.begin() + skip, decoded.end()));
        ASSERT_GE(start, 0) << "the stream was not heard";
        // Where the heard sound stops matching: one past the last frame heard before the pause.
        size_t stoppedAt = skip;
        const auto at = [&](size_t i) { return static_cast<size_t>(start) + (i - skip); };
        while (stoppedAt < decoded.size() && at(stoppedAt) < heard.size() &&
               std::abs(heard[at(stoppedAt)] - decoded[stoppedAt]) <= 4)
            ++stoppedAt;
        stoppedAt &= ~size_t{1};
        EXPECT_LE(at(stoppedAt), pausedAt + kSecond / 10) << "heard on after Pause";
        size_t soundAgain = quietFrom;
        while (soundAgain < heard.size() && heard[soundAgain] == 0 && heard[soundAgain + 1] == 0) soundAgain += 2;
        ASSERT_LT(soundAgain + kSecond, heard.size()) << "nothing heard after Resume";
        const std::vector<int16_t> resumed(heard.begin() + static_cast<long>(soundAgain),
                                           heard.begin() + static_cast<long>(soundAgain) + kSecond);
        const long around = static_cast<long>(stoppedAt) - kSecond / 5;
        const std::vector<int16_t> window(decoded.begin() + around, decoded.begin() + around + 2 * kSecond);
        const long found = FindInCapture(window, resumed);
        ASSERT_GE(found, 0) << "what followed the pause is not the stream near where it stopped";
        EXPECT_NEAR(around + found, static_cast<long>(stoppedAt), kSecond / 50) << "samples lost or repeated";
        EXPECT_GT(ComparePcm(window, resumed, 1, static_cast<size_t>(found)).snrDb, 60.0)
            << "the sound after Resume is not continuous";
    }
}

// Seeks as the thread carries them out: the position goes on from the
// target (99 % at most) plus eight pre-rolled frames, a seek while paused
// plays again at once, two requests before the thread acts leave only the
// last, and a seek to the end plays the last second out.
TEST_F(DevicePlayback, SeeksGoOnFromTheTargetAndThePreRoll) {
    ASSERT_EQ(Play(scratch.Write("stream.mp2", Layer2Stream(kRepeatsFor100s))), 1);
    const double length = g_engine.lengthMs;
    ASSERT_NEAR(length, 100000.0, 1000.0);
    const auto expectedBase = [&](double ms) { return std::min(ms, 0.99 * length) + 8 * g_engine.frameMs; };
    for (const auto& [ms, whilePaused] : {std::pair{0.0, false}, {length / 2, true}, {length / 3, false},
                                          {length * 0.99, false}, {length * 2, false}}) {
        SCOPED_TRACE(ms);
        if (whilePaused) {
            ASSERT_TRUE(WaitFor([] { return VexaEngine_GetPosition() > 200; }, 3000ms));
            ASSERT_EQ(VexaEngine_Pause(), 1);
            platform::SleepMs(300);
        }
        ASSERT_EQ(VexaEngine_Seek(static_cast<uint32_t>(ms)), 1);
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PLAYING);
        ASSERT_TRUE(WaitForSeekDone());
        const int32_t base = g_engine.seekBaseMs;
        EXPECT_NEAR(base, expectedBase(static_cast<uint32_t>(ms)), 1);
        EXPECT_GE(VexaEngine_GetPosition(), base);
        EXPECT_LE(VexaEngine_GetPosition(), base + 300);
        if (!whilePaused) continue;
        platform::SleepMs(1000);
        EXPECT_NEAR(VexaEngine_GetPosition(), base + 1000, 300) << "the seek did not resume playback";
    }
    platform::LockEnter(g_engine.engineLock);  // two requests before the thread can act
    VexaEngine_Seek(10000);
    VexaEngine_Seek(30000);
    platform::LockLeave(g_engine.engineLock);
    ASSERT_TRUE(WaitForSeekDone());
    EXPECT_NEAR(g_engine.seekBaseMs.load(), expectedBase(30000), 1);
    VexaEngine_Seek(static_cast<uint32_t>(length));
    ASSERT_TRUE(ModeIs(VEXA_MODE_ENDED, 6000ms));
}

// Stop must come back at once wherever the thread is, including while it
// crosses tens of megabytes of junk byte by byte or scans levels through
// it, and close the device (paused or not) without leaving its thread
// behind; a stop that cuts a read short is not the end of the stream, so
// the recording keeps only whole blocks (no partial block flushed into it).
TEST_F(DevicePlayback, StopReturnsPromptlyInEveryPhase) {
    const auto threads = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}); };
    long threadsAfterFirstStop = 0;  // the first playback may start the sound libraries' own threads
    std::vector<uint8_t> junky = Layer2Stream(1);
    junky.resize(junky.size() + (40 << 20), 0);
    Append(junky, Layer2Stream(1));
    const std::string longPath = scratch.Write("long.mp2", Layer2Stream(kRepeatsFor100s));
    const std::string shortPath = scratch.Write("short.mp2", Layer2Stream(1));
    const std::string junkPath = scratch.Write("junk.mp2", junky);
    const auto allFramesRead = [] {  // the thread is in the junk, or draining
        WaitFor([] { return g_engine.decodePosMs.load() + 100 >= 1300; }, 5000ms);
        platform::SleepMs(100);
    };
    const struct {
        const char* phase;
        const std::string& path;
        int32_t levelScan, recordMode;
        void (*reach)();
    } cases[] = {
        {"priming", longPath, 0, 0, [] {}},
        {"level scan", longPath, 1, 0, [] {}},
        {"level scan through junk", junkPath, 1, 0, [] { platform::SleepMs(100); }},
        {"paused", longPath, 0, 0,
         [] {
             WaitFor([] { return VexaEngine_GetPosition() > 0; }, 3000ms);
             VexaEngine_Pause();
             platform::SleepMs(300);
         }},
        {"draining", shortPath, 0, 0, allFramesRead},
        {"resynchronising through junk, recording", junkPath, 0, 2, allFramesRead},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.phase);
        VexaEngine_SetScale(c.levelScan, 30000);
        VexaEngine_SetOutputOptions(c.recordMode, 16, 1, 0);
        SetRecordCounter(1);
        ASSERT_EQ(Play(c.path), 1);
        c.reach();
        EXPECT_NE(VexaEngine_GetMode(), VEXA_MODE_ENDED);
        const auto start = Clock::now();
        EXPECT_EQ(VexaEngine_Stop(), 1);
        EXPECT_LT(MsSince(start), 500);
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
        if (threadsAfterFirstStop == 0) threadsAfterFirstStop = threads();
        EXPECT_TRUE(WaitFor([&] { return threads() == threadsAfterFirstStop; }, 1000ms)) << "a thread was left behind";
        if (c.recordMode == 0) continue;
        const size_t fullBlockBytes = 44100 / 5 * 4 / 128 * 128;  // whole 128-byte chunks in 200 ms
        const size_t recorded = ReadWholeFile(scratch.File("01-junk.wav")).size() - kWaveHeaderBytes;
        EXPECT_GT(recorded, 0u);
        EXPECT_EQ(recorded % fullBlockBytes, 0u) << "a partial block was recorded at the stop";
    }
}

// ---- Without a device ----------------------------------------------------------

// Record-only: the position is the decode position, and the file holds the
// whole stream decoded at the scale the level scan (if on) arrived at: a
// quiet file keeps the scan's starting scale, a loud one is lowered, and a
// file shorter than the scan still plays from its first frame.
TEST_F(Playback, RecordOnlyWritesTheWholeStreamAtTheScannedScale) {
    const struct {
        const char* name;
        std::vector<uint8_t> stream;
        int32_t levelScan, minScale, maxScale;
    } cases[] = {
        {"song.mp2", Layer2Stream(20), 0, 30000, 30000},
        {"short.mp2", Layer2Stream(1), 1, 20000, 128000},
        {"quiet.mp3", ReadWholeFile(FixturePath("playback/quiet.mp3")), 1, 128000, 128000},  // about -40 dB
        {"demo.mp3", ReadWholeFile(std::string(VEXA_SOURCE_DIR) + "/assets/demo.mp3"), 1, 20000, 127999},
    };
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        VexaEngine_SetScale(c.levelScan, 30000);
        SetRecordCounter(1);
        ASSERT_EQ(Play(scratch.Write(c.name, c.stream)), 1);
        bool monotonic = true;
        for (int32_t last = 0, position = 0; VexaEngine_GetMode() == VEXA_MODE_PLAYING; last = position) {
            position = VexaEngine_GetPosition();
            const int32_t decodedPosition = g_engine.decodePosMs;
            if (VexaEngine_GetMode() != VEXA_MODE_PLAYING) break;
            monotonic = monotonic && position >= last && position <= decodedPosition;
        }
        EXPECT_TRUE(monotonic) << "the record-only position is the decode position";
        ASSERT_TRUE(ModeIs(VEXA_MODE_ENDED, 10000ms));
        const int32_t scale = g_engine.outputScale;
        EXPECT_GE(scale, c.minScale);
        EXPECT_LE(scale, c.maxScale);
        VexaEngine_Stop();
        const std::string stem = std::filesystem::path(c.name).stem().string();
        const std::vector<uint8_t> file = ReadWholeFile(scratch.File("01-" + stem + ".wav"));
        const std::vector<uint8_t> decoded = DecodedPcm(c.stream, scale);
        ASSERT_EQ(file.size(), kWaveHeaderBytes + decoded.size());
        EXPECT_TRUE(std::equal(decoded.begin(), decoded.end(), file.begin() + kWaveHeaderBytes));
    }
}

TEST_F(Playback, ACancelledDialogFailsRecordOnlyAndPlaysWithoutRecordingOtherwise) {
    const std::string path = scratch.Write("song.mp2", Layer2Stream(1));
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    EXPECT_EQ(Play(path, 0), VEXA_ERR_OUTPUT);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
    VexaEnginePosix_SetWaveDevice("null");
    VexaEngine_SetOutputOptions(2, 16, 1, 0);
    ASSERT_EQ(Play(path, 0), 1);
    EXPECT_TRUE(ModeIs(VEXA_MODE_ENDED, 6000ms));
    VexaEngine_Stop();
    EXPECT_FALSE(platform::FileExists(scratch.File("song.wav").c_str()));
}

// ---- Three host threads at once ---------------------------------------------------

// One host thread plays, stops, seeks, pauses and resumes at random while
// two others call every setter (every effect and preset among them) and
// query. Under the thread sanitizer (the suite's label selects it) any
// unguarded shared value is reported; under the address sanitizer a device
// or buffer freed under a reader is. Every Stop must return promptly, and
// the engine must play normally afterwards.
TEST_F(Playback, ThreeHostThreadsCallingEverythingAtOnce) {
    VexaEnginePosix_SetWaveDevice("null");
    const std::string path = scratch.Write("stream.mp2", Layer2Stream(8));
    std::atomic<bool> done{false};
    std::atomic<int64_t> calls{0};
    std::vector<std::thread> setters;
    for (const unsigned seed : {2u, 3u}) {
        setters.emplace_back([&, seed] {
            std::mt19937 random(seed);
            auto pick = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
            int32_t bands[20] = {};
            int64_t mine = 0;
            for (; !done || mine < 9000; ++mine) {
                switch (pick(0, 12)) {
                case 0: VexaEngine_SetEngine(pick(-1, 4)); break;
                case 1: VexaEngine_SetQuality(pick(-1, 3)); break;
                case 2: VexaEngine_SetScale(pick(0, 1), pick(1000, 60000)); break;
                case 3: VexaEngine_Set8bitResolution(pick(0, 1)); break;
                case 4: VexaEngine_SetChannel(pick(0, 1)); break;
                case 5: VexaEngine_SetOutputOptions(pick(0, 8) == 0 ? 1 : 0, pick(0, 16), pick(0, 2), 0); break;
                case 6:
                    for (int32_t& band : bands) band = pick(-12, 12);
                    VexaEngine_SetEqualizer(bands);
                    break;
                case 7:
                    VexaEngine_SetEffect(pick(0, 1), pick(0, 4), pick(0, 100), pick(0, 1), pick(0, 100), pick(0, 1),
                                         pick(0, 100), pick(0, 1), pick(-1, 11));
                    break;
                case 8: VexaEngine_GetSpectrum(bands, pick(0, 1)); break;
                case 9: VexaEngine_GetLength(); break;
                case 10: VexaEngine_GetMode(); break;
                default: VexaEngine_GetPosition(); break;
                }
            }
            calls += mine;
        });
    }
    std::mt19937 random(1);
    auto pick = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
    int64_t worstStopMs = 0;
    for (int i = 0; i < 1500; ++i) {
        switch (pick(0, 5)) {
        case 0: Play(path); break;
        case 1: {
            const auto start = Clock::now();
            VexaEngine_Stop();
            worstStopMs = std::max(worstStopMs, MsSince(start));
            break;
        }
        case 2: VexaEngine_Seek(static_cast<uint32_t>(pick(0, 12000))); break;
        case 3: VexaEngine_Pause(); break;
        case 4: VexaEngine_Resume(); break;
        default: platform::SleepMs(pick(0, 3)); break;
        }
    }
    done = true;
    for (std::thread& setter : setters) setter.join();
    EXPECT_GE(calls + 1500, 10000);
    EXPECT_LT(worstStopMs, 1000) << "a Stop was held up";
    SetUp();  // the engine is whole: a stream with plain settings plays
    VexaEnginePosix_SetWaveDevice("null");
    ASSERT_EQ(Play(path), 1);
    EXPECT_TRUE(WaitFor([] { return VexaEngine_GetPosition() > 300; }, 3000ms));
}

}  // namespace
