// How playback feels, measured where it is heard: a private sound server's
// null sink (tests/scripts/sound_server.sh) reached through ALSA's pulse
// plugin, its monitor captured. Reports, over several runs each:
//   Play -> first sound, Seek -> sound at the new place, Pause -> silence,
//   Stop -> silence (goals 200, 200, 80, 80 ms), how long GetPosition still
//   moves after Pause returns (goal 80 ms), and whether every 250 ms step of
//   the position after the first 500 ms of 20 starts runs at real-time rate
//   (within 40 %).
// Times count from the call to the capture's sample clock, so they include
// the capture's own delay (about 10 ms): they err on the slow side.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "platform/posix/wave_sink.h"
#include "support/sound_server.h"
#include "support/test_support.h"
#include "vexaengine.h"

using namespace vexatest;

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kLoud = 400;  // a sample above this is sound, below it silence

void SleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

// The ISO Layer II vector (44.1 kHz stereo, 192 kbit/s) repeated.
std::vector<uint8_t> Music(int repeats) {
    const std::vector<uint8_t> vector = ReadWholeFile(SharedPath("vectors/iso/l2-fl11.bit"));
    std::vector<uint8_t> stream;
    for (int i = 0; i < repeats; ++i) stream.insert(stream.end(), vector.begin(), vector.end());
    return stream;
}

// Frames of the same format with no bits allocated: silence.
std::vector<uint8_t> Silence(int frames) {
    std::vector<uint8_t> stream;
    for (int i = 0; i < frames; ++i) {
        std::vector<uint8_t> frame(626, 0);  // 192 kbit/s at 44.1 kHz, no padding
        frame[0] = 0xFF;
        frame[1] = 0xFC;
        frame[2] = 0xA0;
        stream.insert(stream.end(), frame.begin(), frame.end());
    }
    return stream;
}

double MsOfSamples(long samples) { return samples * 1000.0 / (kSinkRate * kSinkChannels); }

long FirstLoudFrom(const std::vector<int16_t>& heard, size_t from) {
    for (size_t i = from; i < heard.size(); ++i)
        if (std::abs(int{heard[i]}) > kLoud) return static_cast<long>(i);
    return -1;
}

long LastLoudAfter(const std::vector<int16_t>& heard, size_t from) {
    long last = static_cast<long>(from);
    for (size_t i = from; i < heard.size(); ++i)
        if (std::abs(int{heard[i]}) > kLoud) last = static_cast<long>(i);
    return last;
}

int32_t Play(const std::string& path) {
    char folder[256] = {};
    char saveFolder[256] = {};
    return VexaEngine_Play(nullptr, path.c_str(), 0, folder, 0, saveFolder);
}

struct Figures {
    std::vector<double> values;
    void Add(double ms) { values.push_back(ms); }
    void Print(const char* name, double goal) {
        std::sort(values.begin(), values.end());
        if (values.empty()) {
            std::printf("%-34s no measurement\n", name);
            return;
        }
        const double worst = values.back();
        std::printf("%-34s median %6.1f ms  worst %6.1f ms  (goal %3.0f ms)%s\n", name, values[values.size() / 2],
                    worst, goal, worst <= goal ? "" : "  OVER");
    }
};

// One run: play, measure the start, then either seek, pause or stop.
enum class Action { Seek, Pause, Stop };

