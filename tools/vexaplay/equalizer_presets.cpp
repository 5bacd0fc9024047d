#include "equalizer_presets.h"

#include <cstdlib>

#include "vexaengine.h"

namespace vexaplay {
namespace {

// Bands by centre: 0-2 deep bass, 3-6 low mids, 7-12 mids (0.8-3.4 kHz,
// where speech is understood), 13-16 presence, 17-19 air.
const EqualizerCurve kBuiltIn[] = {
    {"flat", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"bass", {8, 8, 7, 6, 4, 2, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
    {"treble", {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4, 6, 7, 8, 8}},
    // Ears lose the extremes at low volume; this lifts both ends.
    {"loudness", {8, 7, 6, 4, 2, 0, 0, -1, -1, -1, 0, 0, 1, 2, 3, 4, 5, 5, 4, 3}},
    {"voice", {-6, -6, -4, -2, 0, 1, 2, 3, 3, 4, 4, 4, 3, 2, 1, 0, -2, -4, -6, -6}},
};

}  // namespace

bool ParseEqualizerCurve(const std::string& text, EqualizerCurve& curve, std::string& error) {
    curve.name = "custom";
    const char* cursor = text.c_str();
    for (int band = 0; band < kEqualizerBands; ++band) {
        char* end = nullptr;
        const long value = std::strtol(cursor, &end, 10);
        if (end == cursor || value < -99 || value > 99) {
            error = "--eq takes 20 whole numbers of dB separated by commas (band " + std::to_string(band) + ")";
            return false;
        }
        curve.db[band] = static_cast<int32_t>(value);
        const char expected = band + 1 < kEqualizerBands ? ',' : '\0';
        if (*end != expected) {
            error = "--eq takes exactly 20 values separated by commas";
            return false;
        }
        cursor = end + 1;
    }
    return true;
}

EqualizerPresets::EqualizerPresets(const EqualizerCurve* custom) {
    if (custom != nullptr) curves_.push_back(*custom);
    curves_.insert(curves_.end(), std::begin(kBuiltIn), std::end(kBuiltIn));
}

void EqualizerPresets::Apply() const { VexaEngine_SetEqualizer(curves_[current_].db); }

void EqualizerPresets::Next() {
    current_ = (current_ + 1) % curves_.size();
    Apply();
}

}  // namespace vexaplay
