// Builds MPEG audio frames and streams by hand for tests: header words from
// their fields, frames of the right length, Xing and VBRI first frames.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vexatest {

enum class Version { Mpeg1, Mpeg2, Mpeg25 };

struct HeaderFields {
    Version version = Version::Mpeg1;
    int layer = 3;          // 1..3, or 4 for the reserved layer bits 00
    int bitrateIndex = 9;
    int rateBits = 0;       // 0..3
    int padding = 0;
    int mode = 1;           // 0 stereo .. 3 single channel
    bool crc = false;
};

uint32_t HeaderWord(const HeaderFields& fields);
// Frame length in bytes (header included) for valid fields.
int FrameBytes(const HeaderFields& fields);
// One frame: the header, then `fill` repeated over the body.
std::vector<uint8_t> Frame(const HeaderFields& fields, uint8_t fill = 0);
// count frames one after another.
std::vector<uint8_t> Frames(const HeaderFields& fields, int count);

void Append(std::vector<uint8_t>& to, const std::vector<uint8_t>& bytes);
// A 128-byte ID3v1 trailer whose marker is `marker` (e.g. "TAG" or "tag").
std::vector<uint8_t> Id3v1Trailer(const std::string& marker = "TAG", const std::string& title = "Title",
                                  int track = -1, int genre = 17);
// A 10-byte ID3v2 header announcing `size` bytes, followed by those bytes.
std::vector<uint8_t> Id3v2Block(uint32_t size);

void PutBigEndian(std::vector<uint8_t>& to, size_t at, uint32_t value, int bytes);

// A Layer I frame at 44.1 kHz, 384 kbit/s, whose sub-bands hold random
// sample codes (noise within each sub-band, about -28 dB each):
// codeBits[channel][sb] is the code width, 0 for a silent sub-band, else
// 2..15. mode 3 is one channel, 0 plain stereo. The bits must fit the frame.
std::vector<uint8_t> Layer1NoiseFrame(int mode, const int (&codeBits)[2][32], uint32_t& seed);

}  // namespace vexatest
