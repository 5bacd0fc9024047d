// Which sink a device opens: the ALSA device the host named, the system's
// default (or the silent sink when there is none), or the silent sink by
// the name "null".
#include <atomic>
#include <mutex>
#include <string>

#include "platform/posix/wave_sink.h"

namespace vexa::platform {
namespace {

std::mutex g_deviceNameMutex;
std::string g_deviceName;
std::atomic<int32_t> g_lastOpenSilent{0};
std::atomic<bool> g_denyHardwarePause{false};

std::string ChosenDeviceName() {
    std::lock_guard<std::mutex> hold(g_deviceNameMutex);
    return g_deviceName;
}

}  // namespace

void WaveSetDeviceName(const char* name) {
    std::lock_guard<std::mutex> hold(g_deviceNameMutex);
    g_deviceName = name != nullptr ? name : "";
}

int32_t WaveLastOpenWasSilent() { return g_lastOpenSilent.load(); }

void WaveDenyHardwarePause(bool deny) { g_denyHardwarePause = deny; }
bool HardwarePauseDenied() { return g_denyHardwarePause.load(); }

// nullptr when a device named by the host cannot be had.
std::unique_ptr<Sink> OpenChosenSink(const WaveFormat& format) {
    const std::string name = ChosenDeviceName();
    std::unique_ptr<Sink> sink;
    if (name != "null") {
        sink = OpenAlsaSink(name.empty() ? "default" : name.c_str(), format);
        if (sink == nullptr && !name.empty()) return nullptr;
    }
    g_lastOpenSilent = sink == nullptr ? 1 : 0;
    if (sink == nullptr) sink = MakeSilentSink(format.samplesPerSec);
    return sink;
}

}  // namespace vexa::platform
