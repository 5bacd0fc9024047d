// An engine outside 0..3 selects no frame decoder by itself; the stream open
// plays such a stream with the single-precision engine instead of silence.
#include <gtest/gtest.h>

#include "support/decode_support.h"

namespace {

TEST(FrameDispatch, UnknownEnginesPlayAsTheSinglePrecisionOne) {
    vexa::OfflineSettings settings;
    const vexa::OfflineResult single = vexatest::DecodeIsoVector("l2-fl10", settings);
    for (int32_t engine : {7, -1}) {
        settings.engineKind = engine;
        const vexa::OfflineResult result = vexatest::DecodeIsoVector("l2-fl10", settings);
        EXPECT_EQ(result.status, 1);
        EXPECT_FALSE(result.pcm.empty());
        EXPECT_EQ(result.pcm, single.pcm) << engine;
    }
}

}  // namespace
