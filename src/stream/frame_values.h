// Values derived from one frame header: rates, bitrate, duration, and the
// one-line description shown to the user.
#pragma once

#include <cstdint>

#include "stream/frame_header.h"

namespace vexa {

int32_t OutputSampleRate(const FrameHeader& header);
double FrameDurationMs(const FrameHeader& header);
int32_t BitrateKbps(const FrameHeader& header);
int32_t StreamSampleRate(const FrameHeader& header);

// The one-line description shown to the user, e.g.
// "MPEG-1 Layer III, 44.1 kHz, 128 kbps, Joint-Stereo".
void BuildFormatDescription(const FrameHeader& header, char* text, int32_t capacity);

}  // namespace vexa
