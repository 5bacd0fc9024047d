#include "support/decode_support.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <thread>

#include "stream/frame_reader.h"
#include "support/test_support.h"

namespace vexatest {

vexa::OfflineResult DecodeStream(const std::vector<uint8_t>& stream, const vexa::OfflineSettings& settings) {
    return vexa::DecodeToMemory(stream.data(), static_cast<uint32_t>(stream.size()), settings);
}

std::vector<uint8_t> IsoVectorBytes(const std::string& name) {
    return ReadWholeFile(SharedPath("vectors/iso/" + name + ".bit"));
}

vexa::OfflineResult DecodeIsoVector(const std::string& name, const vexa::OfflineSettings& settings) {
    return DecodeStream(IsoVectorBytes(name), settings);
}

vexa::OfflineSettings Settings(int engine, int quality, int channelSelect, int eightBit) {
    return {.engineKind = engine, .quality = quality, .channelSelect = channelSelect, .eightBit = eightBit};
}

vexa::OfflineSettings ReferenceScaleSettings(int engine, int quality, int channelSelect) {
    return {.engineKind = engine, .quality = quality, .channelSelect = channelSelect, .outputScale = 32000};
}

std::vector<int16_t> AsSamples(const std::vector<uint8_t>& bytes) {
    std::vector<int16_t> samples(bytes.size() / 2);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<int16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    return samples;
}

std::vector<int16_t> ReadPcm16(const std::string& path) { return AsSamples(ReadWholeFile(path)); }

PcmComparison ComparePcm(const std::vector<int16_t>& ours, const std::vector<int16_t>& reference, int sign,
                         size_t offset) {
    PcmComparison result;
    const size_t count = ours.size() > offset ? std::min(ours.size() - offset, reference.size()) : 0;
    double signal = 0.0, noise = 0.0, ourEnergy = 0.0, product = 0.0;
    for (size_t i = 0; i < count; ++i) {
        const double expected = sign * static_cast<double>(reference[i]);
        const double difference = static_cast<double>(ours[i + offset]) - expected;
        signal += expected * expected;
        noise += difference * difference;
        ourEnergy += static_cast<double>(ours[i + offset]) * ours[i + offset];
        product += static_cast<double>(ours[i + offset]) * expected;
        result.maxDifference = std::max(result.maxDifference, static_cast<int32_t>(std::fabs(difference)));
    }
    result.compared = count;
    result.correlation = signal > 0.0 && ourEnergy > 0.0 ? product / std::sqrt(signal * ourEnergy) : 0.0;
    result.snrDb = noise == 0.0 ? 200.0 : 10.0 * std::log10(signal / noise);
    return result;
}

bool DecodeWithMpg123(const std::string& path, std::vector<int16_t>& pcm) {
    if (std::system("command -v mpg123 >/dev/null 2>&1") != 0) return false;
    ScratchDir scratch;
    const std::string raw = scratch.File("out.raw");
    const std::string command = "mpg123 -q --no-gapless -s '" + path + "' > '" + raw + "' 2>/dev/null";
    if (std::system(command.c_str()) != 0) return false;
    pcm = ReadPcm16(raw);
    return true;
}

void BitWriter::Put(uint32_t value, int bits) {
    for (int i = bits - 1; i >= 0; --i) {
        if (bitCount_ % 8 == 0) bytes_.push_back(0);
        if ((value >> i) & 1u) bytes_.back() |= static_cast<uint8_t>(0x80u >> (bitCount_ % 8));
        ++bitCount_;
    }
}

void BitWriter::PutCode(const std::string& code) {
    for (char c : code) Put(c == '1' ? 1u : 0u, 1);
}

std::vector<uint8_t> BitWriter::Bytes(int slack) const {
    std::vector<uint8_t> out = bytes_;
    out.resize(out.size() + static_cast<size_t>(slack), 0);
    return out;
}

std::vector<FrameAt> WalkFrames(const std::vector<uint8_t>& stream) {
    std::vector<FrameAt> frames;
    vexa::ResetFrameReader(true);
    vexa::MemorySource source(stream.data(), static_cast<uint32_t>(stream.size()));
    uint32_t offset = 0;
    vexa::FrameHeader header{};
    while (vexa::ReadNextFrame(source, header)) {
        frames.push_back({offset, header});
        offset += static_cast<uint32_t>(header.bodyLength + 4);
    }
    return frames;
}

bool WaitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout) {
    const auto until = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= until) return condition();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::string AsTestName(std::string name) {
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

}  // namespace vexatest
