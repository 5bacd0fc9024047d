// What the POSIX wave device's feeder thread writes to: an ALSA PCM or a
// silent sink that consumes bytes at the real-time rate. Every call comes
// from the feeder thread, so ALSA is never entered from two threads.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/wave_device.h"

namespace vexa::platform {

constexpr uint32_t kSinkBufferMs = 100;  // what a sink holds ahead of the ear

class Sink {
public:
    virtual ~Sink() = default;
    // Blocks until the frames are accepted; false on a failure that lost them.
    virtual bool Write(const uint8_t* bytes, uint32_t frames) = 0;
    // Frames written but not yet heard.
    virtual uint64_t DelayFrames() = 0;
    // Whether Pause holds the sound where it is; without it the feeder
    // drops what the sink holds and writes it again on restart.
    virtual bool CanPause() = 0;
    virtual void Pause(bool pause) = 0;
    // Discards everything not yet heard.
    virtual void Drop() = 0;
    // Nothing more to write for now: what was written must play even when
    // it does not fill the buffer (the end of a short stream).
    virtual void Start() {}
    // After each write, with the frames just written.
    virtual void NoteWritten(uint32_t) {}
};

// Plays nothing, at the rate a sound card would.
std::unique_ptr<Sink> MakeSilentSink(uint32_t rate);
// An ALSA PCM by name, set up for the format; nullptr when it cannot be
// opened or set up, or ALSA is not installed.
std::unique_ptr<Sink> OpenAlsaSink(const char* name, const WaveFormat& format);

// The sink the host chose (see WaveSetDeviceName); nullptr when a device
// it named cannot be opened.
std::unique_ptr<Sink> OpenChosenSink(const WaveFormat& format);

// Tests: sinks opened while this is set report that they cannot pause, so
// the path for devices without hardware pause runs on any device.
void WaveDenyHardwarePause(bool deny);
bool HardwarePauseDenied();

}  // namespace vexa::platform
