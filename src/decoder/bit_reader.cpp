#include "decoder/bit_reader.h"

#include <cstring>

#include "stream/frame_reader.h"

namespace vexa {

BitReader g_bitReader = {nullptr, 0};

// Every Layer III frame leaves its reservoir bytes in front of its own main
// data in the same way, so the previous slot holds one continuous run of
// main data ending at its body's end, and main_data_begin reaches back into
// it (and into the free bytes before it) as far as the stream says. Nothing
// compares n with what is really there: after a reset the area is zero, and
// a stream that claims more than it has gets whatever lies in front.
void StartMainData(int32_t n) {
    FrameReaderState& reader = g_frameReader;
    if (n < 0) n = 0;
    if (n > kSpareBytes - 1) n = kSpareBytes - 1;
    uint8_t* mainData = reader.currentFrame + reader.sideInfoLengthWithCrc;
    uint8_t* start = mainData - n;
    if (reader.previousFrame != nullptr) {
        std::memmove(start, reader.previousFrame + reader.previousBodyLength - n, static_cast<size_t>(n));
    } else {
        std::memset(start, 0, static_cast<size_t>(n));
    }
    PointBitReader(start);
}

}  // namespace vexa
