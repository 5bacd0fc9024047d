#include "decoder/layer3_alias.h"

namespace vexa {

template <class F>
void ReduceAliases(const GranuleInfo& granule, Layer3Value<F>* x) {
    using value = Layer3Value<F>;
    using Arith = Layer3Arith<F>;
    int32_t boundaries;
    if (granule.block_type == 2) boundaries = granule.mixed_block_flag ? 1 : 0;
    else boundaries = granule.activeSubbands - 1;
    if (boundaries > 31) boundaries = 31;
    const Layer3Format<F>& format = Layer3For<F>();
    for (int32_t k = 0; k < boundaries; ++k) {
        value* upper = x + 18 * k + 17;  // counts down
        value* lower = x + 18 * (k + 1);
        for (int i = 0; i < 8; ++i) {
            const value a = upper[-i];
            const value b = lower[i];
            upper[-i] = Arith::mul(a, format.aliasCs[i]) - Arith::mul(b, format.aliasCa[i]);
            lower[i] = Arith::mul(b, format.aliasCs[i]) + Arith::mul(a, format.aliasCa[i]);
        }
    }
}

template void ReduceAliases<SingleFormat>(const GranuleInfo&, Layer3Value<SingleFormat>*);
template void ReduceAliases<DoubleFormat>(const GranuleInfo&, Layer3Value<DoubleFormat>*);
template void ReduceAliases<FixedFormat>(const GranuleInfo&, Layer3Value<FixedFormat>*);

}  // namespace vexa
