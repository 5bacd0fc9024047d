// Playback end to end through the exported interface: what the sound device
// plays, the position, pause, seeks, the end of a stream, Stop in every
// phase, record-only mode, the save dialog's cancel and the level scan.
//
// The device tests play through a private sound server's null sink (see
// tests/scripts/sound_server.sh) and capture its monitor; they fail when the
// server cannot be started.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "engine/engine_record.h"
#include "engine/offline_decode.h"
#include "output/wave_record.h"
#include "platform/posix/wave_sink.h"
#include "support/frame_builder.h"
#include "support/sound_server.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexa;
using namespace vexatest;

namespace {

using Clock = std::chrono::steady_clock;

void SleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

int64_t MsSince(Clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
}

// An ISO Layer II vector at 44.1 kHz stereo, 192 kbit/s (constant bitrate):
// repeated, it makes streams of any length without committing large files.
std::vector<uint8_t> Layer2Stream(int repeats) {
    const std::vector<uint8_t> vector = ReadWholeFile(SharedPath("vectors/iso/l2-fl11.bit"));
    std::vector<uint8_t> stream;
    for (int i = 0; i < repeats; ++i) stream.insert(stream.end(), vector.begin(), vector.end());
    return stream;
}
constexpr int kRepeatsFor100s = 78;  // 49 frames of 26.12 ms each per copy

std::vector<int16_t> DecodedSamples(const std::vector<uint8_t>& stream, int32_t outputScale = 30000) {
    OfflineSettings settings;
    settings.outputScale = outputScale;
    const OfflineResult result = DecodeToMemory(stream.data(), static_cast<uint32_t>(stream.size()), settings);
    std::vector<int16_t> samples(result.pcm.size() / 2);
    std::memcpy(samples.data(), result.pcm.data(), samples.size() * 2);
    return samples;
}

template <typename Condition>
bool WaitFor(Condition condition, int timeoutMs) {
    const auto start = Clock::now();
    while (!condition()) {
        if (MsSince(start) > timeoutMs) return false;
        SleepMs(5);
    }
    return true;
}

class Playback : public ::testing::Test {
protected:
    void SetUp() override {
        VexaEngine_Stop();
        VexaEngine_SetEngine(0);
        VexaEngine_SetQuality(0);
        VexaEngine_SetChannel(0);
        VexaEngine_Set8bitResolution(0);
        VexaEngine_SetScale(0, 30000);
        VexaEngine_SetOutputOptions(0, 16, 1, 0);
        VexaEnginePosix_SetSaveDialogCallback(nullptr);
    }
    void TearDown() override {
        VexaEngine_Stop();
        VexaEngine_SetOutputOptions(0, 16, 1, 0);
        VexaEngine_SetScale(0, 30000);
        VexaEnginePosix_SetWaveDevice(nullptr);
    }
    std::string WriteStream(const std::vector<uint8_t>& bytes, const std::string& name = "stream.mp2") {
        const std::string path = scratch.File(name);
        WriteWholeFile(path, bytes);
        return path;
    }
    int32_t Play(const std::string& path, int32_t autoName = 1) {
        char recordFolder[256] = {};
        char saveFolder[256] = {};
        scratch.path().copy(recordFolder, 255);
        return VexaEngine_Play(nullptr, path.c_str(), 0, recordFolder, autoName, saveFolder);
    }
    static bool WaitForEnd(int timeoutMs) {
        return WaitFor([] { return VexaEngine_GetMode() == VEXA_MODE_ENDED; }, timeoutMs);
    }
    // The seek the thread carried out: its target plus eight pre-rolled frames.
    static int32_t ExpectedSeekBase(float percent) {
        float decodedMs = static_cast<float>(percent * g_engine.lengthMs * 0.01);
        for (int i = 0; i < 8; ++i) decodedMs += static_cast<float>(g_engine.frameMs);
        return static_cast<int32_t>(decodedMs + 0.5);
    }
    static float SeekPercentFor(uint32_t ms) {
        float percent = static_cast<float>(100.0 / g_engine.lengthMs * ms);
        return percent < 99.0f ? percent : 99.0f;
    }
    // The thread clears the request first and finishes the seek under the
    // engine lock: once the lock can be had, the seek is complete.
    static bool WaitForSeekDone() {
        if (!WaitFor([] { return g_engine.seekRequest.load() == 0; }, 3000)) return false;
        platform::LockGuard hold(g_engine.engineLock);
        return true;
    }
    ScratchDir scratch;
};

// ---- On the real device ------------------------------------------------------

class DevicePlayback : public Playback {
protected:
    void SetUp() override {
        Playback::SetUp();
        const std::string failure = StartSoundServer();
        ASSERT_EQ(failure, "");
        VexaEnginePosix_SetWaveDevice(kTestSinkDevice);
    }
};

TEST_F(DevicePlayback, TheDeviceHearsTheDecodedPcmInRealTimeAndTheEndIsReported) {
    const std::vector<uint8_t> stream = Layer2Stream(3);  // 3.8 s
    const std::vector<int16_t> decoded = DecodedSamples(stream);
    ASSERT_GT(decoded.size(), static_cast<size_t>(3 * kSinkRate * 2));
    const std::string path = WriteStream(stream);
    SinkCapture capture;
    ASSERT_TRUE(capture.WaitUntilCapturing());
    ASSERT_EQ(Play(path), 1);
    EXPECT_EQ(VexaEnginePosix_WaveDeviceIsSilent(), 0);
    EXPECT_EQ(VexaEngine_GetLength(), static_cast<int32_t>(g_engine.lengthMs + 0.5));

    ASSERT_TRUE(WaitFor([] { return VexaEngine_GetPosition() >= 700; }, 3000));
    const auto t1 = Clock::now();
    const int32_t p1 = VexaEngine_GetPosition();
    SleepMs(1500);
    const int32_t p2 = VexaEngine_GetPosition();
    const int64_t elapsed = MsSince(t1);
    // The position is what has been heard: it follows the clock within 50 ms.
    EXPECT_NEAR(p2 - p1, elapsed, 50);

    ASSERT_TRUE(WaitForEnd(8000));
    EXPECT_EQ(VexaEngine_GetPosition(), 0);
    EXPECT_EQ(VexaEngine_GetLength(), 0);
    EXPECT_EQ(VexaEngine_Pause(), 0);
    SleepMs(300);
    capture.Stop();
    const std::vector<int16_t> heard = capture.Samples();
    const std::vector<int16_t> expected(decoded.begin() + kSinkRate / 10, decoded.end());  // after the first 50 ms
    const long offset = FindInCapture(heard, expected);
    ASSERT_GE(offset, 0) << "the decoded stream was not heard";
    ASSERT_GE(heard.size(), static_cast<size_t>(offset) + expected.size()) << "the end of the stream was cut";
    EXPECT_GT(SnrDb(heard, offset, expected), 90.0);
}

// Where the heard sound stops matching the decoded PCM: the index in
// decoded one past the last frame heard, given where decoded[from] was heard.
size_t HeardUntil(const std::vector<int16_t>& heard, size_t at, const std::vector<int16_t>& decoded, size_t from) {
    size_t i = from;
    while (i < decoded.size() && at + (i - from) < heard.size() && std::abs(heard[at + (i - from)] - decoded[i]) <= 4)
        ++i;
    return i & ~size_t{1};
}

// Pause on a device that holds its sound, and on one that cannot (the
// output drops what the sink holds and plays it again on resume): silence
// at once, a position that stands still, and after Resume the stream goes
// on from where it stopped. The sink's monitor itself shows a cork or a
// flush some milliseconds off (it records what the server rendered, not
// what a card played; under load up to 10 ms either way), so "where it
// stopped" is checked to 20 ms here, and the second that follows sample by
// sample. The output's own test counts every byte played exactly once.
TEST_F(DevicePlayback, PauseIsSilentHoldsThePositionAndResumeGoesOnWhereItStopped) {
    const std::vector<uint8_t> stream = Layer2Stream(8);  // 10 s at 44.1 kHz: the sink does not resample
    const std::vector<int16_t> decoded = DecodedSamples(stream);
    const std::string path = WriteStream(stream);
    constexpr long kSecond = kSinkRate * kSinkChannels;
    for (const bool hardwarePause : {true, false}) {
        SCOPED_TRACE(hardwarePause ? "hardware pause" : "no hardware pause");
        platform::WaveDenyHardwarePause(!hardwarePause);
        SinkCapture capture;
        ASSERT_TRUE(capture.WaitUntilCapturing());
        ASSERT_EQ(Play(path), 1);
        ASSERT_TRUE(WaitFor([] { return VexaEngine_GetPosition() >= 1200; }, 4000));
        const size_t pausedAt = capture.SampleCount();
        ASSERT_EQ(VexaEngine_Pause(), 1);
        SleepMs(80);
        const int32_t held = VexaEngine_GetPosition();
        const size_t quietFrom = capture.SampleCount();
        SleepMs(700);
        EXPECT_EQ(VexaEngine_GetPosition(), held);
        const size_t quietTo = capture.SampleCount();
        ASSERT_EQ(VexaEngine_Resume(), 1);
        SleepMs(2000);
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
        const size_t stoppedAt = HeardUntil(heard, static_cast<size_t>(start), decoded, skip);
        EXPECT_LE(static_cast<size_t>(start) + (stoppedAt - skip), pausedAt + kSecond / 10) << "heard on after Pause";
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
        EXPECT_GT(SnrDb(window, found, resumed), 60.0) << "the sound after Resume is not continuous";
    }
}

// Seeks as the thread carries them out: the position goes on from the
// target plus eight pre-rolled frames (at half of a 100 s constant-bitrate
// file, 50000 ms and 8 frames), a seek while paused plays again at once,
// two requests before the thread acts leave only the last, and 99 % plays
// out to the end.
TEST_F(DevicePlayback, SeeksGoOnFromTheTargetAndThePreRoll) {
    const std::string path = WriteStream(Layer2Stream(kRepeatsFor100s));
    ASSERT_EQ(Play(path), 1);
    ASSERT_NEAR(g_engine.lengthMs, 100000.0, 1000.0);
    const uint32_t lengthMs = static_cast<uint32_t>(g_engine.lengthMs);
    struct Case {
        const char* name;
        uint32_t ms;
        float percent;
        bool whilePaused;
    };
    for (const Case& c : {Case{"start", 0, 0.0f, false},
                          Case{"half, while paused", lengthMs / 2, SeekPercentFor(lengthMs / 2), true},
                          Case{"middle", lengthMs / 3, SeekPercentFor(lengthMs / 3), false},
                          Case{"99 %", lengthMs / 100 * 99, SeekPercentFor(lengthMs / 100 * 99), false},
                          Case{"past the end", lengthMs * 2, 99.0f, false}}) {
        if (c.whilePaused) {
            ASSERT_TRUE(WaitFor([] { return VexaEngine_GetPosition() > 200; }, 3000)) << c.name;
            ASSERT_EQ(VexaEngine_Pause(), 1) << c.name;
            SleepMs(300);
        }
        ASSERT_EQ(VexaEngine_Seek(c.ms), 1) << c.name;
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_PLAYING) << c.name;
        ASSERT_TRUE(WaitForSeekDone()) << c.name;
        const int32_t base = g_engine.seekBaseMs;
        EXPECT_NEAR(base, ExpectedSeekBase(c.percent), 1) << c.name;
        const int32_t position = VexaEngine_GetPosition();
        EXPECT_GE(position, base) << c.name;
        EXPECT_LE(position, base + 300) << c.name;
        if (!c.whilePaused) continue;
        EXPECT_NEAR(base, g_engine.lengthMs / 2 + 8 * 26.12, 2.0);
        SleepMs(1000);
        EXPECT_NEAR(VexaEngine_GetPosition(), base + 1000, 300) << "the seek did not resume playback";
    }
    // Two requests before the thread can act: only the last is carried out.
    platform::LockEnter(g_engine.engineLock);
    VexaEngine_Seek(10000);
    VexaEngine_Seek(30000);
    platform::LockLeave(g_engine.engineLock);
    ASSERT_TRUE(WaitForSeekDone());
    EXPECT_EQ(g_engine.seekBaseMs.load(), ExpectedSeekBase(SeekPercentFor(30000)));
    // A seek to 99 % leaves one second: the stream ends and says so.
    VexaEngine_Seek(lengthMs);
    ASSERT_TRUE(WaitForEnd(6000));
    EXPECT_EQ(VexaEngine_GetPosition(), 0);
    EXPECT_EQ(VexaEngine_GetLength(), 0);
}

