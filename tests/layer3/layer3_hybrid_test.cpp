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

double StandardWindow(int type, int i) {
    if (type == 2) return std::sin(kPi / 12 * (i + 0.5));
    const double longShape = std::sin(kPi / 36 * (i + 0.5));
    if (type == 1) {
        if (i < 18) return longShape;
        if (i < 24) return 1.0;
        if (i < 30) return std::sin(kPi / 12 * (i - 18 + 0.5));
        return 0.0;
    }
    if (type == 3) {
        if (i < 6) return 0.0;
        if (i < 12) return std::sin(kPi / 12 * (i - 6 + 0.5));
        if (i < 18) return 1.0;
        return longShape;
    }
    return longShape;
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

// Runs one transform of format F on input and previous (real values, scaled
// to the format) and returns output and next overlap as real values.
template <class F>
void RunTransform(int type, const double* input, const double* previous, double* output, double* next) {
    using value = Layer3Value<F>;
    const double scale = F::kIsFixed ? 32768.0 : 1.0;
    value x[18], prev[18], nxt[18];
    for (int i = 0; i < 18; ++i) {
        x[i] = static_cast<typename F::sample>(input[i] * scale);
        prev[i] = static_cast<typename F::sample>(previous[i] * scale);
    }
    typename F::sample out[32 * 18];
    const Layer3Format<F>& format = Layer3For<F>();
    const auto* window = format.window[type];
    if (type == 2) Imdct12<F>(x, prev, nxt, window, out);
    else Imdct36<F>(x, prev, nxt, window, out);
    for (int k = 0; k < 18; ++k) {
        output[k] = static_cast<double>(out[32 * k]) / scale;
        next[k] = static_cast<double>(Layer3Arith<F>::raw(nxt[k])) / scale;
    }
}

template <class F>
void CheckAgainstDirect(double tolerance) {
    FrameHeader header{};
    header.subbandCount = 32;
    header.lineCount = 576;
    SetUpLayer3Tables(header);
    std::mt19937 random(1234);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    for (int type = 0; type < 4; ++type) {
        for (int trial = 0; trial < 20; ++trial) {
            double input[18], previous[18], output[18], next[18];
            for (int i = 0; i < 18; ++i) {
                input[i] = uniform(random) * 0.25;
                previous[i] = uniform(random) * 0.25;
            }
            const std::vector<double> block = DirectBlock(type, input);
            RunTransform<F>(type, input, previous, output, next);
            for (int k = 0; k < 18; ++k) {
                ASSERT_NEAR(output[k], block[static_cast<size_t>(k)] + previous[k], tolerance) << "type " << type << " k " << k;
                ASSERT_NEAR(next[k], block[static_cast<size_t>(18 + k)], tolerance) << "type " << type << " k " << k;
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
