#include "stream/frame_count.h"

#include "stream/frame_reader.h"

namespace vexa {

int32_t CountFrames(uint32_t dataSize, const FrameHeader& header) {
    // A header's count stands even when it is 0 (the stream then has no
    // length, and seeks land at 99 %); one past 2^31 - 1 would make the length
    // negative, so the bitrate estimate stands in for it.
    if (header.xingPresent && (header.xingFlags & 1) && header.xingFrames >= 0) return header.xingFrames;
    if (header.vbriPresent && header.vbriFrames >= 0) return header.vbriFrames;
    const double kbps = BitrateKbps(header);
    const double rate = StreamSampleRate(header);
    double frameBytes;
    if (header.layer == 1) {
        frameBytes = kbps * 48000.0 / rate;
    } else if (header.layer == 2) {
        frameBytes = kbps * 144000.0 / rate;
    } else {
        frameBytes = kbps * 144000.0 / (rate * (1 << header.lsf));
    }
    return static_cast<int32_t>(static_cast<double>(dataSize) / frameBytes);
}

}  // namespace vexa