// Stop must come back at once wherever the thread is, including while it
// crosses tens of megabytes of junk byte by byte or scans levels through
// it; a stop that cuts a read short is not the end of the stream, so the
// recording keeps only whole blocks (no partial block flushed into it).
TEST_F(DevicePlayback, StopReturnsPromptlyInEveryPhase) {
    const std::string longPath = WriteStream(Layer2Stream(kRepeatsFor100s), "long.mp2");
    const std::string shortPath = WriteStream(Layer2Stream(1), "short.mp2");
    std::vector<uint8_t> junky = Layer2Stream(1);
    junky.resize(junky.size() + (40 << 20), 0);
    const std::vector<uint8_t> tail = Layer2Stream(1);
    junky.insert(junky.end(), tail.begin(), tail.end());
    const std::string junkPath = WriteStream(junky, "junk.mp2");
    struct Case {
        const char* phase;
        const std::string* path;
        int32_t levelScan;
        int32_t recordMode;
        void (*reach)();
    };
    const auto noWait = [] {};
    // Every frame before the junk read: the thread is in the junk.
    const auto allFramesRead = [] {
        WaitFor([] { return g_engine.decodePosMs.load() + 100 >= 1300; }, 5000);
        SleepMs(100);
    };
    const std::vector<Case> cases = {
        {"priming", &longPath, 0, 0, noWait},
        {"level scan", &longPath, 1, 0, noWait},
        {"level scan through junk", &junkPath, 1, 0, [] { SleepMs(100); }},
        {"paused", &longPath, 0, 0,
         [] {
             WaitFor([] { return VexaEngine_GetPosition() > 0; }, 3000);
             VexaEngine_Pause();
             SleepMs(300);
         }},
        {"draining", &shortPath, 0, 0, allFramesRead},
        {"resynchronising through junk, recording", &junkPath, 0, 2, allFramesRead},
    };
    for (const Case& c : cases) {
        VexaEngine_SetScale(c.levelScan, 30000);
        VexaEngine_SetOutputOptions(c.recordMode, 16, 1, 0);
        SetRecordCounter(1);
        ASSERT_EQ(Play(*c.path), 1) << c.phase;
        c.reach();
        EXPECT_NE(VexaEngine_GetMode(), VEXA_MODE_ENDED) << c.phase;
        const auto start = Clock::now();
        EXPECT_EQ(VexaEngine_Stop(), 1) << c.phase;
        const int64_t stopMs = MsSince(start);
        std::printf("Stop while %s: %lld ms\n", c.phase, static_cast<long long>(stopMs));
        EXPECT_LT(stopMs, 500) << c.phase;
        EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED) << c.phase;
        if (c.recordMode == 0) continue;
        // A full block holds as many whole 128-byte chunks as fit in 200 ms.
        const size_t fullBlockBytes = 44100 / 5 * 4 / 128 * 128;
        const size_t recorded = ReadWholeFile(scratch.File("01-junk.wav")).size() - 46;
        EXPECT_GT(recorded, 0u) << c.phase;
        EXPECT_EQ(recorded % fullBlockBytes, 0u) << c.phase << ": a partial block was recorded at the stop";
    }
}

