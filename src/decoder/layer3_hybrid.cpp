#include "decoder/layer3_hybrid.h"

namespace vexa {
namespace {

template <class F>
struct LongImdct {
    using value = Layer3Value<F>;
    using constant = typename F::constant;
    using Arith = Layer3Arith<F>;

    const value* previous;
    value* next;
    const constant* w;
    typename F::sample* output;
    const Layer3Format<F>& k;

    static value M(value x, constant c) { return Arith::mul(x, c); }

    // S(v; s0, s1): the sum goes to the next overlap, the difference, with
    // the previous overlap, to the output.
    void Step(int v, value s0, value s1) const {
        const value p = s0 + s1;
        next[9 + v] = M(p, w[27 + v]);
        next[8 - v] = M(p, w[26 - v]);
        const value d = s0 - s1;
        output[32 * (8 - v)] = Arith::raw(previous[8 - v] + M(d, w[8 - v]));
        output[32 * (9 + v)] = Arith::raw(previous[9 + v] + M(d, w[9 + v]));
    }
    // P(v, v'; a1, a2, b1, b2).
    void Pair(int v, int v2, value a1, value a2, value b1, value b2) const {
        Step(v, a1 + a2, M(b1 + b2, k.longScale[v]));
        Step(v2, a2 - a1, M(b2 - b1, k.longScale[v2]));
    }

    void Run(value* x) const {
        for (int i = 17; i >= 1; --i) x[i] += x[i - 1];
        for (int i = 17; i >= 3; i -= 2) x[i] += x[i - 2];
        const constant* c = k.cosine;
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
        Step(4, x[0] - x[4] + x[8] - x[12] + x[16], M(x[1] - x[5] + x[9] - x[13] + x[17], k.longScale[4]));
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
    const LongImdct<F> imdct{previous, next, window, output, Layer3For<F>()};
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

template <class F>
void Hybrid(const GranuleInfo& granule, Layer3Value<F>* spectrum, typename F::sample* output, int32_t channel) {
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
    const int32_t active = granule.activeSubbands > 32 ? 32 : granule.activeSubbands;
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
    for (; sb < 32; ++sb) {
        for (int k = 0; k < 18; ++k) {
            output[32 * k + sb] = Layer3Arith<F>::raw(previous[18 * sb + k]);
            next[18 * sb + k] = Layer3Value<F>{};
        }
    }
}

#define VEXA_LAYER3_HYBRID(F)                                                                                      \
    template void Imdct36<F>(Layer3Value<F>*, const Layer3Value<F>*, Layer3Value<F>*, const F::constant*,        \
                             F::sample*);                                                                          \
    template void Imdct12<F>(Layer3Value<F>*, const Layer3Value<F>*, Layer3Value<F>*, const F::constant*,        \
                             F::sample*);                                                                          \
    template void Hybrid<F>(const GranuleInfo&, Layer3Value<F>*, F::sample*, int32_t);
VEXA_LAYER3_HYBRID(SingleFormat)
VEXA_LAYER3_HYBRID(DoubleFormat)
VEXA_LAYER3_HYBRID(FixedFormat)
#undef VEXA_LAYER3_HYBRID

}  // namespace vexa