void MeasureRun(const std::string& path, Action action, Figures& start, Figures& after, Figures& hold,
                Figures& stopCall) {
    SinkCapture capture;
    if (!capture.WaitUntilCapturing()) return;
    SleepMs(200);
    const size_t playAt = capture.SampleCount();
    if (Play(path) != 1) return;
    SleepMs(action == Action::Seek ? 1200 : 1500);
    // Counted from the moment of the call, before it returns.
    const size_t actionAt = capture.SampleCount();
    if (action == Action::Seek) {
        VexaEngine_Seek(static_cast<uint32_t>(VexaEngine_GetLength() * 3 / 4));
    } else if (action == Action::Pause) {
        VexaEngine_Pause();
        const auto paused = Clock::now();
        int32_t last = VexaEngine_GetPosition();
        double lastChangeMs = 0.0;
        while (Clock::now() - paused < std::chrono::milliseconds(600)) {
            const int32_t now = VexaEngine_GetPosition();
            if (now != last) {
                lastChangeMs = std::chrono::duration<double, std::milli>(Clock::now() - paused).count();
                last = now;
            }
            SleepMs(2);
        }
        hold.Add(lastChangeMs);
    } else {
        const auto stopping = Clock::now();
        VexaEngine_Stop();
        stopCall.Add(std::chrono::duration<double, std::milli>(Clock::now() - stopping).count());
    }
    SleepMs(700);
    VexaEngine_Stop();
    capture.Stop();
    const std::vector<int16_t> heard = capture.Samples();
    if (action != Action::Seek) {
        const long first = FirstLoudFrom(heard, playAt);
        if (first >= 0) start.Add(MsOfSamples(first - static_cast<long>(playAt)));
        after.Add(MsOfSamples(LastLoudAfter(heard, actionAt) - static_cast<long>(actionAt)));
    } else {
        const long sound = FirstLoudFrom(heard, actionAt);
        if (sound >= 0) after.Add(MsOfSamples(sound - static_cast<long>(actionAt)));
    }
}

// Starts a 10 s stream 20 times; after the first 500 ms every 250 ms step of
// the position must stay within 40 % of the wall clock.
void MeasureStalls(const std::string& path) {
    double lowest = 1e9;
    double highest = 0.0;
    int badSteps = 0;
    for (int run = 0; run < 20; ++run) {
        if (Play(path) != 1) {
            std::printf("Play failed\n");
            return;
        }
        const auto started = Clock::now();
        SleepMs(500);
        int32_t previous = VexaEngine_GetPosition();
        auto previousAt = Clock::now();
        for (int step = 0; step < 6; ++step) {
            std::this_thread::sleep_until(started + std::chrono::milliseconds(750 + 250 * step));
            const int32_t position = VexaEngine_GetPosition();
            const auto now = Clock::now();
            const double wall = std::chrono::duration<double, std::milli>(now - previousAt).count();
            const double rate = (position - previous) / wall;
            lowest = std::min(lowest, rate);
            highest = std::max(highest, rate);
            if (rate < 0.6 || rate > 1.4) ++badSteps;
            previous = position;
            previousAt = now;
        }
        VexaEngine_Stop();
    }
    std::printf("%-34s rate %.2f .. %.2f of real time, %d of 120 steps outside 0.6 .. 1.4\n",
                "position over 20 starts", lowest, highest, badSteps);
}

}  // namespace

int main() {
    const std::string failure = StartSoundServer();
    if (!failure.empty()) {
        std::fprintf(stderr, "%s\n", failure.c_str());
        return 1;
    }
    VexaEnginePosix_SetWaveDevice(kTestSinkDevice);
    ScratchDir scratch;
    const std::string music = scratch.File("music.mp2");
    WriteWholeFile(music, Music(8));
    // Silence for the first half, music for the second: a seek is heard
    // when the music starts.
    std::vector<uint8_t> halves = Silence(380);
    const std::vector<uint8_t> tune = Music(8);
    halves.insert(halves.end(), tune.begin(), tune.end());
    const std::string seekable = scratch.File("halves.mp2");
    WriteWholeFile(seekable, halves);

    Figures play, seek, pause, stop, hold, stopCall, unused;
    Figures softPause, softHold;
    for (int run = 0; run < 5; ++run) {
        MeasureRun(music, Action::Pause, play, pause, hold, unused);
        MeasureRun(music, Action::Stop, play, stop, unused, stopCall);
        MeasureRun(seekable, Action::Seek, unused, seek, unused, unused);
        // A device without hardware pause: the output drops what it holds.
        vexa::platform::WaveDenyHardwarePause(true);
        MeasureRun(music, Action::Pause, unused, softPause, softHold, unused);
        vexa::platform::WaveDenyHardwarePause(false);
    }
    play.Print("Play -> first sound", 200);
    seek.Print("Seek -> sound at the new place", 200);
    pause.Print("Pause -> silence", 80);
    stop.Print("Stop -> silence", 80);
    hold.Print("Pause -> position still", 80);
    softPause.Print("Pause -> silence, no hw pause", 80);
    softHold.Print("Pause -> still, no hw pause", 80);
    stopCall.Print("Stop call returns", 150);
    MeasureStalls(music);
    return 0;
}
