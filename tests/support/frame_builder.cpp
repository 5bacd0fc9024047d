#include "support/frame_builder.h"

#include <stdexcept>

#include "support/decode_support.h"

namespace vexatest {
namespace {

const int kBitrates[2][3][16] = {
    {{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, 0},
     {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, 0},
     {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 0}},
    {{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, 0},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, 0}}};
const int kRates[3][3] = {{44100, 48000, 32000}, {22050, 24000, 16000}, {11025, 12000, 8000}};

}  // namespace

std::vector<uint8_t> Layer1NoiseFrame(int mode, const int (&codeBits)[2][32], uint32_t& seed) {
    const HeaderFields fields{.layer = 1, .bitrateIndex = 12, .mode = mode};  // 384 kbit/s
    const int channels = mode == 3 ? 1 : 2;
    BitWriter bits;
    bits.Put(HeaderWord(fields), 32);
    for (int sb = 0; sb < 32; ++sb)
        for (int ch = 0; ch < channels; ++ch) bits.Put(codeBits[ch][sb] > 0 ? codeBits[ch][sb] - 1 : 0, 4);
    for (int sb = 0; sb < 32; ++sb)
        for (int ch = 0; ch < channels; ++ch)
            if (codeBits[ch][sb] > 0) bits.Put(14, 6);
    for (int slot = 0; slot < 12; ++slot)
        for (int sb = 0; sb < 32; ++sb)
            for (int ch = 0; ch < channels; ++ch) {
                const int width = codeBits[ch][sb];
                if (width == 0) continue;
                seed = seed * 1664525u + 1013904223u;
                // Any code but all ones, which a sync search could mistake.
                bits.Put((seed >> 8) % ((1u << width) - 1), width);
            }
    if (bits.bitCount() > 8 * FrameBytes(fields)) throw std::out_of_range("Layer I frame overfull");
    std::vector<uint8_t> frame = bits.Bytes(0);
    frame.resize(static_cast<size_t>(FrameBytes(fields)), 0);
    return frame;
}

uint32_t HeaderWord(const HeaderFields& f) {
    uint32_t word = 0x7FFu << 21;
    if (f.version == Version::Mpeg1) word |= 3u << 19;
    if (f.version == Version::Mpeg2) word |= 2u << 19;
    word |= static_cast<uint32_t>((4 - f.layer) & 3) << 17;
    word |= (f.crc ? 0u : 1u) << 16;
    word |= static_cast<uint32_t>(f.bitrateIndex & 15) << 12;
    word |= static_cast<uint32_t>(f.rateBits & 3) << 10;
    word |= static_cast<uint32_t>(f.padding & 1) << 9;
    word |= static_cast<uint32_t>(f.mode & 3) << 6;
    return word;
}

int FrameBytes(const HeaderFields& f) {
    const int lsf = f.version == Version::Mpeg1 ? 0 : 1;
    const int kbps = kBitrates[lsf][f.layer - 1][f.bitrateIndex];
    const int rate = kRates[static_cast<int>(f.version)][f.rateBits];
    if (f.layer == 1) return (12000 * kbps / rate + f.padding) * 4;
    if (f.layer == 2) return 144000 * kbps / rate + f.padding;
    return ((144000 * kbps / rate) >> lsf) + f.padding;
}

std::vector<uint8_t> Frame(const HeaderFields& fields, uint8_t fill) {
    std::vector<uint8_t> frame(static_cast<size_t>(FrameBytes(fields)), fill);
    PutBigEndian(frame, 0, HeaderWord(fields), 4);
    return frame;
}

std::vector<uint8_t> Frames(const HeaderFields& fields, int count) {
    std::vector<uint8_t> stream;
    for (int i = 0; i < count; ++i) Append(stream, Frame(fields, static_cast<uint8_t>(i)));
    return stream;
}

void Append(std::vector<uint8_t>& to, const std::vector<uint8_t>& bytes) { to.insert(to.end(), bytes.begin(), bytes.end()); }

std::vector<uint8_t> Id3v1Trailer(const std::string& marker, const std::string& title, int track, int genre) {
    std::vector<uint8_t> tag(128, 0);
    for (size_t i = 0; i < 3; ++i) tag[i] = static_cast<uint8_t>(marker[i]);
    for (size_t i = 0; i < title.size() && i < 30; ++i) tag[3 + i] = static_cast<uint8_t>(title[i]);
    // ID3v1.1 (a zero byte 125, the track in byte 126), or a comment on to byte 126.
    tag[125] = track >= 0 ? 0 : 'x';
    tag[126] = static_cast<uint8_t>(track >= 0 ? track : 'y');
    tag[127] = static_cast<uint8_t>(genre);
    return tag;
}

std::vector<uint8_t> Id3v2Block(uint32_t size) {
    std::vector<uint8_t> block = {'I', 'D', '3', 3, 0, 0};
    for (int shift = 21; shift >= 0; shift -= 7) block.push_back(static_cast<uint8_t>((size >> shift) & 0x7F));
    for (uint32_t i = 0; i < size; ++i) block.push_back(static_cast<uint8_t>((i * 37) & 0x7F));
    return block;
}

void PutBigEndian(std::vector<uint8_t>& to, size_t at, uint32_t value, int bytes) {
    if (at + static_cast<size_t>(bytes) > to.size()) throw std::out_of_range("PutBigEndian past the end");
    // The low `bytes` bytes of value, most significant first.
    for (int i = 0; i < bytes; ++i) to[at + static_cast<size_t>(i)] = static_cast<uint8_t>(value >> (8 * (bytes - 1 - i)));
}

}  // namespace vexatest
