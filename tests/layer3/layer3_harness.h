// Test helpers for the Layer III decoder: a bit writer to build main data by
// hand, and a decode of whole streams through the engine's Layer III frame
// decoders into a plain double-precision reference synthesis, so that the
// Layer III stages are measured on their own.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace layer3test {

// The encoder's files of tests/fixtures/mp3 (scripts/make_mp3_fixtures.sh).
struct EncoderFixture {
    const char* name;
    int rate;
    int channels;
    int samplesPerFrame;
    bool xing;
    // The encoder ends this file with an 8 kbit/s frame of 24 bytes, shorter
    // than any frame the frame reader accepts; it is skipped, and so is the
    // frame before it, whose successor does not confirm it.
    int framesDroppedAtEnd;
};
const std::vector<EncoderFixture>& EncoderFixtures();
std::string EncoderFixturePath(const EncoderFixture& fixture);

// Builds the Layer III tables for a stream at the given quality.
void SetUpTablesAtQuality(int quality);

class BitWriter {
public:
    void Put(uint32_t value, int bits);
    // A code word written as text of '0' and '1'.
    void PutCode(const std::string& code);
    int32_t bitCount() const { return bitCount_; }
    // The bytes written, followed by `slack` zero bytes.
    std::vector<uint8_t> Bytes(int slack = 64) const;

private:
    std::vector<uint8_t> bytes_;
    int32_t bitCount_ = 0;
};

struct ReferenceDecode {
    int channels = 0;     // most channels of any frame
    int sampleRate = 0;
    int frames = 0;       // MPEG frames decoded
    int overruns = 0;     // frames the decoder ended early
    int rejected = 0;
    int xingFrames = -1;  // the Xing header's frame count, -1 without one
    // Full scale 32768; two-channel frames interleaved, one-channel frames
    // as one channel (the layout of the conformance references).
    std::vector<double> interleaved;
};

// Opens the stream the way playback does and decodes every frame with the
// Layer III decoder of engineKind, synthesising with the reference filterbank
// (standard window approximated by the engine's cosine series).
ReferenceDecode DecodeWithReferenceSynthesis(const std::vector<uint8_t>& stream, int engineKind, int quality = 0,
                                             int channelSelect = -1);

struct Comparison {
    double snrDb;
    double maxDifference;
    size_t samples;
};

// decoded against reference, sample by sample over the shorter of the two.
// sign -1 compares with the reference's negation.
Comparison Compare(const std::vector<double>& decoded, const std::vector<int16_t>& reference, double sign = 1.0);

std::vector<int16_t> ReadPcm16(const std::string& path);

// A black-box decode by the mpg123 program (16-bit, the stream's channels,
// no gapless trimming); false when the program is not installed.
bool DecodeWithMpg123(const std::string& path, std::vector<int16_t>& pcm);

}  // namespace layer3test
