// The parsed header of the current stream's frames, with the values derived
// from it and the Xing / VBRI contents of the stream's first frame.
#pragma once

#include <cstdint>

namespace vexa {

struct FrameHeader {
    int32_t allocTable;     // Layer II allocation table in use
    int32_t channels;       // 1 for single channel, else 2
    int32_t jsBound;        // joint-stereo bound (Layers I, II)
    int32_t channelSelect;  // -1 two output channels, 3 both mixed to one
    int32_t sbLimit;        // highest coded sub-band (Layer II)
    int32_t lsf;            // 0 MPEG-1, 1 MPEG-2 and MPEG 2.5
    int32_t mpeg25;         // 1 for MPEG 2.5
    int32_t quality;        // 0 full, 1 half, 2 quarter rate
    int32_t layer;          // 1, 2 or 3
    int32_t crcPresent;     // a 16-bit CRC follows the header
    int32_t bitrateIndex;   // 1..14
    int32_t sampleRateIndex;  // 0..8 (MPEG-1 0..2, MPEG-2 3..5, MPEG 2.5 6..8)
    int32_t padding;
    int32_t privateBit;
    int32_t mode;           // 0 stereo, 1 joint stereo, 2 dual channel, 3 single channel
    int32_t modeExtension;
    int32_t copyright;
    int32_t original;
    int32_t emphasis;
    int32_t bodyLength;     // frame length in bytes without the 4 header bytes
    int32_t subbandCount;   // 32 >> quality
    int32_t lineCount;      // 576 >> quality
    int32_t crcWord;        // stored, never checked

    int32_t xingPresent;
    int32_t xingFlags;      // 1 frames, 2 bytes, 4 TOC, 8 quality
    int32_t xingFrames;
    int32_t xingBytes;
    int32_t xingQuality;
    uint8_t xingToc[100];

    int32_t vbriPresent;
    int32_t vbriQuality;
    int32_t vbriBytes;
    int32_t vbriFrames;
    int32_t vbriTableSize;  // entries the header declares
    int32_t vbriTableScale;
    int32_t vbriEntryBytes;   // 1, 2 or 4
    int32_t vbriEntryFrames;
    // Entries actually held in vbriTable: fewer than declared when the table
    // would run past the 2048-byte area or the frame body.
    int32_t vbriEntriesHeld;
    // Entries as host-order unsigned values of vbriEntryBytes bytes each.
    alignas(4) uint8_t vbriTable[2048];
};

// Entry i of the VBRI table as stored by the frame reader.
uint32_t VbriEntry(const FrameHeader& header, int index);

}  // namespace vexa