// ---- Without a device ----------------------------------------------------------

TEST_F(Playback, RecordOnlyWritesTheDecodedPcmAndReportsTheDecodePosition) {
    const std::vector<uint8_t> stream = Layer2Stream(20);
    const std::vector<int16_t> decoded = DecodedSamples(stream);
    const std::string path = WriteStream(stream, "song.mp2");
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    SetRecordCounter(1);
    ASSERT_EQ(Play(path), 1);
    int32_t last = 0;
    bool monotonic = true;
    while (VexaEngine_GetMode() == VEXA_MODE_PLAYING) {
        const int32_t position = VexaEngine_GetPosition();
        const int32_t decodedPosition = g_engine.decodePosMs;
        if (VexaEngine_GetMode() != VEXA_MODE_PLAYING) break;
        monotonic = monotonic && position >= last && position <= decodedPosition;
        last = position;
    }
    EXPECT_TRUE(monotonic) << "the record-only position is the decode position";
    ASSERT_TRUE(WaitForEnd(10000));
    VexaEngine_Stop();
    const std::vector<uint8_t> file = ReadWholeFile(scratch.File("01-song.wav"));
    ASSERT_EQ(file.size(), 46 + decoded.size() * 2);
    EXPECT_EQ(std::memcmp(file.data() + 46, decoded.data(), decoded.size() * 2), 0);
}

