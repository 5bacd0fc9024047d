#include "stream/seek_position.h"

#include <cmath>

namespace vexa {
namespace {

constexpr int32_t kXingFlagToc = 4;

bool AtOrPastEnd(float percent) { return !(percent < 100.0f); }  // also not a number
float FromZero(float percent) { return percent <= 0.0f ? 0.0f : percent; }

// The table holds 100 positions in 256ths of the data, one per percent;
// between two entries the position is interpolated.
double XingPosition(uint32_t dataSize, const FrameHeader& header, float percent) {
    if (AtOrPastEnd(percent)) return dataSize;
    const float q = FromZero(percent);
    const int i = static_cast<int>(q);
    const double a = header.xingToc[i];
    const double b = i < 99 ? header.xingToc[i + 1] : 256.0;
    return std::trunc((a + (q - static_cast<float>(i)) * (b - a)) * dataSize * (1.0 / 256.0));
}

// Entry k of a VBRI table. Entries the first frame could not hold (a table
// larger than the frame) share equally what the held entries leave of the
// data, so a cut table still maps percentages over the whole stream.
double VbriPart(uint32_t dataSize, const FrameHeader& header, int k) {
    if (k < header.vbriEntriesHeld) return VbriEntry(header, k);
    double held = 0.0;
    for (int i = 0; i < header.vbriEntriesHeld; ++i) held += VbriEntry(header, i);
    const double rest = dataSize > held ? dataSize - held : 0.0;
    return rest / (header.vbriTableSize + 1 - header.vbriEntriesHeld);
}

// The table holds the byte length of each of vbriTableSize + 1 equal parts
// of the stream but the last; the position sums the whole parts and adds a
// share of the next.
double VbriPosition(uint32_t dataSize, const FrameHeader& header, float percent) {
    if (AtOrPastEnd(percent)) return dataSize;
    const float q = FromZero(percent);
    const float x = q * static_cast<float>(header.vbriTableSize + 1) * 0.01f;
    const int j = static_cast<int>(x);
    const float f = x - static_cast<float>(j);
    if (j >= header.vbriTableSize) return dataSize;
    double sum = 0.0;
    for (int k = 0; k <= j; ++k) sum += VbriPart(dataSize, header, k);
    const double next = j + 1 < header.vbriTableSize ? VbriPart(dataSize, header, j + 1) : dataSize - sum;
    return std::trunc(sum + f * next);
}

double ConstantBitratePosition(uint32_t dataSize, float percent) {
    return std::trunc(dataSize * static_cast<double>(percent) * 0.01 + 0.5);
}

}  // namespace

uint32_t SeekBytePosition(uint32_t dataSize, const FrameHeader& header, float percent) {
    double position;
    if (header.xingPresent && (header.xingFlags & kXingFlagToc)) {
        position = XingPosition(dataSize, header, percent);
    } else if (header.vbriPresent) {
        position = VbriPosition(dataSize, header, percent);
    } else {
        position = ConstantBitratePosition(dataSize, percent);
    }
    if (!(position >= 1.0)) position = 0.0;  // also a not-a-number percentage
    const double last = dataSize > 0 ? dataSize - 1.0 : 0.0;
    if (position >= last) position = last;
    return static_cast<uint32_t>(position);
}

}  // namespace vexa
