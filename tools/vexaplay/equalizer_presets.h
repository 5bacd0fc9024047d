// Named equalizer curves for vexaplay: 20 band settings in dB each, band 0
// lowest (about 0-80 Hz at 44.1 kHz) to band 19 (14-22 kHz). `e` cycles
// through them; --eq adds the user's own curve, named "custom".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vexaplay {

constexpr int kEqualizerBands = 20;

struct EqualizerCurve {
    std::string name;
    int32_t db[kEqualizerBands];
};

// "v0,v1,...,v19": twenty whole numbers (dB). False, with the reason, if not.
bool ParseEqualizerCurve(const std::string& text, EqualizerCurve& curve, std::string& error);

// The curves in cycling order, with a custom curve first when one is given.
class EqualizerPresets {
public:
    explicit EqualizerPresets(const EqualizerCurve* custom);
    // Sends the current curve to the engine.
    void Apply() const;
    // The next curve in the cycle, applied.
    void Next();
    const std::string& CurrentName() const { return curves_[current_].name; }

private:
    std::vector<EqualizerCurve> curves_;
    size_t current_ = 0;
};

}  // namespace vexaplay
