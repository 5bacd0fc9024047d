// One instance of a per-format record for each number format, reached by the
// format's policy type, so that a template over the policy finds its own
// tables without a branch.
#pragma once

#include <tuple>

#include "decoder/number_format.h"

namespace vexa {

template <template <class> class Record>
struct PerFormat {
    std::tuple<Record<SingleFormat>, Record<DoubleFormat>, Record<FixedFormat>> records;

    template <class F>
    Record<F>& get() {
        return std::get<Record<F>>(records);
    }
    template <class F>
    const Record<F>& get() const {
        return std::get<Record<F>>(records);
    }
    // Calls visit(record) for the single, double and fixed record in turn.
    template <class Visit>
    void forEach(Visit&& visit) {
        std::apply([&](auto&... record) { (visit(record), ...); }, records);
    }
};

}  // namespace vexa
