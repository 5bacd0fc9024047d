#include "decoder/layer3_hybrid.h"

#include "decoder/layer3_hybrid_avx.h"
#include "decoder/layer3_imdct_lanes.h"
#include "decoder/layer3_imdct_long.h"

namespace vexa {
namespace {

// The arithmetic of one lane set: Scalar<F> is one sub-band in the format's
// own arithmetic; the vector lane sets (layer3_imdct_lanes.h) run the same
// operations on several sub-bands at once, lane by lane identical.
template <class F>
struct ScalarLanes {
    using value = Layer3Value<F>;
    using constant = typename F::constant;
    using sample = typename F::sample;
    static value mul(value x, constant c) { return Layer3Arith<F>::mul(x, c); }
    static void store(sample* out, value x) { *out = Layer3Arith<F>::raw(x); }
};

// One 12-point IMDCT (short window n, lines input[n + 3 j]) in the factored
// form, times the 12-value window: windowed[i] is the value at offset i of
// the window's 12 outputs.
template <class F>
void ShortWindow(const Layer3Value<F>* input, int n, const typename F::constant* w, const Layer3Format<F>& k,
                 Layer3Value<F>* windowed) {
    using value = Layer3Value<F>;
    using Arith = Layer3Arith<F>;
    value y0 = input[n], y1 = input[n + 3], y2 = input[n + 6], y3 = input[n + 9], y4 = input[n + 12],
          y5 = input[n + 15];
    // Part A: prefix sums, each with its neighbour's value from before.
    y5 += y4;
    y4 += y3;
    y3 += y2;
    y2 += y1;
    y1 += y0;
    y5 += y3;
    y3 += y1;
    y2 = Arith::mul(y2, k.shortC1);
    y3 = Arith::mul(y3, k.shortC1);
    const value e = y0 - y4;
    const value f = Arith::mul(y1 - y5, k.shortScale[1]);
    const value g0 = e + f;
    const value g1 = e - f;
    // Part B.
    y0 += Arith::mul(y4, k.shortC2);
    y4 = y0 + y2;
    y0 -= y2;
    y1 += Arith::mul(y5, k.shortC2);
    y5 = Arith::mul(y1 + y3, k.shortScale[0]);
    y1 = Arith::mul(y1 - y3, k.shortScale[2]);
    y3 = y4 + y5;
    y4 -= y5;
    y2 = y0 + y1;
    y0 -= y1;
    // Each value meets two window positions.
    const value byPosition[12] = {y0, g1, y4, y4, g1, y0, y2, g0, y3, y3, g0, y2};
    for (int i = 0; i < 12; ++i) windowed[i] = Arith::mul(byPosition[i], w[i]);
}

}  // namespace

template <class F>
void Imdct36(Layer3Value<F>* input, const Layer3Value<F>* previous, Layer3Value<F>* next,
             const typename F::constant* window, typename F::sample* output) {
    const Layer3Format<F>& k = Layer3For<F>();
    const LongImdct<ScalarLanes<F>> imdct{previous, next, window, output, k.cosine, k.longScale};
    imdct.Run(input);
}

// The three windows overlap in a 36-value block at offsets 6, 12 and 18,
// added in window order onto the previous overlap (the first 18 values) and
// onto zeros (the last 18): the first half is the output, the second the
// next overlap.
template <class F>
void Imdct12(Layer3Value<F>* input, const Layer3Value<F>* previous, Layer3Value<F>* next,
             const typename F::constant* w, typename F::sample* output) {
    using value = Layer3Value<F>;
    const Layer3Format<F>& k = Layer3For<F>();
    value block[36];
    for (int i = 0; i < 18; ++i) {
        block[i] = previous[i];
        block[18 + i] = value{};
    }
    for (int n = 0; n < 3; ++n) {
        value windowed[12];
        ShortWindow<F>(input, n, w, k, windowed);
        for (int i = 0; i < 12; ++i) block[6 + 6 * n + i] += windowed[i];
    }
    for (int i = 0; i < 18; ++i) {
        output[32 * i] = Layer3Arith<F>::raw(block[i]);
        next[i] = block[18 + i];
    }
}

#if defined(VEXA_HYBRID_AVX)
bool HybridHasAvx2() {
    static const bool has = __builtin_cpu_supports("avx2");
    return has;
}
#endif

namespace {

#if defined(VEXA_IMDCT_LANES)
// The long IMDCT of VectorLanes<F>::kCount neighbouring sub-bands, the first
// (even) one at spectrum, previous, next and output.
template <class F>
void LongImdctLanes(const typename VectorLanes<F>::constant* window, const typename VectorLanes<F>::constant* cosine,
                    const typename VectorLanes<F>::constant* longScale, const Layer3Value<F>* spectrum,
                    const Layer3Value<F>* previous, Layer3Value<F>* next, typename F::sample* output) {
    using Lanes = VectorLanes<F>;
    typename Lanes::value x[18], before[18], after[18];
    GatherSubbands<F>(spectrum, x);
    GatherSubbands<F>(previous, before);
    const LongImdct<Lanes> imdct{before, after, window, output, cosine, longScale};
    imdct.Run(x);
    ScatterSubbands<F>(next, after);
}

// Transforms the long sub-bands from sb up to end (both even) by lane
// groups as far as whole groups reach; returns the first sub-band left.
template <class F>
int32_t LongSubbandsByLanes(const Layer3Format<F>& format, int type, int32_t sb, int32_t end,
                            const Layer3Value<F>* spectrum, const Layer3Value<F>* previous, Layer3Value<F>* next,
                            typename F::sample* output) {
    using Lanes = VectorLanes<F>;
    if (sb + Lanes::kCount > end) return sb;
    typename Lanes::constant window[36], cosine[9], longScale[9];
    for (int i = 0; i < 36; ++i) window[i] = Lanes::alternate(format.window[type][i], format.windowOdd[type][i]);
    for (int k = 0; k < 9; ++k) {
        cosine[k] = Lanes::broadcast(format.cosine[k]);
        longScale[k] = Lanes::broadcast(format.longScale[k]);
    }
    for (; sb + Lanes::kCount <= end; sb += Lanes::kCount)
        LongImdctLanes<F>(window, cosine, longScale, spectrum + 18 * sb, previous + 18 * sb, next + 18 * sb,
                          output + sb);
    return sb;
}
#endif

template <class F, bool kLanes>
void HybridWith(const GranuleInfo& granule, Layer3Value<F>* spectrum, typename F::sample* output, int32_t channel,
                int32_t heardSubbands) {
    Layer3Format<F>& format = Layer3For<F>();
    const int32_t toggle = g_layer3.overlapToggle[channel];
    const Layer3Value<F>* previous = format.overlap[toggle][channel];
    Layer3Value<F>* next = format.overlap[1 - toggle][channel];
    g_layer3.overlapToggle[channel] = 1 - toggle;

    int32_t sb = 0;
    if (granule.mixed_block_flag) {
        Imdct36<F>(spectrum, previous, next, format.window[0], output);
        Imdct36<F>(spectrum + 18, previous + 18, next + 18, format.windowOdd[0], output + 1);
        sb = 2;
    }
    const int type = granule.block_type & 3;
    int32_t active = granule.activeSubbands > 32 ? 32 : granule.activeSubbands;
    if (active > heardSubbands) active = heardSubbands;
#if defined(VEXA_IMDCT_LANES)
    if constexpr (kLanes) {
        // The pairs below transform up to active rounded up to even.
        const int32_t end = (active + 1) & ~1;
#if defined(VEXA_HYBRID_AVX)
        if (type != 2 && active > sb && HybridHasAvx2()) {
            const LongImdctConstants<typename F::constant> constants{format.window[type], format.windowOdd[type],
                                                                     format.cosine, format.longScale};
            sb = LongSubbandsAvx2(constants, sb, end, spectrum, previous, next, output);
        }
#endif
        if (type != 2 && active > sb) sb = LongSubbandsByLanes<F>(format, type, sb, end, spectrum, previous, next, output);
    }
#endif
    for (; sb < active; sb += 2) {
        const int even = 18 * sb, odd = 18 * (sb + 1);
        if (type == 2) {
            Imdct12<F>(spectrum + even, previous + even, next + even, format.window[2], output + sb);
            Imdct12<F>(spectrum + odd, previous + odd, next + odd, format.windowOdd[2], output + sb + 1);
        } else {
            Imdct36<F>(spectrum + even, previous + even, next + even, format.window[type], output + sb);
            Imdct36<F>(spectrum + odd, previous + odd, next + odd, format.windowOdd[type], output + sb + 1);
        }
    }
    // Sub-bands past the heard ones keep whatever they hold: nothing reads them.
    const int32_t heard = heardSubbands < 32 ? heardSubbands : 32;
    for (; sb < heard; ++sb) {
        for (int k = 0; k < 18; ++k) {
            output[32 * k + sb] = Layer3Arith<F>::raw(previous[18 * sb + k]);
            next[18 * sb + k] = Layer3Value<F>{};
        }
    }
}

}  // namespace

template <class F>
void Hybrid(const GranuleInfo& granule, Layer3Value<F>* spectrum, typename F::sample* output, int32_t channel,
            int32_t heardSubbands) {
    HybridWith<F, true>(granule, spectrum, output, channel, heardSubbands);
}

template <class F>
void HybridPlain(const GranuleInfo& granule, Layer3Value<F>* spectrum, typename F::sample* output, int32_t channel,
                 int32_t heardSubbands) {
    HybridWith<F, false>(granule, spectrum, output, channel, heardSubbands);
}

#define VEXA_LAYER3_HYBRID(F)                                                                                      \
    template void Imdct36<F>(Layer3Value<F>*, const Layer3Value<F>*, Layer3Value<F>*, const F::constant*,        \
                             F::sample*);                                                                          \
    template void Imdct12<F>(Layer3Value<F>*, const Layer3Value<F>*, Layer3Value<F>*, const F::constant*,        \
                             F::sample*);                                                                          \
    template void Hybrid<F>(const GranuleInfo&, Layer3Value<F>*, F::sample*, int32_t, int32_t);                \
    template void HybridPlain<F>(const GranuleInfo&, Layer3Value<F>*, F::sample*, int32_t, int32_t);
VEXA_LAYER3_HYBRID(SingleFormat)
VEXA_LAYER3_HYBRID(DoubleFormat)
VEXA_LAYER3_HYBRID(FixedFormat)
#undef VEXA_LAYER3_HYBRID

}  // namespace vexa
