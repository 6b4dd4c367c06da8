#include "platform/samples/resampling/RatePlanner.h"

#include "tests/platform/samples/resampling/Tones.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using namespace braq;

using braq::tests::frameRate;
constexpr UInt32 blocksPerHour = 3600 * 48000 / blockFrames;

double placeOf(FramePosition position) { return static_cast<double>(position.frame) + framesOf(position.fraction); }

TEST(UnitsResampling_RatePlanner, KeepsToASteadyRatioToTheFrameForAnHour) {
    for (const double ratio : {44100.0 / 48000, 48000.0 / 44100, 1 / 3.0, 31.9, 200.1}) {
        RatePlanner planner(256, frameRate);
        planner.begin({}, ratio);
        FramePosition end;
        for (UInt32 i = 0; i < blocksPerHour; ++i) {
            end = planner.next(ratio).end();
        }
        const double expected = ratio * blockFrames * blocksPerHour;
        EXPECT_NEAR(placeOf(end), expected, 1e-4) << ratio;
    }
}

TEST(UnitsResampling_RatePlanner, JoinsBlocksWithoutAGap) {
    RatePlanner planner(64, frameRate);
    planner.begin({}, 0.5);
    RateBlock last = planner.next(0.5);
    for (int i = 0; i < 5000; ++i) {
        const RateBlock block = planner.next(std::exp2(1.5 + 4 * std::sin(i * 0.01)));
        ASSERT_EQ(block.start.frame, last.end().frame);
        ASSERT_EQ(block.start.fraction, last.end().fraction);
        ASSERT_NEAR(framesOf(block.firstRatio), framesOf(last.lastRatio), 1e-6) << i;
        last = block;
    }
}

TEST(UnitsResampling_RatePlanner, NeverAsksARouteForARatioThatItIsNotFor) {
    RatePlanner planner(256, frameRate);
    planner.begin({}, 1);
    UInt32 random = 1;
    double wish = 1;
    for (int i = 0; i < 200000; ++i) {
        random = random * 1664525 + 1013904223;
        if (i % 37 == 0) {
            wish = random % 5 == 0 ? 1 : std::exp2((random >> 16) % 1000 * 0.013 - 5);
        }
        const RateBlock block = planner.next(wish);
        for (const Route route : {block.route, block.fadeStep > 0 ? block.fadingRoute : block.route}) {
            ASSERT_LE(block.firstRatio, largestRatioOf(route)) << i;
            ASSERT_LE(block.lastRatio, largestRatioOf(route)) << i;
            ASSERT_GT(block.firstRatio, 0) << i;
            ASSERT_GT(block.lastRatio, 0) << i;
            if (route == untouched) {
                ASSERT_EQ(block.firstRatio, oneFrame) << i;
                ASSERT_EQ(block.lastRatio, oneFrame) << i;
                ASSERT_TRUE(block.start.isWhole()) << i;
            }
        }
    }
}

TEST(UnitsResampling_RatePlanner, StopsAtEachOctaveFromOneUpOnItsWay) {
    for (const double rate : {48000.0, 2000.0}) {
        RatePlanner planner(256, rate);
        planner.begin({}, 1);
        UInt32 random = 1;
        double wish = 1;
        for (int i = 0; i < 100000; ++i) {
            random = random * 1664525 + 1013904223;
            wish = i % 37 == 0 ? std::exp2((random >> 16) % 1000 * 0.013 - 5) : wish;
            const RateBlock block = planner.next(wish);
            for (FixedFrames octave = oneFrame; octave <= 256 * oneFrame; octave *= 2) {
                ASSERT_FALSE(block.firstRatio < octave && octave < block.lastRatio) << i;
                ASSERT_FALSE(block.firstRatio > octave && octave > block.lastRatio) << i;
            }
        }
    }
}

TEST(UnitsResampling_RatePlanner, KeepsAllOfTheSoundAtSteadyRatios) {
    // Level k keeps all of it where the ratio is at least 2^k; a change of route takes a while.
    for (const double ratio : {0.4, 0.99, 1.01, 1.99, 2.0, 2.01, 7.0, 40.0}) {
        for (const double before : {0.3, 1.0, 100.0}) {
            RatePlanner planner(256, frameRate);
            planner.begin({}, before);
            RateBlock block;
            for (int i = 0; i < 200; ++i) {
                block = planner.next(ratio);
            }
            EXPECT_EQ(block.fadeStep, 0U);
            EXPECT_LE(block.route <= 0 ? 0 : std::exp2(block.route), ratio) << before << " to " << ratio;
        }
    }
}

TEST(UnitsResampling_RatePlanner, ReturnsToUntouchedFramesFromAnywhere) {
    for (const double before : {1.0 / 32, 0.3, 0.9999, 1.000001, 1.7, 3.3, 32.0, 256.0}) {
        RatePlanner planner(256, frameRate);
        planner.begin({}, before);
        for (int i = 0; i < 100; ++i) {
            planner.next(before);
        }
        UInt32 blocks = 0;
        for (RateBlock block = planner.next(1); block.route != untouched || block.fadeStep > 0;
             block = planner.next(1)) {
            ASSERT_LT(++blocks * blockFrames, frameRate * 0.012 * (9 + std::fabs(std::log2(before)))) << before;
        }
    }
}

TEST(UnitsResampling_RatePlanner, BendsTheRatioByLessThanAPercentToLand) {
    RatePlanner planner(2, frameRate);
    for (const double before : {0.731, 1.377}) {
        planner.begin({}, before);
        planner.next(before);
        for (int i = 0; i < 100; ++i) {
            const RateBlock block = planner.next(1);
            if (i > 20) {
                ASSERT_NEAR(framesOf(block.firstRatio), 1, 0.01) << i;
            }
        }
    }
}

} // namespace
