// The synthesis tables, computed in double precision at every stream open
// and stored in each number format.
#include <cmath>
#include <type_traits>

#include "decoder/decoder.h"
#include "decoder/synthesis.h"

namespace vexa {
namespace {

constexpr double kPi = 3.14159265358979323846;

// Cosine-series prototype of the synthesis window, h(n) for n = 0..511;
// h(256) = 4.579956056 is four times the peak of the standard's window.
double WindowPrototype(int32_t n) {
    static const double kSeries[8] = {
        0.5,
        -std::sqrt(0.9999277960651191),
        std::sqrt(0.992495111787127),
        -std::sqrt(0.88323277784949),
        std::sqrt(0.5),
        -0.341712191984,
        0.0866307578916,
        -0.00849728985506,
    };
    double sum = 0.0;
    for (int k = 0; k < 8; ++k) sum += kSeries[k] * std::cos(k * n * kPi / 256.0);
    return sum;
}

// Full-table entry i: row j = i >> 5, tap r = i & 15 (each row holds its 16
// taps twice). Taps 2, 3, 6, 7, 10, 11, 14, 15 carry the sign of the
// standard window's alternate 64-sample blocks.
double WindowEntry(int32_t i, double gain) {
    const int32_t row = i >> 5;
    const int32_t tap = i & 15;
    const double value = gain * WindowPrototype(32 * tap + row);
    return (tap & 2) ? -value : value;
}

// Half and quarter tables keep every 2nd or 4th row of the full table.
template <class C>
void DecimateRows(const C* full, C* reduced, int32_t entries, int32_t rowStep) {
    for (int32_t e = 0; e < entries; ++e) reduced[e] = full[(e & 31) + 32 * rowStep * (e >> 5)];
}

}  // namespace

void BuildDctTables() {
    g_synthesis.formats.forEach([](auto& format) {
        using Policy = std::remove_cvref_t<decltype(format)>;
        format.dct[0] = 0;
        for (int32_t n = 1; n <= 16; n *= 2)
            for (int32_t k = 0; k < n; ++k)
                format.dct[n + k] = Policy::Format::fromDouble(0.5 / std::cos((2 * k + 1) * kPi / (4.0 * n)));
    });
}

void BuildWindowTables(int32_t scale) {
    const double gain = scale * 0.256;
    double window[kFullWindowEntries];
    for (int32_t i = 0; i < kFullWindowEntries; ++i) window[i] = WindowEntry(i, gain);
    g_synthesis.formats.forEach([&](auto& format) {
        using Policy = std::remove_cvref_t<decltype(format)>;
        for (int32_t i = 0; i < kFullWindowEntries; ++i) format.windowFull[i] = Policy::Format::fromWindow(window[i]);
        DecimateRows(format.windowFull, format.windowHalf, kFullWindowEntries / 2, 2);
        DecimateRows(format.windowFull, format.windowQuarter, kFullWindowEntries / 4, 4);
    });
    RefreshWindowCopies();
}

void RefreshWindowCopies() {
    g_synthesis.formats.forEach([](auto& format) {
        using Policy = std::remove_cvref_t<decltype(format)>;
        if (format.window == nullptr) return;
        using Value = typename Policy::ringValue;
        const int32_t rows = g_synthesis.subbands / 2 + 1;  // the rows the windowing reads
        for (int32_t k = 0; k < 32; ++k) {
            for (int32_t row = 0; row < kRingRows; ++row) {
                const bool used = row < rows;
                format.windowForward[k * kRingRows + row] = used ? Value(format.window[32 * row + k]) : Value{};
                format.windowMirrored[k * kRingRows + row] = used ? Value(format.window[32 * row + 31 - k]) : Value{};
            }
        }
    });
}

void BuildEightBitTable() {
    for (int32_t v = -4096; v < 4096; ++v) g_synthesis.eightBit[v + 4096] = static_cast<uint8_t>((v >> 5) + 128);
}

}  // namespace vexa
