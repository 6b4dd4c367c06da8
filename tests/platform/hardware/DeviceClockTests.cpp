#include "platform/hardware/DeviceClock.h"

#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <thread>

namespace {

using braq::ClockView;
using braq::DeviceClock;
using braq::DeviceCycle;

constexpr UInt64 start = 1'000'000'000'000;

DeviceCycle cycleAt(Float64 sampleTime, UInt64 hostTime, Float64 rate = 48000.0, UInt32 frames = 480) {
    DeviceCycle cycle{};
    cycle.frames = frames;
    cycle.sampleTime = sampleTime;
    cycle.hostTime = hostTime;
    cycle.nominalRate = rate;
    cycle.rateScalar = 1.0;
    return cycle;
}

TEST(DeviceClock, KnowsNothingBeforeTheFirstCycleAndAfterAReset) {
    DeviceClock clock;
    EXPECT_FALSE(clock.view());
    clock.publish(cycleAt(0, start));
    EXPECT_TRUE(clock.view());
    clock.reset();
    EXPECT_FALSE(clock.view());
}

TEST(DeviceClock, ConvertsByTheRate) {
    DeviceClock clock;
    clock.publish(cycleAt(480, start));
    const ClockView view = *clock.view();
    EXPECT_EQ(view.hostTimeAt(480), start);
    EXPECT_EQ(view.hostTimeAt(960), start + 10'000'000);
    EXPECT_EQ(view.hostTimeAt(0), start - 10'000'000);
    EXPECT_DOUBLE_EQ(view.sampleTimeAt(start), 480.0);
    EXPECT_DOUBLE_EQ(view.sampleTimeAt(start + 10'000'000), 960.0);
    EXPECT_DOUBLE_EQ(view.sampleTimeAt(start - 5'000'000), 240.0);
}

TEST(DeviceClock, TakesTheMeasuredRateScalarIntoAccount) {
    DeviceClock clock;
    auto cycle = cycleAt(0, start);
    cycle.rateScalar = 1.001; // the device is slow: a frame takes longer
    clock.publish(cycle);
    EXPECT_EQ(clock.view()->hostTimeAt(48000), start + 1'001'000'000);
    EXPECT_EQ(clock.view()->now.rateScalar, 1.001);
}

TEST(DeviceClock, ConvertsThereAndBackToANanosecond) {
    DeviceClock clock;
    for (UInt64 i = 0; i < 100; ++i) {
        clock.publish(cycleAt(static_cast<Float64>(i) * 441.0, start + i * 10'000'000 + i % 7 * 1000, 44100.0, 441));
        const ClockView view = *clock.view();
        for (UInt64 host = start + i * 10'000'000 - 20'000'000; host < start + i * 10'000'000 + 20'000'000;
             host += 777'777) {
            const UInt64 back = view.hostTimeAt(view.sampleTimeAt(host));
            EXPECT_LE(back > host ? back - host : host - back, 1U);
        }
    }
}

TEST(DeviceClock, StaysInOrderHoweverUnevenlyCyclesAreMeasured) {
    DeviceClock clock;
    UInt32 random = 1;
    Float64 lastSample = -1e9;
    UInt64 lastHost = 0;
    for (int i = 0; i < 2000; ++i) {
        random = random * 1664525 + 1013904223;
        const auto jitter = static_cast<SInt64>(random >> 12) % 2'000'000 - 1'000'000; // up to 1 ms of 10 ms
        const UInt64 nominal = start + static_cast<UInt64>(i) * 10'000'000;
        clock.publish(cycleAt(i * 480.0, static_cast<UInt64>(static_cast<SInt64>(nominal) + jitter)));
        const ClockView view = *clock.view();
        for (UInt64 part = 0; part < 10; ++part) {
            const UInt64 host = nominal + part * 1'000'000;
            const Float64 sample = view.sampleTimeAt(host);
            ASSERT_GT(sample, lastSample) << "cycle " << i;
            lastSample = sample;
            const UInt64 hostOfSample = view.hostTimeAt(i * 480.0 + static_cast<Float64>(part) * 48.0);
            ASSERT_GT(hostOfSample, lastHost) << "cycle " << i;
            lastHost = hostOfSample;
        }
        ASSERT_NEAR(view.sampleTimeAt(nominal), i * 480.0, 200.0) << "and stays by what is measured";
    }
}

TEST(DeviceClock, BeginsAnewAfterAHoldUp) {
    DeviceClock clock;
    clock.publish(cycleAt(0, start));
    clock.publish(cycleAt(480, start + 500'000'000));
    EXPECT_EQ(clock.view()->hostTimeAt(480), start + 500'000'000);
    EXPECT_EQ(clock.view()->hostTimeAt(960), start + 510'000'000);
    clock.publish(cycleAt(0, start + 510'000'000));
    EXPECT_EQ(clock.view()->hostTimeAt(0), start + 510'000'000) << "and when samples are counted from 0 again";
}

TEST(DeviceClock, FollowsAChangedRateWithoutAStep) {
    DeviceClock clock;
    clock.publish(cycleAt(0, start));
    clock.publish(cycleAt(480, start + 10'000'000, 96000.0));
    const ClockView view = *clock.view();
    EXPECT_EQ(view.hostTimeAt(960), start + 15'000'000);
    EXPECT_EQ(view.hostTimeAt(240), start + 5'000'000) << "what lies before goes by the old rate";
}

TEST(DeviceClock, NeverShowsHalfOfAMeasurement) {
    DeviceClock clock;
    std::atomic<int> viewsToCome{20'000};
    std::thread ioThread([&] {
        // Sample time and host time belong together exactly; a view of one without the other is off by far.
        for (UInt64 i = 0; viewsToCome > 0; ++i) {
            clock.publish(cycleAt(static_cast<Float64>(i) * 480.0, start + i * 10'000'000));
        }
    });
    int wrong = 0;
    while (viewsToCome > 0) {
        if (const auto view = clock.view()) {
            --viewsToCome;
            const Float64 host = static_cast<Float64>(view->now.hostTime - start) + view->now.hostFraction;
            wrong += std::abs(view->now.sampleTime / 48000.0 * 1e9 - host) < 1.0 ? 0 : 1;
        }
    }
    ioThread.join();
    EXPECT_EQ(wrong, 0);
}

TEST(DeviceClock, PublishingKeepsTheRealtimeRules) {
    DeviceClock clock;
    braq::tests::runRealtime([&] {
        for (UInt64 i = 0; i < 100; ++i) {
            clock.publish(cycleAt(static_cast<Float64>(i) * 480.0, start + i * 10'000'001));
        }
    });
    EXPECT_TRUE(clock.view());
}

} // namespace
