#include "stream/vbr_headers.h"

#include <cstring>

#include "stream/big_endian.h"

namespace vexa {
namespace {

void ReadXingHeader(FrameHeader& header, const uint8_t* tag) {
    header.xingPresent = 1;
    header.xingFlags = static_cast<int32_t>(BigEndian32(tag + 4));
    const uint8_t* field = tag + 8;
    if (header.xingFlags & 1) {
        header.xingFrames = static_cast<int32_t>(BigEndian32(field));
        field += 4;
    }
    if (header.xingFlags & 2) {
        header.xingBytes = static_cast<int32_t>(BigEndian32(field));
        field += 4;
    }
    if (header.xingFlags & 4) {
        std::memcpy(header.xingToc, field, sizeof header.xingToc);
        field += sizeof header.xingToc;
    }
    if (header.xingFlags & 8) header.xingQuality = static_cast<int32_t>(BigEndian32(field));
}

// The table is cut at whichever ends first: the 2048-byte table area or the
// frame body; vbriEntriesHeld counts what was read, vbriTableSize keeps the
// declared count that divides the stream into parts.
void ReadVbriHeader(FrameHeader& header, const uint8_t* tag, int32_t bytesAfterTag) {
    header.vbriPresent = 1;
    header.vbriQuality = static_cast<int32_t>(BigEndian16(tag + 8));
    header.vbriBytes = static_cast<int32_t>(BigEndian32(tag + 10));
    header.vbriFrames = static_cast<int32_t>(BigEndian32(tag + 14));
    const int32_t declaredEntries = static_cast<int32_t>(BigEndian16(tag + 18));
    header.vbriTableScale = static_cast<int32_t>(BigEndian16(tag + 20));
    header.vbriEntryBytes = static_cast<int32_t>(BigEndian16(tag + 22));
    header.vbriEntryFrames = static_cast<int32_t>(BigEndian16(tag + 24));
    const int32_t width = header.vbriEntryBytes;
    if (width != 1 && width != 2 && width != 4) {
        header.vbriPresent = 0;
        header.vbriTableSize = declaredEntries;
        header.vbriEntriesHeld = 0;
        return;
    }
    constexpr int32_t kTableOffset = 26;
    const int32_t bodyRoom = bytesAfterTag > kTableOffset ? (bytesAfterTag - kTableOffset) / width : 0;
    int32_t entries = declaredEntries;
    if (entries > static_cast<int32_t>(sizeof header.vbriTable) / width) entries = sizeof header.vbriTable / width;
    if (entries > bodyRoom) entries = bodyRoom;
    header.vbriTableSize = declaredEntries;
    header.vbriEntriesHeld = entries;
    for (int32_t i = 0; i < entries; ++i) {
        const uint32_t value = BigEndianN(tag + kTableOffset + i * width, width);
        if (width == 1) header.vbriTable[i] = static_cast<uint8_t>(value);
        if (width == 2) {
            const uint16_t narrow = static_cast<uint16_t>(value);
            std::memcpy(header.vbriTable + 2 * i, &narrow, 2);
        }
        if (width == 4) std::memcpy(header.vbriTable + 4 * i, &value, 4);
    }
}

}  // namespace

bool ReadVbrHeader(FrameHeader& header, const uint8_t* tag, int32_t bytesAfterTag) {
    if (std::memcmp(tag, "Xing", 4) == 0) {
        ReadXingHeader(header, tag);
        return true;
    }
    if (std::memcmp(tag, "VBRI", 4) == 0) {
        ReadVbriHeader(header, tag, bytesAfterTag);
        return true;
    }
    return false;
}

uint32_t VbriEntry(const FrameHeader& header, int index) {
    switch (header.vbriEntryBytes) {
        case 1:
            return header.vbriTable[index];
        case 2: {
            uint16_t value;
            std::memcpy(&value, header.vbriTable + 2 * index, 2);
            return value;
        }
        default: {
            uint32_t value;
            std::memcpy(&value, header.vbriTable + 4 * index, 4);
            return value;
        }
    }
}

}  // namespace vexa
