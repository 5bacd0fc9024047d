#include "decoder/layer3_hybrid.h"

#include "decoder/layer3_imdct_lanes.h"

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

template <class Lanes>
struct LongImdct {
    using value = typename Lanes::value;
    using constant = typename Lanes::constant;

    const value* previous;
    value* next;
    const constant* w;
    typename Lanes::sample* output;
    const constant* cosine;     // c_k, k = 1..8
    const constant* longScale;  // t_k, k = 0..8

    static value M(value x, constant c) { return Lanes::mul(x, c); }

    // S(v; s0, s1): the sum goes to the next overlap, the difference, with
    // the previous overlap, to the output.
    void Step(int v, value s0, value s1) const {
        const value p = s0 + s1;
        next[9 + v] = M(p, w[27 + v]);
        next[8 - v] = M(p, w[26 - v]);
        const value d = s0 - s1;
        Lanes::store(output + 32 * (8 - v), previous[8 - v] + M(d, w[8 - v]));
        Lanes::store(output + 32 * (9 + v), previous[9 + v] + M(d, w[9 + v]));
    }
    // P(v, v'; a1, a2, b1, b2).
    void Pair(int v, int v2, value a1, value a2, value b1, value b2) const {
        Step(v, a1 + a2, M(b1 + b2, longScale[v]));
        Step(v2, a2 - a1, M(b2 - b1, longScale[v2]));
    }

    void Run(value* x) const {
        for (int i = 17; i >= 1; --i) x[i] += x[i - 1];
        for (int i = 17; i >= 3; i -= 2) x[i] += x[i - 2];
        const constant* c = cosine;
        const value ta33 = M(x[6], c[3]), ta66 = M(x[12], c[6]);
        const value tb33 = M(x[7], c[3]), tb66 = M(x[13], c[6]);
        Pair(0, 8, M(x[2], c[1]) + ta33 + M(x[10], c[5]) + M(x[14], c[7]),
             x[0] + M(x[4], c[2]) + M(x[8], c[4]) + ta66 + M(x[16], c[8]),
             M(x[3], c[1]) + tb33 + M(x[11], c[5]) + M(x[15], c[7]),
             x[1] + M(x[5], c[2]) + M(x[9], c[4]) + tb66 + M(x[17], c[8]));
        Pair(1, 7, M(x[2] - x[10] - x[14], c[3]), M(x[4] - x[8] - x[16], c[6]) - x[12] + x[0],
             M(x[3] - x[11] - x[15], c[3]), M(x[5] - x[9] - x[17], c[6]) - x[13] + x[1]);
        Pair(2, 6, M(x[2], c[5]) - ta33 - M(x[10], c[7]) + M(x[14], c[1]),
             x[0] - M(x[4], c[8]) - M(x[8], c[2]) + ta66 + M(x[16], c[4]),
             M(x[3], c[5]) - tb33 - M(x[11], c[7]) + M(x[15], c[1]),
             x[1] - M(x[5], c[8]) - M(x[9], c[2]) + tb66 + M(x[17], c[4]));
        Pair(3, 5, M(x[2], c[7]) - ta33 + M(x[10], c[1]) - M(x[14], c[5]),
             x[0] - M(x[4], c[4]) + M(x[8], c[8]) + ta66 - M(x[16], c[2]),
             M(x[3], c[7]) - tb33 + M(x[11], c[1]) - M(x[15], c[5]),
             x[1] - M(x[5], c[4]) + M(x[9], c[8]) + tb66 - M(x[17], c[2]));
        Step(4, x[0] - x[4] + x[8] - x[12] + x[16], M(x[1] - x[5] + x[9] - x[13] + x[17], longScale[4]));
    }
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
    for (int i = 0; i < 18; ++i) {
        x[i] = Lanes::gather(spectrum + i, 18);
        before[i] = Lanes::gather(previous + i, 18);
    }
    const LongImdct<Lanes> imdct{before, after, window, output, cosine, longScale};
    imdct.Run(x);
    for (int i = 0; i < 18; ++i) Lanes::scatter(next + i, 18, after[i]);
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
        if (type != 2 && active > sb)
            sb = LongSubbandsByLanes<F>(format, type, sb, (active + 1) & ~1, spectrum, previous, next, output);
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
