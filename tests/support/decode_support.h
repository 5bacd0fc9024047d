// Decoding helpers shared by the test programs: whole streams through the
// offline path, PCM comparison (SNR), the black-box mpg123 decode, a bit
// writer for hand-made frame bodies, a walk over a stream's frames and a
// bounded wait for a condition.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/offline_decode.h"
#include "stream/frame_header.h"

namespace vexatest {

// The stream's bytes decoded by the offline path with these settings.
vexa::OfflineResult DecodeStream(const std::vector<uint8_t>& stream, const vexa::OfflineSettings& settings);
// The conformance vector vectors/iso/<name>.bit of the shared material, and its decode.
std::vector<uint8_t> IsoVectorBytes(const std::string& name);
vexa::OfflineResult DecodeIsoVector(const std::string& name, const vexa::OfflineSettings& settings);
// Engine, quality, channel selection and 8-bit output at the default output scale.
vexa::OfflineSettings Settings(int engine, int quality = 0, int channelSelect = -1, int eightBit = 0);
// The same at output scale 32000, where the engine gives the reference
// decoders' full scale, inverted.
vexa::OfflineSettings ReferenceScaleSettings(int engine, int quality = 0, int channelSelect = -1);

// Little-endian 16-bit samples.
std::vector<int16_t> AsSamples(const std::vector<uint8_t>& bytes);
std::vector<int16_t> ReadPcm16(const std::string& path);

struct PcmComparison {
    double snrDb = 0.0;
    int32_t maxDifference = 0;
    size_t compared = 0;
    // Normalised cross-correlation (1: the same shape at any gain).
    double correlation = 0.0;
};
// ours (from sample `offset` on) against sign * reference, over the shorter.
PcmComparison ComparePcm(const std::vector<int16_t>& ours, const std::vector<int16_t>& reference, int sign,
                         size_t offset = 0);

// mpg123's decode of the file (16-bit, the stream's channels, no gapless
// trimming); false when the program is missing or fails.
bool DecodeWithMpg123(const std::string& path, std::vector<int16_t>& pcm);

// Writes fields most significant bit first, as the bit reader takes them.
class BitWriter {
public:
    void Put(uint32_t value, int bits);
    // A code word written as text of '0' and '1'.
    void PutCode(const std::string& code);
    int32_t bitCount() const { return bitCount_; }
    // The bytes written, then `slack` zero bytes the bit reader may look at.
    std::vector<uint8_t> Bytes(int slack = 64) const;

private:
    std::vector<uint8_t> bytes_;
    int32_t bitCount_ = 0;
};

struct FrameAt {
    uint32_t offset;  // of the header word, assuming frames follow each other
    vexa::FrameHeader header;
};
// Every frame the frame reader delivers from a fresh start.
std::vector<FrameAt> WalkFrames(const std::vector<uint8_t>& stream);

// Polls until condition holds or timeout passes; returns the condition.
bool WaitFor(const std::function<bool()>& condition, std::chrono::milliseconds timeout);

// A parameter's name as a test name: every character but letters and digits becomes '_'.
std::string AsTestName(std::string name);

}  // namespace vexatest
