// The 18-byte little-endian image of a PCM format, shared by both platforms.
#include "platform/wave_device.h"

namespace vexa::platform {
namespace {
void Put16(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value);
    at[1] = static_cast<uint8_t>(value >> 8);
}
void Put32(uint8_t* at, uint32_t value) {
    Put16(at, static_cast<uint16_t>(value));
    Put16(at + 2, static_cast<uint16_t>(value >> 16));
}
}  // namespace

void WaveFormatBytes(const WaveFormat& format, uint8_t (&bytes)[kWaveFormatBytes]) {
    Put16(bytes + 0, format.formatTag);
    Put16(bytes + 2, format.channels);
    Put32(bytes + 4, format.samplesPerSec);
    Put32(bytes + 8, format.avgBytesPerSec);
    Put16(bytes + 12, format.blockAlign);
    Put16(bytes + 14, format.bitsPerSample);
    Put16(bytes + 16, format.extraSize);
}

}  // namespace vexa::platform