TEST_F(Playback, ACancelledDialogFailsRecordOnlyAndPlaysWithoutRecordingOtherwise) {
    const std::string path = WriteStream(Layer2Stream(1), "song.mp2");
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    EXPECT_EQ(Play(path, 0), VEXA_ERR_OUTPUT);
    EXPECT_EQ(VexaEngine_GetMode(), VEXA_MODE_CLOSED);
    VexaEnginePosix_SetWaveDevice("null");
    VexaEngine_SetOutputOptions(2, 16, 1, 0);
    ASSERT_EQ(Play(path, 0), 1);
    EXPECT_TRUE(WaitForEnd(6000));
    VexaEngine_Stop();
    EXPECT_FALSE(platform::FileExists(scratch.File("song.wav").c_str()));
}

TEST_F(Playback, TheLevelScanLowersTheScaleOfALoudFileOnly) {
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    VexaEngine_SetScale(1, 30000);
    // A soft clip (scripts/make_demo_clip.py): about -40 dB.
    const std::string quiet = FixturePath("playback/quiet.mp3");
    ASSERT_EQ(Play(quiet), 1);
    ASSERT_TRUE(WaitForEnd(10000));
    EXPECT_EQ(g_engine.outputScale.load(), 128000);
    VexaEngine_Stop();
    // The demo clip, at the scan's starting scale, is far above the limit.
    const std::string loud = std::string(VEXA_SOURCE_DIR) + "/assets/demo.mp3";
    ASSERT_EQ(Play(loud), 1);
    ASSERT_TRUE(WaitForEnd(10000));
    EXPECT_LT(g_engine.outputScale.load(), 128000);
    EXPECT_GE(g_engine.outputScale.load(), 20000);
}

