#include "layer3_harness.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numbers>

#include "decoder/layer3.h"
#include "decoder/layer3_state.h"
#include "decoder/synthesis_slots.h"
#include "engine/engine_record.h"
#include "engine/offline_decode.h"
#include "stream/frame_reader.h"
#include "support/test_support.h"

namespace layer3test {

const std::vector<EncoderFixture>& EncoderFixtures() {
    static const std::vector<EncoderFixture> kFixtures = {
        {"mpeg1_32k_mono_cbr", 32000, 1, 1152, false, 0},   {"mpeg1_44k_joint_vbr", 44100, 2, 1152, true, 0},
        {"mpeg1_48k_stereo_cbr", 48000, 2, 1152, false, 0}, {"mpeg2_22k_joint_cbr", 22050, 2, 576, false, 0},
        {"mpeg2_24k_mono_vbr", 24000, 1, 576, true, 2},     {"mpeg25_8k_mono_cbr", 8000, 1, 576, false, 0},
        {"mpeg25_11k_stereo_cbr", 11025, 2, 576, false, 0},
    };
    return kFixtures;
}

std::string EncoderFixturePath(const EncoderFixture& fixture) {
    return vexatest::FixturePath(std::string("mp3/") + fixture.name + ".mp3");
}

void SetUpTablesAtQuality(int quality) {
    vexa::FrameHeader header{};
    header.quality = quality;
    header.subbandCount = 32 >> quality;
    header.lineCount = 576 >> quality;
    vexa::SetUpLayer3Tables(header);
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

namespace {

// The standard polyphase synthesis in double precision. The window is the
// cosine series the engine uses in place of the standard's table.
class ReferenceSynthesis {
public:
    ReferenceSynthesis() {
        for (int i = 0; i < 64; ++i)
            for (int k = 0; k < 32; ++k) matrix_[i][k] = std::cos((16 + i) * (2 * k + 1) * std::numbers::pi / 64.0);
        static const double c[8] = {0.5,
                                    -std::sqrt(0.9999277960651191),
                                    std::sqrt(0.992495111787127),
                                    -std::sqrt(0.88323277784949),
                                    std::sqrt(0.5),
                                    -0.341712191984,
                                    0.0866307578916,
                                    -0.00849728985506};
        for (int n = 0; n < 512; ++n) {
            double h = 0.0;
            for (int k = 0; k < 8; ++k) h += c[k] * std::cos(k * n * std::numbers::pi / 256.0);
            window_[n] = ((n >> 6) & 1) ? -h / 4.0 : h / 4.0;
        }
    }

    void Run(const double* block, std::vector<double>& out) {
        std::memmove(v_ + 64, v_, sizeof(double) * (1024 - 64));
        for (int i = 0; i < 64; ++i) {
            double sum = 0.0;
            for (int k = 0; k < 32; ++k) sum += matrix_[i][k] * block[k];
            v_[i] = sum;
        }
        for (int j = 0; j < 32; ++j) {
            double sum = 0.0;
            for (int i = 0; i < 8; ++i) {
                sum += v_[128 * i + j] * window_[64 * i + j];
                sum += v_[128 * i + 96 + j] * window_[64 * i + 32 + j];
            }
            // Clamped like the engine's output and the reference's 16 bits.
            const double scaled = 32768.0 * sum;
            out.push_back(scaled > 32767.0 ? 32767.0 : (scaled < -32768.0 ? -32768.0 : scaled));
        }
    }

private:
    double matrix_[64][32];
    double window_[512];
    double v_[1024] = {};
};

struct Capture {
    int engineKind = 0;
    ReferenceSynthesis synthesis[2];
    std::vector<double> pcm[2];
};

Capture* g_capture = nullptr;

void ToDouble(const void* block, double* out) {
    for (int k = 0; k < 32; ++k) {
        switch (g_capture->engineKind) {
            case 1:
                out[k] = static_cast<const double*>(block)[k];
                break;
            case 2:
                out[k] = static_cast<const int32_t*>(block)[k] / 32768.0;
                break;
            default:
                out[k] = static_cast<const float*>(block)[k];
        }
    }
}

void CaptureStereo(void* block, int32_t channel, uint8_t*) {
    double samples[32];
    ToDouble(block, samples);
    g_capture->synthesis[channel & 1].Run(samples, g_capture->pcm[channel & 1]);
}

void CaptureSingle(void* block, uint8_t* pcm) { CaptureStereo(block, 0, pcm); }

// Moves one frame's samples to the interleaved output: a one-channel frame
// as one channel, as the conformance references store streams that change
// mode.
void FlushFrame(std::vector<double>& interleaved) {
    std::vector<double>& left = g_capture->pcm[0];
    std::vector<double>& right = g_capture->pcm[1];
    if (right.empty()) {
        interleaved.insert(interleaved.end(), left.begin(), left.end());
    } else {
        for (size_t i = 0; i < left.size() && i < right.size(); ++i) {
            interleaved.push_back(left[i]);
            interleaved.push_back(right[i]);
        }
    }
    left.clear();
    right.clear();
}

void DecodeFrameOf(int engineKind) {
    switch (engineKind) {
        case 1:
            vexa::DecodeLayer3Double(vexa::g_header, 1);
            break;
        case 2:
            vexa::DecodeLayer3Fixed(vexa::g_header, 1);
            break;
        default:
            vexa::DecodeLayer3Single(vexa::g_header, 1);
    }
}

}  // namespace

ReferenceDecode DecodeWithReferenceSynthesis(const std::vector<uint8_t>& stream, int engineKind, int quality,
                                             int channelSelect) {
    ReferenceDecode result;
    vexa::OfflineSettings settings;
    settings.engineKind = engineKind;
    settings.quality = quality;
    settings.channelSelect = channelSelect;
    settings.outputScale = 32000;
    vexa::MemorySource source(stream.data(), static_cast<uint32_t>(stream.size()));
    if (vexa::OpenOfflineStream(source, settings) < 1) return result;
    auto capture = std::make_unique<Capture>();
    capture->engineKind = engineKind;
    g_capture = capture.get();
    const vexa::SynthesisSlots saved = vexa::g_synthesisSlots;
    vexa::g_synthesisSlots = {CaptureStereo, CaptureSingle, 0};
    do {
        const int frameChannels = vexa::g_header.channels == 2 && channelSelect < 0 ? 2 : 1;
        if (frameChannels > result.channels) result.channels = frameChannels;
        DecodeFrameOf(engineKind);
        FlushFrame(result.interleaved);
        ++result.frames;
    } while (vexa::ReadNextFrame(source, vexa::g_header));
    vexa::g_synthesisSlots = saved;
    g_capture = nullptr;
    result.sampleRate = vexa::OutputSampleRate(vexa::g_header);
    result.overruns = vexa::g_layer3.overrunFrames;
    if (vexa::g_header.xingPresent && (vexa::g_header.xingFlags & 1)) result.xingFrames = vexa::g_header.xingFrames;
    result.rejected = vexa::g_layer3.rejectedFrames;
    return result;
}

Comparison Compare(const std::vector<double>& decoded, const std::vector<int16_t>& reference, double sign) {
    double signal = 0.0, noise = 0.0, maxDifference = 0.0;
    const size_t count = decoded.size() < reference.size() ? decoded.size() : reference.size();
    for (size_t i = 0; i < count; ++i) {
        const double expected = sign * reference[i];
        const double difference = decoded[i] - expected;
        signal += expected * expected;
        noise += difference * difference;
        if (std::fabs(difference) > maxDifference) maxDifference = std::fabs(difference);
    }
    const double snr = noise > 0.0 ? 10.0 * std::log10(signal / noise) : 200.0;
    return {snr, maxDifference, count};
}

std::vector<int16_t> ReadPcm16(const std::string& path) {
    const std::vector<uint8_t> bytes = vexatest::ReadWholeFile(path);
    std::vector<int16_t> samples(bytes.size() / 2);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<int16_t>(bytes[2 * i] | (bytes[2 * i + 1] << 8));
    return samples;
}

bool DecodeWithMpg123(const std::string& path, std::vector<int16_t>& pcm) {
    if (std::system("command -v mpg123 >/dev/null 2>&1") != 0) return false;
    vexatest::ScratchDir scratch;
    const std::string raw = scratch.File("out.raw");
    const std::string command = "mpg123 -q --no-gapless -s '" + path + "' > '" + raw + "' 2>/dev/null";
    if (std::system(command.c_str()) != 0) return false;
    pcm = ReadPcm16(raw);
    return true;
}

}  // namespace layer3test
