// The Layer III frame decoders on any bytes: the input becomes the body of
// a run of frames with a fixed Layer III header (chosen by the first byte:
// version, channel mode, CRC), so that every side-information field, scale
// factor and Huffman code, the reservoir and the stereo processing are
// reached without the frame reader's synchronisation in the way.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/offline_decode.h"

namespace {

// Layer III header words without CRC, stereo, no padding.
constexpr uint32_t kHeaders[4] = {
    0xFFFB9000,  // MPEG-1, 128 kbit/s, 44.1 kHz
    0xFFF39000,  // MPEG-2, 80 kbit/s, 22.05 kHz
    0xFFE39000,  // MPEG 2.5, 80 kbit/s, 11.025 kHz
    0xFFFB5000,  // MPEG-1, 64 kbit/s, 44.1 kHz
};

int32_t BodyLength(uint32_t word) {
    const bool mpeg1 = (word >> 19) & 1;
    const bool mpeg25 = !((word >> 20) & 1);
    static const int kMpeg1Kbps[16] = {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0};
    static const int kLsfKbps[16] = {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0};
    const int index = static_cast<int>((word >> 12) & 15);
    const int rate = mpeg1 ? 44100 : (mpeg25 ? 11025 : 22050);
    const int kbps = mpeg1 ? kMpeg1Kbps[index] : kLsfKbps[index];
    return (mpeg1 ? 144000 : 72000) * kbps / rate + static_cast<int>((word >> 9) & 1) - 4;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    uint32_t word = kHeaders[data[0] & 3];
    word |= static_cast<uint32_t>((data[0] >> 2) & 3) << 6;  // channel mode
    word |= static_cast<uint32_t>((data[0] >> 4) & 3) << 4;  // mode extension
    if (data[0] & 0x40) word &= ~0x10000u;                    // CRC present
    const int32_t body = BodyLength(word);
    std::vector<uint8_t> stream;
    const uint8_t* payload = data + 1;
    size_t left = size - 1;
    while (left > 0) {
        for (int shift = 24; shift >= 0; shift -= 8) stream.push_back(static_cast<uint8_t>(word >> shift));
        for (int32_t i = 0; i < body; ++i) {
            stream.push_back(left > 0 ? *payload++ : 0);
            if (left > 0) --left;
        }
    }
    vexa::OfflineSettings settings;
    settings.engineKind = (data[0] >> 7) ? 2 : (data[1] & 3);
    settings.quality = (data[1] >> 2) % 3;
    settings.channelSelect = (data[1] & 0x10) ? 3 : -1;
    settings.maxFrames = 64;
    vexa::DecodeToMemory(stream.data(), static_cast<uint32_t>(stream.size()), settings);
    return 0;
}
