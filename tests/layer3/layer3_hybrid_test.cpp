// The factored IMDCTs of every format and block type against the direct
// sums and windows: the one place that says the fixed format's transforms
// are right (its output is held against the reference only in shape).
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "decoder/layer3_hybrid.h"
#include "decoder/layer3_state.h"

using namespace vexa;

namespace {

constexpr double kPi = std::numbers::pi;

// Sine arches over 36 (long) and 12 (short) values; start (1) and stop (3) blocks join halves of both.
double StandardWindow(int type, int i) {
    const auto shortShape = [](int j) { return std::sin(kPi / 12 * (j + 0.5)); };
    if (type == 2) return shortShape(i);
    if (type == 1 && i >= 18) return i < 24 ? 1.0 : i < 30 ? shortShape(i - 18) : 0.0;
    if (type == 3 && i < 18) return i < 6 ? 0.0 : i < 12 ? shortShape(i - 6) : 1.0;
    return std::sin(kPi / 36 * (i + 0.5));
}

// The 36 windowed values of the standard's IMDCT of one sub-band.
std::vector<double> DirectBlock(int type, const double* input) {
    std::vector<double> block(36, 0.0);
    if (type != 2) {
        for (int i = 0; i < 36; ++i) {
            double sum = 0.0;
            for (int k = 0; k < 18; ++k) sum += input[k] * std::cos(kPi / 72 * (2 * i + 1 + 18) * (2 * k + 1));
            block[static_cast<size_t>(i)] = sum * StandardWindow(type, i);
        }
        return block;
    }
    for (int n = 0; n < 3; ++n) {
        for (int i = 0; i < 12; ++i) {
            double sum = 0.0;
            for (int k = 0; k < 6; ++k) sum += input[n + 3 * k] * std::cos(kPi / 24 * (2 * i + 1 + 6) * (2 * k + 1));
            block[static_cast<size_t>(6 + 6 * n + i)] += sum * StandardWindow(2, i);
        }
    }
    return block;
}

// Random inputs and overlaps through the format's transform; its output and
// next overlap, as real values, against the direct block.
template <class F>
void CheckAgainstDirect(double tolerance) {
    FrameHeader header{};
    header.subbandCount = 32;
    header.lineCount = 576;
    SetUpLayer3Tables(header);
    const Layer3Format<F>& format = Layer3For<F>();
    const double scale = F::kIsFixed ? 32768.0 : 1.0;
    std::mt19937 random(1234);
    std::uniform_real_distribution<double> uniform(-0.25, 0.25);
    for (int type = 0; type < 4; ++type) {
        for (int trial = 0; trial < 20; ++trial) {
            double input[18], previous[18];
            Layer3Value<F> x[18], prev[18], next[18];
            for (int i = 0; i < 18; ++i) {
                x[i] = static_cast<typename F::sample>((input[i] = uniform(random)) * scale);
                prev[i] = static_cast<typename F::sample>((previous[i] = uniform(random)) * scale);
            }
            typename F::sample out[32 * 18];
            if (type == 2) Imdct12<F>(x, prev, next, format.window[type], out);
            else Imdct36<F>(x, prev, next, format.window[type], out);
            const std::vector<double> block = DirectBlock(type, input);
            for (size_t k = 0; k < 18; ++k) {
                ASSERT_NEAR(static_cast<double>(out[32 * k]) / scale, block[k] + previous[k], tolerance)
                    << "type " << type << " k " << k;
                ASSERT_NEAR(static_cast<double>(Layer3Arith<F>::raw(next[k])) / scale, block[18 + k], tolerance)
                    << "type " << type << " k " << k;
            }
        }
    }
}

// Fixed: Q15 with every product truncated on its own: each truncation (up
// to one unit of 1/32768) is amplified by the later factors (t_k up to 5.74,
// window values up to 9.1), so single values may be off by some tens of
// units, while any fault in the transform is off by the size of the signal
// (0.25 here).
TEST(Layer3Hybrid, TransformsOfEveryFormatEqualTheDirectSums) {
    CheckAgainstDirect<DoubleFormat>(1e-12);
    CheckAgainstDirect<SingleFormat>(2e-6);
    CheckAgainstDirect<FixedFormat>(80.0 / 32768);
}

}  // namespace
