// Finds MPEG audio frames in a byte stream, confirms each candidate by the
// header that follows it, and keeps the current and previous frame in two
// alternating slots of the frame area, where the decoder reads them.
//
// Threads: one thread at a time (the playback thread, or the thread opening
// the stream); the state is not locked.
#pragma once

#include <cstdint>

#include "stream/byte_source.h"
#include "stream/frame_header.h"
#include "stream/frame_values.h"

namespace vexa {

constexpr int32_t kSpareBytes = 512;
constexpr int32_t kSlot0Bytes = 8704;
constexpr int32_t kSlot1Bytes = 8192;
constexpr int32_t kFrameAreaBytes = kSpareBytes + kSlot0Bytes + kSlot1Bytes;  // 17408
// Zeroed slack behind the area: the bit reader may touch a few bytes past the
// last bit it takes, and a corrupt Layer III frame may claim more bits than
// its slot holds.
constexpr int32_t kFrameAreaSlack = 4096;
constexpr int32_t kMaxBodyLength = 8192;
constexpr int32_t kMinBodyLength = 24;

struct FrameReaderState {
    alignas(16) uint8_t frameArea[kFrameAreaBytes + kFrameAreaSlack];
    uint8_t* currentFrame;     // start of the current body
    int32_t currentBodyLength;
    uint8_t* previousFrame;
    int32_t previousBodyLength;
    int32_t nextSlot;          // 0 or 1
    uint8_t peekBuffer[kMaxBodyLength + 4];
    uint32_t lastHeaderWord;   // 0 when none accepted yet
    uint32_t firstFrameWord;   // 0 until the stream's first frame is accepted
    int32_t sideInfoLength;         // Layer III side information of the current frame
    int32_t sideInfoLengthWithCrc;  // offset of the main data in the body
    FrameHeader reference;     // the stream's first frame
    FrameHeader scratch;       // the header that must follow a candidate
    // bitrate * multiplier / rate by [lsf][layer - 1][bitrateIndex][sampleRateIndex]
    int32_t frameSize[2][3][16][9];
};

extern FrameReaderState g_frameReader;
// The header record of the current stream.
extern FrameHeader g_header;

// Clears the reader and the frame area. fullReset (stream open) also forgets
// the stream's first frame. The decoder's own state is the caller's to reset
// (ResetDecoderState).
void ResetFrameReader(bool fullReset);

// Makes the next frame current; false at the end of the data or on a failed read.
bool ReadNextFrame(ByteSource& source, FrameHeader& header);

// Fills header from a header word; returns bodyLength, or 0 when the word is
// not acceptable (including, once the first frame is known, a different
// version, rate or layer).
int32_t ParseFrameHeader(uint32_t word, FrameHeader& header);

// The two-frame test of a candidate whose header word was just consumed.
bool ConfirmFrame(ByteSource& source, uint32_t word, FrameHeader& header);

}  // namespace vexa
