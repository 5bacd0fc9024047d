// Frame header parsing, synchronisation on real and damaged data, the first
// frame's Xing / VBRI header, durations and the format description.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <tuple>

#include "stream/frame_count.h"
#include "stream/frame_reader.h"
#include "support/decode_support.h"
#include "support/frame_builder.h"
#include "support/test_support.h"

using namespace vexa;
using namespace vexatest;

namespace {

// Starts a stream the way the stream open does.
void StartStream() {
    std::memset(&g_header, 0, sizeof g_header);
    ResetFrameReader(true);
}

// The header words of every frame the reader delivers, from a fresh start.
std::vector<uint32_t> ReadHeaders(MemorySource& source) {
    std::vector<uint32_t> words;
    while (ReadNextFrame(source, g_header)) words.push_back(g_frameReader.lastHeaderWord);
    return words;
}

std::vector<uint32_t> ReadHeaders(const std::vector<uint8_t>& stream) {
    StartStream();
    MemorySource source(stream.data(), static_cast<uint32_t>(stream.size()));
    return ReadHeaders(source);
}

HeaderFields Mpeg1Layer3() { return HeaderFields{}; }  // 128 kbit/s, 44.1 kHz, joint stereo

struct ParseCase {
    const char* what;
    HeaderFields fields;
    int32_t bodyLength;  // 0: rejected
    int32_t sampleRateIndex;
    uint32_t setBits = 0;  // changed in the header word
    uint32_t clearBits = 0;
};

// The vectors and fixtures hold the common lengths; these are the others.
TEST(ParseFrameHeader, LengthsAndRejections) {
    constexpr Version kMpeg2 = Version::Mpeg2;
    const ParseCase cases[] = {
        {"MPEG 2.5 III 8k 8kHz", {.version = Version::Mpeg25, .bitrateIndex = 1, .rateBits = 2}, 68, 8},
        {"MPEG-2 II 8k 24k", {.version = kMpeg2, .layer = 2, .bitrateIndex = 1, .rateBits = 1, .mode = 3}, 44, 4},
        {"body under 24 bytes", {.version = kMpeg2, .bitrateIndex = 1, .rateBits = 1, .mode = 3}, 0, 0},
        {"free format", {.bitrateIndex = 0}, 0, 0},
        {"bitrate index 15", {.bitrateIndex = 15}, 0, 0},
        {"rate bits 3", {.rateBits = 3}, 0, 0},
        {"layer bits 00", {.layer = 4}, 0, 0},
        // Eleven sync bits are required; MPEG 2.5 ignores bit 19.
        {"sync bit 21 missing", {}, 0, 0, 0, 1u << 21},
        {"MPEG 2.5 with bit 19", {.version = Version::Mpeg25, .bitrateIndex = 1, .rateBits = 2}, 68, 8, 1u << 19},
    };
    for (const ParseCase& c : cases) {
        SCOPED_TRACE(c.what);
        StartStream();
        FrameHeader header{};
        EXPECT_EQ(ParseFrameHeader((HeaderWord(c.fields) | c.setBits) & ~c.clearBits, header), c.bodyLength);
        if (c.bodyLength != 0) {
            EXPECT_EQ(header.sampleRateIndex, c.sampleRateIndex);
            EXPECT_EQ(header.bodyLength, c.bodyLength);
        }
    }
}

TEST(Synchronisation, IsoVectorsWithGarbageOrId3v2InFront) {
    for (const std::string& name : IsoVectors("")) {
        SCOPED_TRACE(name);
        const std::vector<uint8_t> clean = IsoVectorBytes(name);
        const std::vector<uint32_t> expected = ReadHeaders(clean);
        ASSERT_GT(expected.size(), 5u);

        std::vector<uint8_t> garbage;
        for (int i = 0; i < 700; ++i) garbage.push_back(static_cast<uint8_t>((i * 91 + 7) & 0x7F));
        for (std::vector<uint8_t> stream : {garbage, Id3v2Block(1000)}) {
            Append(stream, clean);
            EXPECT_EQ(ReadHeaders(stream), expected);
        }
    }
}

std::vector<uint8_t> Join(std::vector<uint8_t> first, const std::vector<uint8_t>& second) {
    Append(first, second);
    return first;
}

// An ID3v1 trailer whose last 104 bytes hold a whole frame (32 kbit/s) that
// the end of the data would confirm: only the marker says it is no audio.
std::vector<uint8_t> TagWithAFrameInside(const char* marker) {
    std::vector<uint8_t> trailer = Id3v1Trailer(marker);
    const std::vector<uint8_t> frame = Frame({.bitrateIndex = 1});
    std::copy(frame.begin(), frame.end(), trailer.end() - static_cast<long>(frame.size()));
    return trailer;
}

// Hand-made streams and the number of frames the reader delivers from them,
// all of them Mpeg1Layer3() frames. A single frame is confirmed by what
// follows it: the end of the data or a tag marker in any case.
TEST(Synchronisation, HandMadeStreams) {
    const std::vector<uint8_t> five = Frames(Mpeg1Layer3(), 5);
    const std::tuple<const char*, std::vector<uint8_t>, size_t> cases[] = {  // what, stream, frames
        // A valid header word (of another mode) whose successor position holds no header.
        {"false sync word", Join({0x12, 0x34, 0xFF, 0xFB, 0x90, 0x00, 0x01, 0x02}, Frames(Mpeg1Layer3(), 6)), 6},
        {"tag trailer", Join(Frames(Mpeg1Layer3(), 4), TagWithAFrameInside("TAG")), 4},
        {"one frame, tag trailer", Join(Frames(Mpeg1Layer3(), 1), TagWithAFrameInside("TAG")), 1},
        {"one frame, lower-case tag trailer", Join(Frames(Mpeg1Layer3(), 1), TagWithAFrameInside("tag")), 1},
        {"one frame, mixed-case tag trailer", Join(Frames(Mpeg1Layer3(), 1), TagWithAFrameInside("TaG")), 1},
        // The cut frame is accepted but its body cannot be read.
        {"last frame cut", {five.begin(), five.end() - 100}, 4},
        {"one frame", Frames(Mpeg1Layer3(), 1), 1},
    };
    for (const auto& [what, stream, frames] : cases)
        EXPECT_EQ(ReadHeaders(stream), std::vector<uint32_t>(frames, HeaderWord(Mpeg1Layer3()))) << what;
}

TEST(Synchronisation, OtherVersionRateOrLayerMidStreamIsSkipped) {
    const std::pair<const char*, HeaderFields> intruders[] = {
        {"other version", {.version = Version::Mpeg2, .bitrateIndex = 14}},
        {"other rate", {.rateBits = 1}},
        {"other layer", {.layer = 2}},
    };
    for (const auto& [what, odd] : intruders) {
        SCOPED_TRACE(what);
        std::vector<uint8_t> stream = Frames(Mpeg1Layer3(), 3);
        Append(stream, Frames(odd, 2));
        const size_t secondHalf = stream.size();
        Append(stream, Frames(Mpeg1Layer3(), 3));
        Append(stream, Frames(odd, 2));
        Append(stream, Frames(Mpeg1Layer3(), 3));
        EXPECT_EQ(ReadHeaders(stream), std::vector<uint32_t>(9, HeaderWord(Mpeg1Layer3())));

        // After a seek (reset without forgetting the first frame) the intruder
        // is still rejected, even when it stands right at the new position.
        MemorySource source(stream.data(), static_cast<uint32_t>(stream.size()));
        ASSERT_TRUE(source.Reposition(static_cast<uint32_t>(secondHalf + 3 * FrameBytes(Mpeg1Layer3()))));
        ResetFrameReader(false);
        EXPECT_EQ(ReadHeaders(source), std::vector<uint32_t>(3, HeaderWord(Mpeg1Layer3())));

        // A full reset forgets the first frame: the other kind now plays.
        EXPECT_EQ(ReadHeaders(Frames(odd, 4)).size(), 4u);
    }
}

// ---- Xing and VBRI ------------------------------------------------------------

// A first frame carrying a Xing header with the given flags; fields in order.
std::vector<uint8_t> XingFrame(uint32_t flags) {
    std::vector<uint8_t> frame = Frame(Mpeg1Layer3());
    const size_t tag = 4 + 32;
    std::memcpy(frame.data() + tag, "Xing", 4);
    PutBigEndian(frame, tag + 4, flags, 4);
    size_t field = tag + 8;
    if (flags & 1) { PutBigEndian(frame, field, 1234, 4); field += 4; }
    if (flags & 2) { PutBigEndian(frame, field, 567890, 4); field += 4; }
    if (flags & 4) {
        for (int i = 0; i < 100; ++i) frame[field + static_cast<size_t>(i)] = static_cast<uint8_t>(i * 2 + 1);
        field += 100;
    }
    if (flags & 8) PutBigEndian(frame, field, 77, 4);
    return frame;
}

TEST(VbrHeaders, XingFieldsFollowTheirFlags) {
    for (uint32_t flags : {0u, 1u, 2u, 4u, 8u, 5u, 10u, 15u}) {
        SCOPED_TRACE(flags);
        std::vector<uint8_t> stream = XingFrame(flags);
        Append(stream, Frames(Mpeg1Layer3(), 3));
        EXPECT_EQ(ReadHeaders(stream).size(), 3u) << "the Xing frame is not audio";
        const FrameHeader& h = g_header;
        EXPECT_EQ(std::tie(h.xingPresent, h.vbriPresent, h.xingFlags), std::make_tuple(1, 0, static_cast<int32_t>(flags)));
        // Fields whose flag is clear are not read: they keep the zero of the start.
        EXPECT_EQ(std::make_tuple(h.xingFrames, h.xingBytes, int{h.xingToc[0]}, int{h.xingToc[99]}, h.xingQuality),
                  std::make_tuple(flags & 1 ? 1234 : 0, flags & 2 ? 567890 : 0, flags & 4 ? 1 : 0, flags & 4 ? 199 : 0,
                                  flags & 8 ? 77 : 0));
    }
}

TEST(VbrHeaders, OnlyTheExactTagsAndOnlyInTheFirstLayer3Frame) {
    std::vector<uint8_t> lower = Frame(Mpeg1Layer3());
    std::memcpy(lower.data() + 36, "xing", 4);
    Append(lower, Frames(Mpeg1Layer3(), 2));
    EXPECT_EQ(ReadHeaders(lower).size(), 3u);
    EXPECT_EQ(g_header.xingPresent, 0);

    std::vector<uint8_t> later = Frames(Mpeg1Layer3(), 2);
    Append(later, XingFrame(1));
    EXPECT_EQ(ReadHeaders(later).size(), 3u) << "a Xing tag after the first frame is just audio";
    EXPECT_EQ(g_header.xingPresent, 0);
}

std::vector<uint8_t> VbriFrame(int entryBytes, int tableSize) {
    std::vector<uint8_t> frame = Frame({.bitrateIndex = 14});  // 320 kbit/s: room for a table
    const size_t tag = 4 + 32;
    std::memcpy(frame.data() + tag, "VBRI", 4);
    PutBigEndian(frame, tag + 8, 80, 2);          // quality
    PutBigEndian(frame, tag + 10, 1000000, 4);    // bytes
    PutBigEndian(frame, tag + 14, 4321, 4);       // frames
    PutBigEndian(frame, tag + 18, static_cast<uint32_t>(tableSize), 2);
    PutBigEndian(frame, tag + 20, 1, 2);          // scale
    PutBigEndian(frame, tag + 22, static_cast<uint32_t>(entryBytes), 2);
    PutBigEndian(frame, tag + 24, 40, 2);         // frames per entry
    for (int i = 0; i < tableSize; ++i) {
        const size_t at = tag + 26 + static_cast<size_t>(i * entryBytes);
        if (at + static_cast<size_t>(entryBytes) > frame.size()) break;
        PutBigEndian(frame, at, 0x01020304u + static_cast<uint32_t>(i), entryBytes);
    }
    return frame;
}

// Entries of one, two or four bytes; three-byte entries make the frame a
// header frame without a usable table. A declared table longer than the body
// is cut at its end, while the declared count still divides the stream.
TEST(VbrHeaders, VbriEntryWidthsAndATableCutAtTheEndOfTheBody) {
    const HeaderFields audio{.bitrateIndex = 14};
    const int bodyRoom = (FrameBytes(audio) - 4 - 32 - 26) / 2;  // two-byte entries
    const std::pair<int, int> cases[] = {{1, 10}, {2, 10}, {3, 10}, {4, 10}, {2, 5000}};
    for (const auto& [width, declared] : cases) {
        SCOPED_TRACE(testing::Message() << width << "-byte entries, " << declared << " declared");
        std::vector<uint8_t> stream = VbriFrame(width, declared);
        Append(stream, Frames(audio, 2));
        EXPECT_EQ(ReadHeaders(stream).size(), 2u) << "the VBRI frame is not audio";
        ASSERT_EQ(g_header.vbriPresent, width == 3 ? 0 : 1);
        if (width == 3) continue;
        const int held = std::min(declared, bodyRoom);
        const FrameHeader& h = g_header;
        EXPECT_EQ(std::tie(h.vbriQuality, h.vbriBytes, h.vbriFrames, h.vbriTableSize, h.vbriEntriesHeld, h.vbriEntryBytes,
                           h.vbriEntryFrames),
                  std::make_tuple(80, 1000000, 4321, declared, held, width, 40));
        const uint32_t mask = width == 4 ? 0xFFFFFFFFu : (1u << (8 * width)) - 1u;
        for (int i = 0; i < held; ++i) EXPECT_EQ(VbriEntry(g_header, i), (0x01020304u + static_cast<uint32_t>(i)) & mask);
        EXPECT_EQ(CountFrames(1000000, g_header), 4321);
    }
}

// ---- Durations, rates, descriptions, frame counts ---------------------------------

// Every layer, mode, rate and bitrate form, from the first frames of vectors
// and of hand-made streams.
TEST(FrameValues, FormatDescription) {
    std::vector<uint8_t> vbri = VbriFrame(2, 10);
    Append(vbri, Frames({.bitrateIndex = 14}, 2));
    const std::pair<std::vector<uint8_t>, const char*> expected[] = {
        // Cross-checked against an independent decoder's report of each vector.
        {IsoVectorBytes("M2L3_compl24"), "MPEG-2 Layer III, 24 kHz, 128 kbps, Mono"},
        {IsoVectorBytes("l1-fl1"), "MPEG-1 Layer I, 32 kHz, 384 kbps, Stereo"},
        {IsoVectorBytes("l1-fl2"), "MPEG-1 Layer I, 44.1 kHz, 384 kbps, Joint-Stereo"},
        {IsoVectorBytes("l1-fl5"), "MPEG-1 Layer I, 48 kHz, 448 kbps, Dual-Channel"},
        {IsoVectorBytes("l2-fl13"), "MPEG-1 Layer II, 32 kHz, 32 kbps, Mono"},
        {IsoVectorBytes("l3-sin1k0db"), "MPEG-1 Layer III, 44.1 kHz, 128 kbps, Joint-Stereo"},
        {Frames({.version = Version::Mpeg2, .bitrateIndex = 8, .mode = 2}, 2),
         "MPEG-2 Layer III, 22.05 kHz, 64 kbps, Dual-Channel"},
        {Frames({.version = Version::Mpeg25, .bitrateIndex = 8, .rateBits = 2}, 2),
         "MPEG 2.5 Layer III, 8 kHz, 64 kbps, Joint-Stereo"},
        {vbri, "MPEG-1 Layer III, 44.1 kHz, VBR, Joint-Stereo"},
    };
    char description[512];
    for (const auto& [stream, text] : expected) {
        StartStream();
        MemorySource source(stream.data(), static_cast<uint32_t>(stream.size()));
        ASSERT_TRUE(ReadNextFrame(source, g_header)) << text;
        BuildFormatDescription(g_header, description, sizeof description);
        EXPECT_STREQ(description, text);
    }
    g_header.layer = 5;
    BuildFormatDescription(g_header, description, sizeof description);
    EXPECT_STREQ(description, "MPEG-1 Layer Unknown, 44.1 kHz, VBR, Joint-Stereo");
}

// Streams of whole frames: the count comes from the first frame's bitrate
// unless a Xing (with its frame-count flag) or VBRI header gives one; a
// count past 2^31 - 1 gives way to the estimate.
TEST(FrameValues, FrameCountFromHeadersOrBitrateAndFrameDurations) {
    const std::pair<HeaderFields, double> streams[] = {
        {{.layer = 1, .bitrateIndex = 12, .rateBits = 2, .mode = 0}, 12.0},   // 384 kbit/s, 32 kHz
        {{.layer = 2, .bitrateIndex = 10, .rateBits = 1, .mode = 0}, 24.0},   // 192 kbit/s, 48 kHz
        {{.layer = 3, .bitrateIndex = 9, .rateBits = 2, .mode = 1}, 36.0},    // 128 kbit/s, 32 kHz
        // 64 kbit/s, 24 kHz and 8 kHz: half-length frames
        {{.version = Version::Mpeg2, .bitrateIndex = 8, .rateBits = 1, .mode = 3}, 24.0},
        {{.version = Version::Mpeg25, .bitrateIndex = 8, .rateBits = 2, .mode = 3}, 72.0},
    };
    for (const auto& [fields, frameMs] : streams) {
        SCOPED_TRACE(testing::Message() << "layer " << fields.layer << " rate bits " << fields.rateBits);
        const std::vector<uint8_t> stream = Frames(fields, 100);
        ASSERT_EQ(ReadHeaders(stream).size(), 100u);
        FrameHeader header = g_header;
        EXPECT_DOUBLE_EQ(FrameDurationMs(header), frameMs);
        const uint32_t size = static_cast<uint32_t>(stream.size());
        EXPECT_EQ(CountFrames(size, header), 100);
        header.xingPresent = 1;
        header.xingFlags = 6;  // no frame count
        header.xingFrames = 7;
        EXPECT_EQ(CountFrames(size, header), 100);
        header.xingFlags = 7;
        EXPECT_EQ(CountFrames(size, header), 7);
        header.xingFrames = 0;
        EXPECT_EQ(CountFrames(size, header), 0) << "a count of zero is still the header's";
        header.xingFrames = -5;
        EXPECT_EQ(CountFrames(size, header), 100) << "a count past 2^31 - 1 gives way to the estimate";
        header.xingPresent = 0;
        header.vbriPresent = 1;
        header.vbriFrames = 4321;
        EXPECT_EQ(CountFrames(size, header), 4321);
    }
}

}  // namespace
