// Layer I and II: allocation table choice, hand-made frames read through the real decoders (with packers that
// capture the sub-band blocks), and CRC-protected frames.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "decoder/bit_reader.h"
#include "decoder/decoder.h"
#include "decoder/layer12.h"
#include "decoder/synthesis_slots.h"
#include "engine/offline_decode.h"
#include "stream/frame_reader.h"
#include "support/decode_support.h"
#include "support/test_support.h"

namespace {

using vexa::DoubleFormat;

vexa::FrameHeader Mpeg1Header(int32_t sampleRateIndex, int32_t bitrateIndex, int32_t channels) {
    vexa::FrameHeader header{};
    header.sampleRateIndex = sampleRateIndex;
    header.bitrateIndex = bitrateIndex;
    header.channels = channels;
    header.mode = channels == 1 ? 3 : 0;
    return header;
}

TEST(Layer12Tables, AllocationTableChoice) {
    using vexa::kLayer2TableA, vexa::kLayer2TableB, vexa::kLayer2TableC, vexa::kLayer2TableD;
    struct Case {
        int32_t rate;  // 0 44.1, 1 48, 2 32 kHz
        int32_t bitrateIndex;
        int32_t channels;
        vexa::Layer2TableIndex expected;
    };
    const Case cases[] = {
        {0, 1, 2, kLayer2TableC},  {1, 6, 2, kLayer2TableC},  {2, 6, 2, kLayer2TableD},  {0, 7, 2, kLayer2TableA},
        {2, 9, 2, kLayer2TableA},  {0, 10, 2, kLayer2TableB}, {1, 10, 2, kLayer2TableA}, {2, 14, 2, kLayer2TableB},
        {0, 2, 1, kLayer2TableC},  {2, 1, 1, kLayer2TableD},  {1, 3, 1, kLayer2TableA},  {0, 5, 1, kLayer2TableA},
        {0, 6, 1, kLayer2TableB},  {1, 14, 1, kLayer2TableA}, {2, 6, 1, kLayer2TableB},
    };
    for (const Case& c : cases)
        EXPECT_EQ(vexa::SelectLayer2Table(Mpeg1Header(c.rate, c.bitrateIndex, c.channels)), c.expected)
            << c.rate << " " << c.bitrateIndex << " " << c.channels;
    vexa::FrameHeader lsf = Mpeg1Header(4, 3, 2);
    lsf.lsf = 1;
    EXPECT_EQ(vexa::SelectLayer2Table(lsf), vexa::kLayer2TableLsf);
}

using vexatest::BitWriter;
using vexatest::DecodeStream;

// Packers that record the double-format blocks handed to the synthesis.
struct CapturedBlocks {
    std::vector<std::vector<double>> channel0;  // stereo channel 0 or the single-channel block
    std::vector<std::vector<double>> channel1;
};
CapturedBlocks g_captured;

void CaptureStereo(void* block, int32_t channel, uint8_t*) {
    const double* samples = static_cast<const double*>(block);
    (channel == 0 ? g_captured.channel0 : g_captured.channel1).emplace_back(samples, samples + 32);
}
void CaptureSingle(void* block, uint8_t*) {
    const double* samples = static_cast<const double*>(block);
    g_captured.channel0.emplace_back(samples, samples + 32);
}

// Decodes one hand-made frame body with the double-format decoder.
void DecodeBody(vexa::FrameHeader& header, const std::vector<uint8_t>& body) {
    vexa::BuildLayer12Tables();
    g_captured = {};
    const vexa::SynthesisSlots saved = vexa::g_synthesisSlots;
    vexa::g_synthesisSlots = {CaptureStereo, CaptureSingle, 0};
    vexa::PointBitReader(body.data());
    if (header.layer == 1) vexa::DecodeLayer1<DoubleFormat>(header, 1);
    else vexa::DecodeLayer2<DoubleFormat>(header, 1);
    vexa::g_synthesisSlots = saved;
}

vexa::FrameHeader TestHeader(int32_t layer, int32_t channels, int32_t mode, int32_t quality = 0) {
    vexa::FrameHeader header{};
    header.layer = layer;
    header.channels = channels;
    header.mode = mode;
    header.channelSelect = -1;
    header.quality = quality;
    header.subbandCount = 32 >> quality;
    return header;
}

// Joint stereo: above the bound one code serves both channels, each with
// its own scale factor. At quality 1 sub-bands 16..31 are zero, yet their
// codes are read, so later slots stay aligned.
TEST(Layer1Frames, SharedSubbandsAndReducedRate) {
    BitWriter bits;
    // mode extension 0: bound 4. Sub-band 0: allocations 1 and 0; sub-band 20 shared, allocation 3.
    for (int sb = 0; sb < 32; ++sb) {
        if (sb < 4) {
            bits.Put(sb == 0 ? 1 : 0, 4);
            bits.Put(0, 4);
        } else {
            bits.Put(sb == 20 ? 3 : 0, 4);
        }
    }
    bits.Put(3, 6);   // sub-band 0, channel 0: 1.0
    bits.Put(3, 6);   // sub-band 20, channel 0: 1.0
    bits.Put(6, 6);   // sub-band 20, channel 1: 0.5
    for (int slot = 0; slot < 12; ++slot) {
        bits.Put(3, 2);                              // (3 - 1) * 2/3
        bits.Put(static_cast<uint32_t>(slot), 4);    // (slot - 7) * 2/15
    }
    for (int quality : {0, 1}) {
        vexa::FrameHeader header = TestHeader(1, 2, 1, quality);
        DecodeBody(header, bits.Bytes());
        ASSERT_EQ(g_captured.channel0.size(), 12u);
        ASSERT_EQ(g_captured.channel1.size(), 12u);
        EXPECT_EQ(header.jsBound, 4);
        for (int slot = 0; slot < 12; ++slot) {
            EXPECT_NEAR(g_captured.channel0[slot][0], 4.0 / 3.0, 1e-12);
            EXPECT_EQ(g_captured.channel1[slot][0], 0.0);
            const double shared = (slot - 7) * 2.0 / 15.0;
            EXPECT_NEAR(g_captured.channel0[slot][20], quality ? 0.0 : shared, 1e-12) << slot;
            EXPECT_NEAR(g_captured.channel1[slot][20], quality ? 0.0 : shared * std::pow(2.0, -1.0), 1e-12);
        }
    }
}

// 48 kHz, 32 kbit/s, joint stereo: table c with limit 8. Mode extension 1
// puts the bound at 8 and the frame decodes; mode extension 2 puts it at 12,
// above the limit, and the frame gives nothing.
TEST(Layer2Frames, BoundAboveTheLimitDropsTheFrame) {
    std::vector<uint8_t> silentBody(200, 0);
    for (int32_t extension : {0, 1, 2, 3}) {
        vexa::FrameHeader header = TestHeader(2, 2, 1);
        header.sampleRateIndex = 1;
        header.bitrateIndex = 1;
        header.modeExtension = extension;
        DecodeBody(header, silentBody);
        EXPECT_EQ(header.sbLimit, 8);
        EXPECT_EQ(header.jsBound, 4 * (extension + 1));
        const size_t expected = extension <= 1 ? 36u : 0u;
        EXPECT_EQ(g_captured.channel0.size(), expected) << "mode extension " << extension;
        EXPECT_EQ(g_captured.channel1.size(), expected) << "mode extension " << extension;
    }
}

std::vector<uint8_t> ReadVector(const std::string& name) {
    return vexatest::ReadWholeFile(vexatest::SharedPath("vectors/iso/" + name + ".bit"));
}

uint32_t BigEndianWord(const std::vector<uint8_t>& bytes, size_t at) {
    uint32_t word = 0;
    for (size_t i = 0; i < 4; ++i) word = (word << 8) | bytes[at + i];
    return word;
}

// The same frames without their CRC: the protection bit set, the two CRC
// bytes taken out and two zero bytes appended to keep each frame's length.
std::vector<uint8_t> WithoutCrc(const std::vector<uint8_t>& stream) {
    vexa::ResetFrameReader(true);  // builds the frame-size table
    std::vector<uint8_t> out;
    size_t position = 0;
    while (position + 4 <= stream.size()) {
        const uint32_t word = BigEndianWord(stream, position);
        vexa::FrameHeader header{};
        const int32_t body = vexa::ParseFrameHeader(word, header);
        if (body == 0 || !header.crcPresent || position + 4 + body > stream.size()) break;
        out.insert(out.end(), stream.begin() + position, stream.begin() + position + 4);
        out[out.size() - 3] |= 0x01;
        out.insert(out.end(), stream.begin() + position + 6, stream.begin() + position + 4 + body);
        out.push_back(0);
        out.push_back(0);
        position += 4 + body;
    }
    return out;
}

TEST(Layer12Frames, CrcProtectedFramesDecodeLikeUnprotectedOnes) {
    for (const char* name : {"l1-fl1", "l2-fl10", "l2-fl14"}) {
        const auto protectedStream = ReadVector(name);
        const auto plainStream = WithoutCrc(protectedStream);
        ASSERT_EQ(plainStream.size(), protectedStream.size()) << name;
        vexa::OfflineSettings settings;
        settings.engineKind = 1;
        const vexa::OfflineResult withCrc = DecodeStream(protectedStream, settings);
        const vexa::OfflineResult withoutCrc = DecodeStream(plainStream, settings);
        EXPECT_EQ(withCrc.header.crcPresent, 1);
        EXPECT_EQ(withoutCrc.header.crcPresent, 0);
        ASSERT_FALSE(withCrc.pcm.empty());
        EXPECT_TRUE(withCrc.pcm == withoutCrc.pcm) << name;
    }
}

// Corrupt frame bodies (headers kept) decode to something in every engine,
// quality and output format, without reading outside the frame area.
TEST(Layer12Frames, CorruptBodiesNeverEscapeTheFrameArea) {
    std::mt19937 random(99);
    for (const char* name : {"l1-fl7", "l2-fl16", "l2-fl13"}) {
        auto stream = ReadVector(name);
        // Every byte that is not part of a frame header may change.
        const uint32_t firstHeader = BigEndianWord(stream, 0);
        for (size_t i = 0; i + 3 < stream.size(); ++i) {
            if ((BigEndianWord(stream, i) & 0xFFFE0000u) == (firstHeader & 0xFFFE0000u)) {
                i += 3;
                continue;
            }
            stream[i] = static_cast<uint8_t>(random());
        }
        for (int32_t engine = 0; engine < 4; ++engine)
            for (int32_t quality = 0; quality < 3; ++quality) {
                vexa::OfflineSettings settings;
                settings.engineKind = engine;
                settings.quality = quality;
                settings.eightBit = quality == 1;
                settings.channelSelect = quality == 2 ? 3 : -1;
                EXPECT_EQ(DecodeStream(stream, settings).status, 1) << name;
            }
    }
}

}  // namespace
