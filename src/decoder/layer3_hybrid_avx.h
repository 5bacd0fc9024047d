// The long IMDCT with 256-bit registers, chosen at run time on x86_64
// processors with AVX2: neighbouring sub-bands in lanes (eight for the
// single and fixed formats, four for the double format), each lane running
// exactly the operations of the scalar transform, so the results are the
// same to the bit. Like the windowing, the Windows builds keep SSE2 (the
// Windows x64 ABI does not promise the stack alignment of 256-bit values).
//
// Threads: the playback thread.
#pragma once

#include <cstdint>

#include "decoder/layer3_arith.h"

#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(_WIN32)
#define VEXA_HYBRID_AVX 1

namespace vexa {

// The constants of the long transform of one block type: the window of even
// and of odd sub-bands (36 each), the cosines and scales (9 each).
template <class C>
struct LongImdctConstants {
    const C* window;
    const C* windowOdd;
    const C* cosine;
    const C* longScale;
};

bool HybridHasAvx2();

// Transforms the long sub-bands from sb (even) by whole lane groups as far
// as they reach below end, at spectrum, previous, next (18 values per
// sub-band) and output (sample k of sub-band sb at output[32 k + sb]);
// returns the first sub-band left.
int32_t LongSubbandsAvx2(const LongImdctConstants<float>& constants, int32_t sb, int32_t end, const float* spectrum,
                         const float* previous, float* next, float* output);
int32_t LongSubbandsAvx2(const LongImdctConstants<double>& constants, int32_t sb, int32_t end, const double* spectrum,
                         const double* previous, double* next, double* output);
int32_t LongSubbandsAvx2(const LongImdctConstants<int32_t>& constants, int32_t sb, int32_t end,
                         const Wrapping32* spectrum, const Wrapping32* previous, Wrapping32* next, int32_t* output);

}  // namespace vexa
#endif
