// A block of the POSIX wave device: a header owning its data buffer, the
// queued mark the output keeps, and the done flag the feeder thread sets.
#pragma once

#include <atomic>
#include <cstdint>

namespace vexa::platform {

struct WaveBlock {
    uint8_t* data = nullptr;
    uint32_t capacity = 0;
    uint32_t length = 0;  // dwBufferLength
    uint32_t queued = 0;  // dwUser
    std::atomic<bool> done{false};
    bool prepared = false;
};

}  // namespace vexa::platform
