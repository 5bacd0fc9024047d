#include "support/sound_server.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "support/decode_support.h"
#include "support/test_support.h"

namespace vexatest {

// The sink is shared: two test programs playing at once would hear each
// other. The first device test of a program takes the sink for the rest of
// the program's life (the lock ends with the process).
void TakeTheSink(const std::string& folder) {
    static bool taken = false;
    if (taken) return;
    const int fd = open((folder + ".use").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    if (fd >= 0 && flock(fd, LOCK_EX) == 0) taken = true;
}

std::string StartSoundServer() {
    const std::string folder = "/tmp/vexa-sound-server-" + std::to_string(getuid());
    TakeTheSink(folder);
    const std::string script = std::string(VEXA_SOURCE_DIR) + "/tests/scripts/sound_server.sh";
    // Test programs run in parallel: one start at a time.
    const std::string command = "flock -o " + folder + ".lock " + script + " start " + folder + " >" + folder +
                                ".out 2>&1";
    const int status = std::system(command.c_str());
    setenv("PULSE_SERVER", ("unix:" + folder + "/native").c_str(), 1);
    if (status == 0) return "";
    const std::vector<uint8_t> out = ReadWholeFile(folder + ".out");
    return "the test sound server could not be started (" + script + "): " + std::string(out.begin(), out.end());
}

SinkCapture::SinkCapture() {
    // The shell gives its process id, then becomes parec.
    const std::string command = "echo $$; exec parec --device=vexa_sink.monitor --raw --format=s16le --rate=" +
                                std::to_string(kSinkRate) + " --channels=" + std::to_string(kSinkChannels) +
                                " --latency-msec=10";
    pipe_ = popen(command.c_str(), "r");
    if (pipe_ == nullptr) return;
    std::string pid;
    for (char c; read(fileno(pipe_), &c, 1) == 1 && c != '\n';) pid += c;
    pid_ = std::atoi(pid.c_str());
    reader_ = std::thread([this] { ReadLoop(); });
}

SinkCapture::~SinkCapture() { Stop(); }

bool SinkCapture::WaitUntilCapturing() {
    return pid_ > 0 && WaitFor([this] { return SampleCount() > 0; }, std::chrono::milliseconds(5000));
}

void SinkCapture::ReadLoop() {
    uint8_t buffer[8192];
    for (ssize_t n; (n = read(fileno(pipe_), buffer, sizeof buffer)) > 0;) {
        std::lock_guard<std::mutex> hold(mutex_);
        bytes_.insert(bytes_.end(), buffer, buffer + n);
    }
}

size_t SinkCapture::SampleCount() {
    std::lock_guard<std::mutex> hold(mutex_);
    return bytes_.size() / 2;
}

std::vector<int16_t> SinkCapture::Samples() {
    std::lock_guard<std::mutex> hold(mutex_);
    return AsSamples(bytes_);
}

void SinkCapture::Stop() {
    if (pid_ > 0) {
        kill(pid_, SIGTERM);  // the reader then sees the end, and pclose collects parec
        pid_ = -1;
    }
    if (reader_.joinable()) reader_.join();
    if (pipe_ != nullptr) {
        pclose(pipe_);
        pipe_ = nullptr;
    }
}

long FindInCapture(const std::vector<int16_t>& captured, const std::vector<int16_t>& reference) {
    // A sound server may repeat a few ms of older audio when a stream starts
    // (its sink rewinds), so the first audible sample is no anchor. Every
    // frame offset is tried against probes spread over the reference's
    // first second; the offset with the smallest difference wins, provided
    // it is small.
    constexpr size_t kProbes = 96;
    const size_t span = std::min<size_t>(reference.size(), kSinkRate * kSinkChannels);
    if (span < kProbes * 2 || captured.size() < span) return -1;
    const size_t stride = (span / kProbes) | 1;  // odd: probes fall in both channels
    double probeEnergy = 0.0;
    for (size_t k = 0; k < span; k += stride) probeEnergy += std::abs(static_cast<double>(reference[k]));
    long best = -1;
    double bestError = 1e300;
    for (size_t offset = 0; offset + span <= captured.size(); offset += 2) {
        double error = 0.0;
        for (size_t k = 0; k < span && error < bestError; k += stride)
            error += std::abs(static_cast<double>(captured[offset + k]) - reference[k]);
        if (error < bestError) {
            bestError = error;
            best = static_cast<long>(offset);
        }
    }
    // A match leaves less than a tenth of the reference's own level.
    return bestError < 0.1 * probeEnergy ? best : -1;
}

int PeakIn(const std::vector<int16_t>& captured, size_t from, size_t to) {
    int peak = 0;
    for (size_t i = from; i < to && i < captured.size(); ++i) peak = std::max(peak, std::abs(int{captured[i]}));
    return peak;
}

}  // namespace vexatest

// The sound server's client library and ALSA are not built for the thread
// sanitizer: it cannot see their own synchronisation and reports races
// inside them. Only reports from within those libraries are suppressed.
extern "C" __attribute__((visibility("default"), used)) const char* __tsan_default_suppressions() {
    return "called_from_lib:libpulse.so.0\n"
           "called_from_lib:libpulse-simple.so.0\n"
           "called_from_lib:libpulsecommon-*.so\n"
           "called_from_lib:libasound_module_pcm_pulse.so\n"
           "race:libpulse.so\n"
           "race:libpulsecommon\n"
           "race:libasound_module_pcm_pulse.so\n"
           "race:libasound.so\n"
           "race:pa_*\n";
}
