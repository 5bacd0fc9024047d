// Seek positions from the Xing table of contents, the VBRI table and a
// constant bitrate, with the limits at both ends.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "stream/seek_position.h"

using namespace vexa;

namespace {

FrameHeader ConstantBitrate() {
    FrameHeader header{};  // 44100 Hz
    header.layer = 2;
    header.bitrateIndex = 12;  // 256 kbit/s
    return header;
}

FrameHeader WithToc() {
    FrameHeader header = ConstantBitrate();
    header.xingPresent = 1;
    header.xingFlags = 1 | 4;
    header.xingFrames = 1234;
    for (int i = 0; i < 100; ++i) header.xingToc[i] = static_cast<uint8_t>(10 + i * 2);  // 10 .. 208
    return header;
}

FrameHeader WithVbri(int entries, int entryBytes, uint32_t entryValue) {
    FrameHeader header = ConstantBitrate();
    header.vbriPresent = 1;
    header.vbriFrames = 4321;
    header.vbriTableSize = entries;
    header.vbriEntriesHeld = entries;
    header.vbriEntryBytes = entryBytes;
    for (int i = 0; i < entries; ++i) {
        const uint32_t value = entryValue + static_cast<uint32_t>(i);
        const auto half = static_cast<uint16_t>(value);  // a two-byte entry
        std::memcpy(header.vbriTable + entryBytes * i, entryBytes == 2 ? static_cast<const void*>(&half) : &value,
                    static_cast<size_t>(entryBytes));
    }
    return header;
}

TEST(SeekBytePosition, LandsWhereTheTablesOrTheBitrateSay) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const FrameHeader toc = WithToc();
    // 100 entries of 1000 + i bytes: sum 0..99 = 100000 + 4950.
    const FrameHeader vbri = WithVbri(100, 2, 1000);
    const FrameHeader vbri4 = WithVbri(10, 4, 5000);
    // A table the first frame could not hold completely still spreads the
    // percentages over the whole stream: the missing parts share what is left.
    FrameHeader cut = WithVbri(9, 2, 1000);  // entries 0..8 held: 1000 .. 1008, 9036 bytes
    cut.vbriTableSize = 19;                  // 20 parts declared: entries 9..18 and the last part missing
    const struct {
        const char* name;
        FrameHeader header;
        uint32_t dataSize;
        float percent;
        uint32_t expected;
    } cases[] = {
        {"constant bitrate 99 %", ConstantBitrate(), 1000000, 99.0f, 990000},
        {"constant bitrate 50 %", ConstantBitrate(), 1000000, 50.0f, 500000},
        {"constant bitrate 0 %", ConstantBitrate(), 1000000, 0.0f, 0},
        {"constant bitrate rounds", ConstantBitrate(), 1001, 50.0f, 501},
        {"constant bitrate 100 % is the last byte", ConstantBitrate(), 1000000, 100.0f, 999999},
        {"constant bitrate beyond the end", ConstantBitrate(), 1000000, 250.0f, 999999},
        {"constant bitrate below zero", ConstantBitrate(), 1000000, -5.0f, 0},
        {"toc 0 %", toc, 256000, 0.0f, 10 * 1000},
        {"toc 50 %", toc, 256000, 50.0f, 110 * 1000},
        {"toc 50.5 % interpolates", toc, 256000, 50.5f, 111 * 1000},
        // entry 99 is 208; past it the table ends at 256
        {"toc 99.5 % interpolates to 256", toc, 256000, 99.5f, 232 * 1000},
        {"toc below zero", toc, 256000, -1.0f, 10 * 1000},
        {"toc 100 %", toc, 256000, 100.0f, 255999},
        {"toc not a number", toc, 256000, nan, 255999},
        {"vbri 0 % lands at entry 0", vbri, 1000000, 0.0f, 1000},
        // x = 50 * 101 / 100 = 50.5: entries 0..50 (51000 + 1275) and half of entry 51
        {"vbri 50 %", vbri, 1000000, 50.0f, 51000 + 1275 + 525},
        // x = 99.99: all 100 entries and 0.99 of the rest of the data
        {"vbri 99 %", vbri, 1000000, 99.0f,
         static_cast<uint32_t>(104950.0 + static_cast<double>(99.0f * 101.0f * 0.01f - 99.0f) * (1000000.0 - 104950.0))},
        {"vbri 100 %", vbri, 1000000, 100.0f, 999999},
        {"vbri four-byte entries 50 %", vbri4, 1000000, 50.0f, 5000 + 5001 + 5002 + 5003 + 5004 + 5005 + 2503},
        {"empty stream", ConstantBitrate(), 0, 50.0f, 0},
        {"one-byte stream with a toc", toc, 1, 100.0f, 0},
        // Of 20036 bytes the 11 missing parts share 11000: 1000 each.
        {"cut vbri 0 %", cut, 20036, 0.0f, 1000},
        // x = 9.5: entries 0..9 (9036 + 1000) and half of entry 10, about halfway, not a quarter.
        {"cut vbri 47.5 %", cut, 20036, 47.5f, 10536},
        // x = 18.5: entries 0..18 and half of the last part.
        {"cut vbri 92.5 %", cut, 20036, 92.5f, 19536},
    };
    for (const auto& c : cases) EXPECT_EQ(SeekBytePosition(c.dataSize, c.header, c.percent), c.expected) << c.name;
}

}  // namespace
