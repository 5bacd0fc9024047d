// The Layer III tests' material: the encoder's files of tests/fixtures/mp3
// (scripts/make_mp3_fixtures.sh) and the tables for a quality.
#pragma once

#include <string>
#include <vector>

namespace layer3test {

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

}  // namespace layer3test
