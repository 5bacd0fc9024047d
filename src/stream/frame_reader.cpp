#include "stream/frame_reader.h"

#include <cstring>

#include "stream/big_endian.h"
#include "stream/id3v1_tag.h"
#include "stream/standard_tables.h"
#include "stream/vbr_headers.h"

namespace vexa {

FrameReaderState g_frameReader;
FrameHeader g_header;

namespace {

constexpr int32_t kSizeMultiplier[3] = {12000, 144000, 144000};  // Layer I, II, III

void BuildFrameSizeTable() {
    for (int lsf = 0; lsf < 2; ++lsf)
        for (int layer = 0; layer < 3; ++layer)
            for (int index = 0; index < 16; ++index)
                for (int rate = 0; rate < 9; ++rate)
                    g_frameReader.frameSize[lsf][layer][index][rate] =
                        tables::kBitrateKbps[lsf][layer][index] * kSizeMultiplier[layer] / tables::kSampleRateHz[rate];
}

// Layer III side information in bytes: MPEG-1 17 (one channel) or 32,
// MPEG-2 and 2.5 9 or 17.
int32_t SideInfoLength(const FrameHeader& header) {
    if (header.lsf == 0) return header.channels == 1 ? 17 : 32;
    return header.channels == 1 ? 9 : 17;
}

void RecordSideInfoLength(const FrameHeader& header) {
    g_frameReader.sideInfoLength = header.layer == 3 ? SideInfoLength(header) : 0;
    g_frameReader.sideInfoLengthWithCrc = g_frameReader.sideInfoLength + (header.crcPresent ? 2 : 0);
}

// The first frame of a stream fixes version, rate and layer. A Layer III
// first frame may be a Xing or VBRI frame, which carries no audio.
// Returns true when the frame is such a header frame.
bool AcceptFirstFrame(uint32_t word, FrameHeader& header) {
    g_frameReader.firstFrameWord = word;
    std::memcpy(&g_frameReader.reference, &header, sizeof header);
    header.xingPresent = 0;
    header.vbriPresent = 0;
    if (header.layer != 3) return false;
    const int32_t offset = g_frameReader.sideInfoLength;
    return ReadVbrHeader(header, g_frameReader.currentFrame + offset, header.bodyLength - offset);
}

// Slides forward one byte at a time until a confirmed header stands at the
// read position. No limit: garbage of any length is skipped.
bool Resynchronise(ByteSource& source, uint8_t bytes[4], FrameHeader& header) {
    for (;;) {
        std::memmove(bytes, bytes + 1, 3);
        if (source.Read(bytes + 3, 1, false) != 1) return false;
        if (ConfirmFrame(source, BigEndian32(bytes), header)) return true;
    }
}

}  // namespace

void ResetFrameReader(bool fullReset) {
    FrameReaderState& reader = g_frameReader;
    std::memset(reader.frameArea, 0, sizeof reader.frameArea);
    reader.currentFrame = reader.frameArea + kSpareBytes + kMaxBodyLength;
    reader.currentBodyLength = 0;
    reader.previousFrame = nullptr;
    reader.previousBodyLength = 0;
    reader.nextSlot = 0;
    reader.sideInfoLength = 0;
    reader.sideInfoLengthWithCrc = 0;
    reader.lastHeaderWord = 0;
    if (fullReset) {
        reader.firstFrameWord = 0;
        BuildFrameSizeTable();
    }
}

int32_t ParseFrameHeader(uint32_t word, FrameHeader& header) {
    if ((word >> 21) != 0x7FF) return 0;
    if (word & (1u << 20)) {
        header.mpeg25 = 0;
        header.lsf = 1 - static_cast<int32_t>((word >> 19) & 1);
    } else {
        header.mpeg25 = 1;
        header.lsf = 1;
    }
    header.layer = 4 - static_cast<int32_t>((word >> 17) & 3);
    header.bitrateIndex = static_cast<int32_t>((word >> 12) & 15);
    const int32_t rateBits = static_cast<int32_t>((word >> 10) & 3);
    if (rateBits == 3) return 0;
    header.sampleRateIndex = header.mpeg25 ? rateBits + 6 : rateBits + 3 * header.lsf;
    header.crcPresent = 1 - static_cast<int32_t>((word >> 16) & 1);
    header.modeExtension = static_cast<int32_t>((word >> 4) & 3);
    header.privateBit = static_cast<int32_t>((word >> 8) & 1);
    header.copyright = static_cast<int32_t>((word >> 3) & 1);
    header.emphasis = static_cast<int32_t>(word & 3);
    header.mode = static_cast<int32_t>((word >> 6) & 3);
    header.padding = static_cast<int32_t>((word >> 9) & 1);
    header.original = static_cast<int32_t>((word >> 2) & 1);
    header.channels = header.mode < 3 ? 2 : 1;
    if (header.bitrateIndex == 0 || header.bitrateIndex == 15) return 0;
    if (g_frameReader.firstFrameWord != 0) {
        const FrameHeader& first = g_frameReader.reference;
        if (header.lsf != first.lsf || header.sampleRateIndex != first.sampleRateIndex || header.layer != first.layer)
            return 0;
    }
    if (header.layer == 4) return 0;  // layer bits 00 are reserved
    const int32_t size = g_frameReader.frameSize[header.lsf][header.layer - 1][header.bitrateIndex][header.sampleRateIndex];
    int32_t bodyLength;
    if (header.layer == 3) {
        bodyLength = (size >> header.lsf) + header.padding - 4;
    } else if (header.layer == 2) {
        bodyLength = size + header.padding - 4;
    } else {
        bodyLength = (size + header.padding) * 4 - 4;
    }
    if (bodyLength < kMinBodyLength || bodyLength > kMaxBodyLength) return 0;
    header.bodyLength = bodyLength;
    return bodyLength;
}

bool ConfirmFrame(ByteSource& source, uint32_t word, FrameHeader& header) {
    const int32_t bodyLength = ParseFrameHeader(word, header);
    if (bodyLength == 0) return false;
    RecordSideInfoLength(header);
    uint8_t* peek = g_frameReader.peekBuffer;
    if (source.Read(peek, bodyLength + 4, true) != bodyLength + 4) return true;  // the data ends here
    const uint8_t* next = peek + bodyLength;
    if (IsTagMarker(next)) return true;
    return ParseFrameHeader(BigEndian32(next), g_frameReader.scratch) != 0;
}

bool ReadNextFrame(ByteSource& source, FrameHeader& header) {
    FrameReaderState& reader = g_frameReader;
    for (;;) {
        uint8_t bytes[4];
        if (source.Read(bytes, 4, false) != 4) return false;
        if (IsTagMarker(bytes)) return false;
        uint32_t word = BigEndian32(bytes);
        const bool knownHeader = word == reader.lastHeaderWord && word != 0;
        if (!knownHeader) {
            if (!ConfirmFrame(source, word, header) && !Resynchronise(source, bytes, header)) return false;
            word = BigEndian32(bytes);
            reader.lastHeaderWord = word;
        }
        reader.previousFrame = reader.currentFrame;
        reader.previousBodyLength = reader.currentBodyLength;
        reader.currentFrame = reader.frameArea + kSpareBytes + (reader.nextSlot == 0 ? 0 : kSlot0Bytes);
        reader.nextSlot ^= 1;
        reader.currentBodyLength = header.bodyLength;
        if (source.Read(reader.currentFrame, header.bodyLength, false) != header.bodyLength) return false;
        if (reader.firstFrameWord == 0 && AcceptFirstFrame(word, header)) continue;
        if (header.crcPresent) header.crcWord = static_cast<int32_t>(BigEndian16(reader.currentFrame));
        return true;
    }
}

}  // namespace vexa
