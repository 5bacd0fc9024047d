#include "stream/frame_reader.h"

#include <cstdio>
#include <cstring>

#include "stream/id3v1_tag.h"
#include "stream/standard_tables.h"

namespace vexa {

FrameReaderState g_frameReader;
FrameHeader g_header;

namespace {

constexpr int32_t kSizeMultiplier[3] = {12000, 144000, 144000};  // Layer I, II, III

uint32_t BigEndian32(const uint8_t* p) {
    return (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | p[3];
}
uint32_t BigEndian16(const uint8_t* p) { return (uint32_t{p[0]} << 8) | p[1]; }
uint32_t BigEndianN(const uint8_t* p, int bytes) {
    uint32_t value = 0;
    for (int i = 0; i < bytes; ++i) value = (value << 8) | p[i];
    return value;
}

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
    const uint8_t* tag = g_frameReader.currentFrame + offset;
    if (std::memcmp(tag, "Xing", 4) == 0) {
        ReadXingHeader(header, tag);
        return true;
    }
    if (std::memcmp(tag, "VBRI", 4) == 0) {
        ReadVbriHeader(header, tag, header.bodyLength - offset);
        return true;
    }
    return false;
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

int32_t StreamSampleRate(const FrameHeader& header) { return tables::kSampleRateHz[header.sampleRateIndex]; }

int32_t OutputSampleRate(const FrameHeader& header) { return StreamSampleRate(header) >> header.quality; }

int32_t BitrateKbps(const FrameHeader& header) {
    return tables::kBitrateKbps[header.lsf][header.layer - 1][header.bitrateIndex];
}

double FrameDurationMs(const FrameHeader& header) {
    int samples = 1152;
    if (header.layer == 1) samples = 384;
    if (header.layer == 3 && header.lsf == 1) samples = 576;
    return static_cast<double>(samples) / StreamSampleRate(header) * 1000.0;
}

void BuildFormatDescription(const FrameHeader& header, char* text, int32_t capacity) {
    char kilohertz[32];
    const float rateKhz = static_cast<float>(StreamSampleRate(header)) * 0.001f;
    std::snprintf(kilohertz, sizeof kilohertz, "%.3f", static_cast<double>(rateKhz));
    size_t length = std::strlen(kilohertz);
    while (length > 0 && kilohertz[length - 1] == '0') kilohertz[--length] = '\0';
    if (length > 0 && kilohertz[length - 1] == '.') kilohertz[--length] = '\0';

    const char* version = header.mpeg25 ? "MPEG 2.5" : (header.lsf ? "MPEG-2" : "MPEG-1");
    static const char* const kLayers[] = {"I", "II", "III"};
    const char* layer = header.layer >= 1 && header.layer <= 3 ? kLayers[header.layer - 1] : "Unknown";
    static const char* const kModes[] = {"Stereo", "Joint-Stereo", "Dual-Channel", "Mono"};
    const char* mode = kModes[header.mode & 3];
    if (!header.xingPresent && !header.vbriPresent) {
        std::snprintf(text, static_cast<size_t>(capacity), "%s Layer %s, %s kHz, %d kbps, %s", version, layer,
                      kilohertz, BitrateKbps(header), mode);
    } else {
        std::snprintf(text, static_cast<size_t>(capacity), "%s Layer %s, %s kHz, VBR, %s", version, layer,
                      kilohertz, mode);
    }
}

}  // namespace vexa
