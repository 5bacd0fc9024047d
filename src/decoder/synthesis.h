// The polyphase synthesis: sub-band blocks to 16-bit PCM, through a fast DCT
// into a per-channel V ring and a windowing pass over a rotated window table,
// in each number format and at full, half or quarter rate.
//
// Threads: Synthesise and the packers run on the playback thread (or the
// thread opening the stream). BuildWindowTables may also run on the host's
// thread with the same scale, rewriting the same values.
#pragma once

#include <cstdint>
#include <type_traits>

#include "decoder/dct_kernels.h"
#include "decoder/per_format.h"

namespace vexa {

constexpr int32_t kFullWindowEntries = 1024;

// A ring half holds 16 slots (one per block) of up to 17 rows. A slot's
// rows lie side by side, padded to 20, so that the windowing takes
// neighbouring rows at a time in one register (each lane summing its own
// row) and the DCT writes a slot in one run.
constexpr int32_t kRingRows = 20;
constexpr int32_t kRingHalfEntries = 16 * kRingRows;

template <class F>
using RingValue = std::conditional_t<F::kIsFixed, typename F::sample, double>;

// The M-point DCT of a block written straight into two ring slots:
// a[row step x row] = X[M/2 - row] for row 0..M/2, b[row step x row] =
// X[M/2 + row] for row 0..M/2 - 1.
template <class F>
using RingKernel = void (*)(const typename F::sample* block, RingValue<F>* a, RingValue<F>* b);

// Tables, rings and selections of one number format.
template <class F>
struct SynthesisFormat {
    using Format = F;
    using sample = typename F::sample;
    using constant = typename F::constant;
    // Entries 1..31: entry[n + k] = 0.5 / cos((2k + 1) pi / 4n) for n = 1, 2, 4, 8, 16.
    constant dct[32];
    // Rows of 32 entries (16 taps stored twice): full 32 rows, half 16, quarter 8.
    constant windowFull[kFullWindowEntries];
    constant windowHalf[kFullWindowEntries / 2];
    constant windowQuarter[kFullWindowEntries / 4];
    // The float formats keep their ring in double: the windowing multiplies
    // in double anyway, and a float converts to double exactly, so the ring
    // holds the same values converted once instead of at every read.
    using ringValue = RingValue<F>;
    // Aligned to 32 bytes, as are its halves. The runs the windowing reads
    // (20 values apart, from rows 0, 4, 8, 12 and 16) are aligned to 32
    // bytes in the float formats' doubles and to 16 in the fixed format's
    // integers: the windowing reads them with aligned loads where it can.
    alignas(32) ringValue ring[2][2][kRingHalfEntries];  // [channel][half][kRingRows * slot + row]
    // Chosen by ConfigureSynthesis for the quality.
    const constant* window;
    RingKernel<F> kernel;
    // The chosen window in the ring's value type (the float formats' as
    // exact double copies), forward and with each row of 32 reversed, so
    // that the mirrored taps of a row are read in the same order and at the
    // same offset as the forward ones; laid out as the ring, entry k of row
    // j at k * kRingRows + j (rows past M/2 zero).
    alignas(32) ringValue windowForward[32 * kRingRows];
    alignas(32) ringValue windowMirrored[32 * kRingRows];
};

// The windowing of the float formats and of the fixed format
// (synthesis_window.h): SSE2, or AVX / AVX2 where the processor has it;
// chosen by ConfigureSynthesis.
using WideWindowing = void (*)(const double* forwardTable, const double* mirroredTable, int32_t b, const double* ring,
                               int32_t subbands, int16_t* out);

using FixedWindowing = void (*)(const int32_t* forwardTable, const int32_t* mirroredTable, int32_t b,
                                const int32_t* ring, int32_t subbands, int16_t* out);

struct SynthesisState {
    PerFormat<SynthesisFormat> formats;
    int32_t ringOffset;  // 0..15, shared by both channels and all formats
    int32_t subbands;    // M = 32 >> quality
    // Indexed by (sample >> 3) + 4096: (v >> 5) + 128 for v = -4096..4095.
    uint8_t eightBit[8192];
    int32_t mixedBlock[32];  // the mixed engine's Q15 copy of a float block
    WideWindowing wideWindowing;
    FixedWindowing fixedWindowing;
};

extern SynthesisState g_synthesis;

template <class F>
SynthesisFormat<F>& SynthesisFor() {
    return g_synthesis.formats.get<F>();
}

// The M-point kernel of format F (M = 32, 16 or 8).
template <class F>
RingKernel<F> RingKernelFor(int32_t points);

// One block of one channel to PCM: channel -1 or 0 advances the ring offset
// and writes out[2j]; channel 1 writes out[2j + 1]. Channel 1 of a time slot
// must follow channel 0 of the same slot. The sub-band hook may change block.
template <class F>
void Synthesise(typename F::sample* block, int32_t channel, int16_t* out);

// Copies the chosen window of each format into its forward and mirrored
// tables; after every change of the window tables or the choice.
void RefreshWindowCopies();

void BuildEightBitTable();

// PCM bytes of one block: 128 >> quality, halved for 8-bit, halved for one channel.
int32_t ComputeBlockBytes(int32_t quality, bool eightBit, bool oneChannel);

inline uint8_t EightBitSample(int16_t sample) { return g_synthesis.eightBit[(sample >> 3) + 4096]; }

}  // namespace vexa
