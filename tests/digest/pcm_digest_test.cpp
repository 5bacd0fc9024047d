// The decoder's output, pinned: a 64-bit digest of the PCM of every
// conformance vector and every fixture, in every engine, quality and output
// layout, compared with the digests committed in pcm_digests.txt. Any change
// of any sample of any of them fails here, which is what lets the decoder's
// inner loops be rewritten for speed.
//
// The digests were recorded from the plain (unoptimised) decoder. After a
// deliberate change of output, VEXA_WRITE_DIGESTS=<file> writes the current
// digest lines to that file instead of comparing (run the program alone,
// not in parallel, and put the comment line of pcm_digests.txt on top).
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <map>
#include <sstream>

#include "support/decode_support.h"
#include "support/test_support.h"

namespace {

// The output layouts that reach every packer: two channels (a one-channel
// stream duplicated), the mean of both channels, each in 16 and 8 bits.
struct Layout {
    const char* name;
    int32_t channelSelect;
    int32_t eightBit;
};
constexpr Layout kLayouts[] = {{"stereo16", -1, 0}, {"mix16", 3, 0}, {"stereo8", -1, 1}, {"mix8", 3, 1}};

uint64_t Fnv1a64(const std::vector<uint8_t>& bytes) {
    uint64_t hash = 14695981039346656037ull;
    for (const uint8_t byte : bytes) hash = (hash ^ byte) * 1099511628211ull;
    return hash;
}

struct Input {
    std::string name, path;  // the name as listed in pcm_digests.txt
};

std::vector<Input> Inputs() {
    std::vector<Input> inputs;
    for (const std::string& name : vexatest::IsoVectors(""))
        inputs.push_back({"iso/" + name, vexatest::SharedPath("vectors/iso/" + name + ".bit")});
    // Every encoder's file, and the quiet one of the playback tests.
    for (const auto& file : std::filesystem::directory_iterator(vexatest::FixturePath("mp3")))
        inputs.push_back({"fixtures/mp3/" + file.path().filename().string(), file.path().string()});
    inputs.push_back({"fixtures/playback/quiet.mp3", vexatest::FixturePath("playback/quiet.mp3")});
    return inputs;
}

// One line per input: its name, then one digest per engine, quality and
// layout, in that nesting order, as 16 hexadecimal digits.
std::string DigestLine(const Input& input) {
    const std::vector<uint8_t> stream = vexatest::ReadWholeFile(input.path);
    std::ostringstream line;
    line << input.name;
    for (int32_t engine = 0; engine < 4; ++engine) {
        for (int32_t quality = 0; quality < 3; ++quality) {
            for (const Layout& layout : kLayouts) {
                const vexa::OfflineResult result = vexatest::DecodeStream(
                    stream, vexatest::Settings(engine, quality, layout.channelSelect, layout.eightBit));
                line << ' ' << std::hex << std::setw(16) << std::setfill('0') << (Fnv1a64(result.pcm) ^ result.pcm.size());
            }
        }
    }
    return line.str();
}

std::map<std::string, std::string> StoredLines() {
    std::ifstream in(std::string(VEXA_SOURCE_DIR) + "/tests/digest/pcm_digests.txt");
    std::map<std::string, std::string> lines;
    for (std::string line; std::getline(in, line);)
        if (!line.empty() && line[0] != '#') lines[line.substr(0, line.find(' '))] = line;
    return lines;
}

// Names the engine, quality and layout of every digest that differs.
std::string Differences(const std::string& stored, const std::string& current) {
    std::istringstream a(stored), b(current);
    std::string x, y, out;
    for (int index = -1; a >> x && b >> y; ++index) {  // index -1: the name
        if (x == y) continue;
        const int layouts = static_cast<int>(std::size(kLayouts));
        out += " engine " + std::to_string(index / (3 * layouts)) + " quality " +
               std::to_string(index / layouts % 3) + " " + kLayouts[index % layouts].name + ";";
    }
    return out;
}

class PcmDigest : public ::testing::TestWithParam<Input> {};

TEST_P(PcmDigest, SameInEveryEngineQualityAndLayout) {
    const Input& input = GetParam();
    const std::string current = DigestLine(input);
    if (const char* outPath = std::getenv("VEXA_WRITE_DIGESTS")) {
        std::ofstream(outPath, std::ios::app) << current << "\n";
        GTEST_SKIP() << "digest line appended to " << outPath;
    }
    static const std::map<std::string, std::string> stored = StoredLines();
    const auto found = stored.find(input.name);
    ASSERT_NE(found, stored.end()) << input.name << " is not in pcm_digests.txt";
    EXPECT_EQ(current, found->second) << input.name << " changed in:" << Differences(found->second, current);
}

INSTANTIATE_TEST_SUITE_P(AllInputs, PcmDigest, ::testing::ValuesIn(Inputs()), [](const auto& param) {
    return vexatest::AsTestName(param.param.name);
});

}  // namespace
