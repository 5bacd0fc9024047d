// The real sound path for device tests: a private PulseAudio server with a
// null sink (started by tests/scripts/sound_server.sh), reached by the engine
// through ALSA's "pulse" device, and a capture of what the sink plays from
// its monitor.
#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vexatest {

// The ALSA device name the engine must use to reach the test server.
constexpr const char* kTestSinkDevice = "pulse";
constexpr int kSinkRate = 44100;
constexpr int kSinkChannels = 2;

// Starts the server unless it runs already and points this process at it
// (PULSE_SERVER). Empty on success, else what went wrong, with the server's
// log. Never skips: a test that needs the server fails when it cannot start.
std::string StartSoundServer();

// Records the sink's monitor as interleaved 16-bit stereo at kSinkRate.
class SinkCapture {
public:
    SinkCapture();
    ~SinkCapture();
    SinkCapture(const SinkCapture&) = delete;
    SinkCapture& operator=(const SinkCapture&) = delete;
    // true once the monitor delivers samples (within a few seconds).
    bool WaitUntilCapturing();
    // Samples (not frames) captured so far.
    size_t SampleCount();
    std::vector<int16_t> Samples();
    void Stop();

private:
    void ReadLoop();
    int pid_ = -1;
    FILE* pipe_ = nullptr;
    std::thread reader_;
    std::mutex mutex_;
    std::vector<uint8_t> bytes_;  // little-endian samples
};

// Where reference (a stretch of PCM) is heard in captured: the offset of its
// first sample in captured (a whole stereo frame), or -1 when it is not
// there. Needs at least the reference's first second in captured.
long FindInCapture(const std::vector<int16_t>& captured, const std::vector<int16_t>& reference);
// The largest absolute sample in captured[from, to).
int PeakIn(const std::vector<int16_t>& captured, size_t from, size_t to);

}  // namespace vexatest
