// An engine outside 0..3 selects no frame decoder by itself; the stream open
// plays such a stream with the single-precision engine instead of silence.
#include <gtest/gtest.h>

#include "support/decode_support.h"

namespace {

TEST(FrameDispatch, UnknownEnginesPlayAsTheSinglePrecisionOne) {
    const vexa::OfflineResult single = vexatest::DecodeIsoVector("l2-fl10", vexatest::Settings(0));
    ASSERT_FALSE(single.pcm.empty());
    for (int32_t engine : {7, -1})
        EXPECT_EQ(vexatest::DecodeIsoVector("l2-fl10", vexatest::Settings(engine)).pcm, single.pcm) << engine;
}

}  // namespace
