#include "decoder/layer3_alias.h"

#include "decoder/layer3_imdct_lanes.h"

namespace vexa {
namespace {

int32_t AliasBoundaries(const GranuleInfo& granule) {
    int32_t boundaries;
    if (granule.block_type == 2) boundaries = granule.mixed_block_flag ? 1 : 0;
    else boundaries = granule.activeSubbands - 1;
    return boundaries > 31 ? 31 : boundaries;
}

template <class F>
void ReduceAliasesWith(const GranuleInfo& granule, Layer3Value<F>* x, bool lanes) {
    using value = Layer3Value<F>;
    using Arith = Layer3Arith<F>;
    const int32_t boundaries = AliasBoundaries(granule);
    const Layer3Format<F>& format = Layer3For<F>();
    for (int32_t k = 0; k < boundaries; ++k) {
        value* upper = x + 18 * k + 17;  // counts down
        value* lower = x + 18 * (k + 1);
        int i = 0;
#if defined(VEXA_IMDCT_LANES)
        // The eight butterflies of a boundary are independent: lanes take
        // several at once, each with its own coefficients.
        using Lanes = VectorLanes<F>;
        for (; lanes && i < 8; i += Lanes::kCount) {
            const auto a = Lanes::gather(upper - i, -1);
            const auto b = Lanes::gather(lower + i, 1);
            const auto cs = Lanes::constants(format.aliasCs + i);
            const auto ca = Lanes::constants(format.aliasCa + i);
            Lanes::scatter(upper - i, -1, Lanes::mul(a, cs) - Lanes::mul(b, ca));
            Lanes::scatter(lower + i, 1, Lanes::mul(b, cs) + Lanes::mul(a, ca));
        }
#else
        (void)lanes;
#endif
        for (; i < 8; ++i) {
            const value a = upper[-i];
            const value b = lower[i];
            upper[-i] = Arith::mul(a, format.aliasCs[i]) - Arith::mul(b, format.aliasCa[i]);
            lower[i] = Arith::mul(b, format.aliasCs[i]) + Arith::mul(a, format.aliasCa[i]);
        }
    }
}

}  // namespace

template <class F>
void ReduceAliases(const GranuleInfo& granule, Layer3Value<F>* x) {
    ReduceAliasesWith<F>(granule, x, true);
}

template <class F>
void ReduceAliasesPlain(const GranuleInfo& granule, Layer3Value<F>* x) {
    ReduceAliasesWith<F>(granule, x, false);
}

#define VEXA_LAYER3_ALIAS(F)                                                     \
    template void ReduceAliases<F>(const GranuleInfo&, Layer3Value<F>*);      \
    template void ReduceAliasesPlain<F>(const GranuleInfo&, Layer3Value<F>*);
VEXA_LAYER3_ALIAS(SingleFormat)
VEXA_LAYER3_ALIAS(DoubleFormat)
VEXA_LAYER3_ALIAS(FixedFormat)
#undef VEXA_LAYER3_ALIAS

}  // namespace vexa
