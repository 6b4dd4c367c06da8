#include "library/src/BRAQLoopWalk.h"

#include <gtest/gtest.h>

#include <random>

namespace {

TEST(LoopWalk, GoesAsFarAtOnceAsFrameByFrame) {
    constexpr unsigned seed = 1;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const auto upTo = [&](SInt64 most) { return std::uniform_int_distribution<SInt64>(0, most)(random); };
    for (int round = 0; round < 100'000; ++round) {
        const bool backwards = upTo(1) == 1;
        const SInt64 first = 100 + upTo(20);
        const SInt64 length = upTo(6);
        BRAQLoopWalk atOnce{90 + upTo(50), first, first + length, static_cast<UInt64>(upTo(5)), false};
        BRAQLoopWalk slow = atOnce;
        const auto frames = static_cast<UInt64>(upTo(60));
        atOnce.advance(frames, backwards);
        for (UInt64 frame = 0; frame < frames; ++frame) {
            slow.advance(1, backwards);
        }
        ASSERT_EQ(atOnce.place, slow.place) << round;
        ASSERT_EQ(atOnce, slow) << round;
    }
}

} // namespace
