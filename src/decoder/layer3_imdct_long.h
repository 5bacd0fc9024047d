// The factored 36-point IMDCT of the long blocks, over a lane set: Lanes
// says what a value is (one sub-band's in the format's own arithmetic, or
// several neighbouring sub-bands' in vector lanes) and how values are
// multiplied and stored; the operations and their order are the same for
// every lane set, so every lane set gives the scalar results to the bit.
//
// Lanes provides value, constant, sample, mul(value, constant) and
// store(sample* out, value), where out is a row of 32 sub-band outputs.
#pragma once

namespace vexa {

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

}  // namespace vexa