TEST_F(Playback, AFileShorterThanTheScanStillPlaysFromTheStartAfterIt) {
    const std::vector<uint8_t> stream = Layer2Stream(1);  // 1.3 s
    const std::string path = WriteStream(stream, "short.mp2");
    VexaEngine_SetOutputOptions(1, 16, 1, 0);
    VexaEngine_SetScale(1, 30000);
    SetRecordCounter(1);
    ASSERT_EQ(Play(path), 1);
    ASSERT_TRUE(WaitForEnd(10000));
    const int32_t scale = g_engine.outputScale;
    VexaEngine_Stop();
    // Everything, from the first frame, at the scale the scan arrived at.
    const std::vector<int16_t> decoded = DecodedSamples(stream, scale);
    const std::vector<uint8_t> file = ReadWholeFile(scratch.File("01-short.wav"));
    ASSERT_EQ(file.size(), 46 + decoded.size() * 2);
    EXPECT_EQ(std::memcmp(file.data() + 46, decoded.data(), decoded.size() * 2), 0);
}

// ---- Two host threads at once -----------------------------------------------------

// One host thread plays, stops, seeks, pauses and resumes at random while a
// second calls every setter and query. Under the thread sanitizer (the
// suite's label selects it) any unguarded shared value is reported; under
// the address sanitizer a device or buffer freed under a reader is. Every
// Stop must return promptly, and the engine must play normally afterwards.
TEST_F(Playback, TwoHostThreadsCallingEverythingAtOnce) {
    VexaEnginePosix_SetWaveDevice("null");
    const std::string path = WriteStream(Layer2Stream(8));
    std::atomic<bool> done{false};
    std::atomic<int64_t> calls{0};
    int64_t worstStopMs = 0;
    std::thread setters([&] {
        std::mt19937 random(2);
        auto pick = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
        int32_t bands[20] = {};
        int32_t levels[20] = {};
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
                VexaEngine_SetEffect(pick(0, 1), pick(0, 3), pick(0, 100), pick(0, 1), pick(0, 100), pick(0, 1),
                                     pick(0, 100), pick(0, 1), pick(0, 2));
                break;
            case 8: VexaEngine_GetSpectrum(levels, pick(0, 1)); break;
            case 9: VexaEngine_GetLength(); break;
            case 10: VexaEngine_GetMode(); break;
            default: VexaEngine_GetPosition(); break;
            }
        }
        calls += mine;
    });
    std::mt19937 random(1);
    auto pick = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };
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
        default: SleepMs(pick(0, 3)); break;
        }
    }
    calls += 1500;
    done = true;
    setters.join();
    std::printf("storm: %lld calls, worst Stop %lld ms\n", static_cast<long long>(calls.load()),
                static_cast<long long>(worstStopMs));
    EXPECT_GE(calls.load(), 10000);
    EXPECT_LT(worstStopMs, 1000) << "a Stop was held up";
    // The engine is whole: a stream with plain settings plays.
    VexaEngine_Stop();
    SetUp();
    VexaEnginePosix_SetWaveDevice("null");
    ASSERT_EQ(Play(path), 1);
    EXPECT_TRUE(WaitFor([] { return VexaEngine_GetPosition() > 300; }, 3000));
}

}  // namespace
