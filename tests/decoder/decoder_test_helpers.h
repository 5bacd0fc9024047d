// Helpers of the decoder tests: decoding an ISO vector through the offline
// path, and comparing decoded PCM with a reference (SNR in dB and the
// largest difference, with the reference's polarity optionally inverted).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "engine/offline_decode.h"
#include "support/test_support.h"

namespace vexatest {

inline vexa::OfflineResult DecodeIsoVector(const std::string& name, const vexa::OfflineSettings& settings) {
    const std::vector<uint8_t> stream = ReadWholeFile(SharedPath("vectors/iso/" + name + ".bit"));
    return vexa::DecodeToMemory(stream.data(), static_cast<uint32_t>(stream.size()), settings);
}

inline std::vector<int16_t> AsSamples(const std::vector<uint8_t>& bytes) {
    std::vector<int16_t> samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    return samples;
}

struct PcmComparison {
    double snrDb = 0.0;
    int32_t maxDifference = 0;
    size_t compared = 0;
};

// Compares ours with sign * reference over the common length (shifted by
// offset samples of ours).
inline PcmComparison ComparePcm(const std::vector<int16_t>& ours, const std::vector<int16_t>& reference, int sign,
                                size_t offset = 0) {
    PcmComparison result;
    const size_t count = ours.size() > offset ? std::min(ours.size() - offset, reference.size()) : 0;
    double signal = 0.0;
    double noise = 0.0;
    for (size_t i = 0; i < count; ++i) {
        const double expected = sign * static_cast<double>(reference[i]);
        const double difference = static_cast<double>(ours[i + offset]) - expected;
        signal += expected * expected;
        noise += difference * difference;
        result.maxDifference = std::max(result.maxDifference, static_cast<int32_t>(std::abs(difference)));
    }
    result.compared = count;
    result.snrDb = noise == 0.0 ? 200.0 : 10.0 * std::log10(signal / noise);
    return result;
}

}  // namespace vexatest
