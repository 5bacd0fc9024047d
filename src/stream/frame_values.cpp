#include "stream/frame_values.h"

#include <cstdio>
#include <cstring>

#include "stream/standard_tables.h"

namespace vexa {

int32_t StreamSampleRate(const FrameHeader& header) { return tables::kSampleRateHz[header.sampleRateIndex]; }

int32_t OutputSampleRate(const FrameHeader& header) { return StreamSampleRate(header) >> header.quality; }

int32_t BitrateKbps(const FrameHeader& header) {
    return tables::kBitrateKbps[header.lsf][header.layer - 1][header.bitrateIndex];
}

double FrameDurationMs(const FrameHeader& header) {
    int samples = 1152;
    if (header.layer == 1) samples = 384;
    if (header.layer == 3 && header.lsf == 1) samples = 576;
    return static_cast<double>(samples) / StreamSampleRate(header) * 1000.0;
}

void BuildFormatDescription(const FrameHeader& header, char* text, int32_t capacity) {
    char kilohertz[32];
    const float rateKhz = static_cast<float>(StreamSampleRate(header)) * 0.001f;
    std::snprintf(kilohertz, sizeof kilohertz, "%.3f", static_cast<double>(rateKhz));
    size_t length = std::strlen(kilohertz);
    while (length > 0 && kilohertz[length - 1] == '0') kilohertz[--length] = '\0';
    if (length > 0 && kilohertz[length - 1] == '.') kilohertz[--length] = '\0';

    const char* version = header.mpeg25 ? "MPEG 2.5" : (header.lsf ? "MPEG-2" : "MPEG-1");
    static const char* const kLayers[] = {"I", "II", "III"};
    const char* layer = header.layer >= 1 && header.layer <= 3 ? kLayers[header.layer - 1] : "Unknown";
    static const char* const kModes[] = {"Stereo", "Joint-Stereo", "Dual-Channel", "Mono"};
    const char* mode = kModes[header.mode & 3];
    if (!header.xingPresent && !header.vbriPresent) {
        std::snprintf(text, static_cast<size_t>(capacity), "%s Layer %s, %s kHz, %d kbps, %s", version, layer,
                      kilohertz, BitrateKbps(header), mode);
    } else {
        std::snprintf(text, static_cast<size_t>(capacity), "%s Layer %s, %s kHz, VBR, %s", version, layer,
                      kilohertz, mode);
    }
}

}  // namespace vexa
