// Any byte string through the whole offline decode path, in the engine,
// quality and output format chosen by its first byte.
#include <cstddef>
#include <cstdint>

#include "engine/offline_decode.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    vexa::OfflineSettings settings;
    settings.engineKind = data[0] & 3;
    settings.quality = (data[0] >> 2) % 3;
    settings.channelSelect = (data[0] & 0x10) ? 3 : -1;
    settings.eightBit = (data[0] >> 5) & 1;
    settings.maxFrames = 200;
    vexa::DecodeToMemory(data + 1, static_cast<uint32_t>(size - 1), settings);
    return 0;
}
