// For the equalizer and spectrum tests: Layer I noise frames built by hand
// (no Debian encoder writes Layer I), the committed fixtures of
// tests/fixtures/dsp (see make_fixtures.sh there), and the energy of decoded
// PCM in a frequency range.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "support/frame_builder.h"
#include "support/power_spectrum.h"
#include "support/test_support.h"

namespace dsptest {

// Layer I, 44.1 kHz: `frames` frames with noise in the sub-bands from..to-1
// of the left channel (mode 3: the only channel; mode 0: the right channel
// stays silent).
inline std::vector<uint8_t> Layer1Noise(int mode, int from, int to, int frames) {
    int codeBits[2][32] = {};
    for (int sb = from; sb < to; ++sb) codeBits[0][sb] = 7;
    std::vector<uint8_t> stream;
    uint32_t seed = 12345;
    for (int i = 0; i < frames; ++i) vexatest::Append(stream, vexatest::Layer1NoiseFrame(mode, codeBits, seed));
    return stream;
}

inline std::vector<uint8_t> Fixture(const std::string& name) {
    return vexatest::ReadWholeFile(vexatest::FixturePath("dsp/" + name));
}

// Energy of samples (one channel) between low and high Hz: the power
// spectrum bins in the range of Hann-windowed blocks of 4096, summed.
inline double EnergyIn(const std::vector<int16_t>& samples, double low, double high, double rate) {
    constexpr size_t kBlock = 4096;
    const std::vector<double> signal(samples.begin(), samples.end());
    double energy = 0.0;
    for (size_t start = 0; start + kBlock <= signal.size(); start += kBlock) {
        const std::vector<double> power = vexatest::PowerSpectrum(signal, start, kBlock);
        for (auto bin = static_cast<size_t>(std::ceil(low * kBlock / rate)); bin * rate / kBlock <= high; ++bin)
            energy += power[bin];
    }
    return energy;
}

}  // namespace dsptest
