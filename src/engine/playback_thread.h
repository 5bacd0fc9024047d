// The playback thread: decodes, paces through the output, carries out the
// host's pause and seek requests, and drains the output at the end.
#pragma once

#include <cstdint>

namespace vexa {

// Thread entry; the argument is the engine record. Always returns 0.
uint32_t PlaybackThread(void* engineRecord);

}  // namespace vexa
