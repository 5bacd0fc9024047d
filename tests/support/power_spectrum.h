// Spectra for tests that measure frequencies: the power per FFT bin of a
// stretch of samples.
#pragma once

#include <cstddef>
#include <vector>

namespace vexatest {

// Power spectrum of samples[start, start + size) under a Hann window; size
// a power of two; size / 2 bins of rate / size Hz each.
std::vector<double> PowerSpectrum(const std::vector<double>& samples, size_t start, size_t size);
// The strongest bin's frequency in bins, refined between its neighbours.
double PeakBin(const std::vector<double>& power);

}  // namespace vexatest
