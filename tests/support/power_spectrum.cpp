#include "support/power_spectrum.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace vexatest {

std::vector<double> PowerSpectrum(const std::vector<double>& samples, size_t start, size_t size) {
    std::vector<std::complex<double>> a(size);
    for (size_t i = 0; i < size; ++i)
        a[i] = samples[start + i] * (0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(i) / size));
    for (size_t i = 1, j = 0; i < size; ++i) {
        size_t bit = size >> 1;
        for (; j & bit; bit >>= 1) j ^= bit;
        j ^= bit;
        if (i < j) std::swap(a[i], a[j]);
    }
    for (size_t len = 2; len <= size; len <<= 1) {
        const std::complex<double> step = std::polar(1.0, -2 * std::numbers::pi / static_cast<double>(len));
        for (size_t i = 0; i < size; i += len) {
            std::complex<double> w = 1;
            for (size_t k = 0; k < len / 2; ++k, w *= step) {
                const std::complex<double> odd = a[i + k + len / 2] * w;
                a[i + k + len / 2] = a[i + k] - odd;
                a[i + k] += odd;
            }
        }
    }
    std::vector<double> power(size / 2);
    for (size_t i = 0; i < power.size(); ++i) power[i] = std::norm(a[i]);
    return power;
}

double PeakBin(const std::vector<double>& power) {
    const auto peak = static_cast<size_t>(std::max_element(power.begin() + 1, power.end() - 1) - power.begin());
    const double a = std::log(power[peak - 1]), b = std::log(power[peak]), c = std::log(power[peak + 1]);
    return static_cast<double>(peak) + 0.5 * (a - c) / (a - 2 * b + c);
}

}  // namespace vexatest
