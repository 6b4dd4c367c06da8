#include "platform/hardware/drivers/pipewire/GraphTime.h"

#include <gtest/gtest.h>
#include <spa/node/io.h>

using namespace braq;
using namespace braq::pipewire;

namespace {

constexpr UInt64 kMillisecond = 1'000'000;

/// The clock of a graph with cycles of 48 frames, a millisecond.
spa_io_clock clockAt(UInt64 cycle) {
    spa_io_clock clock{};
    clock.id = 7;
    clock.nsec = 5'000'000'000 + cycle * kMillisecond;
    clock.rate = {1, 48000};
    clock.position = 1000 + cycle * 48;
    clock.duration = 48;
    clock.next_nsec = clock.nsec + kMillisecond;
    return clock;
}

} // namespace

TEST(PipeWire_GraphTime, KnowsOfNothingLostWhileCyclesFollowEachOther) {
    GraphTime time;
    for (UInt64 cycle = 0; cycle < 3; ++cycle) {
        const auto begun = time.begin(clockAt(cycle));
        EXPECT_EQ(begun.hostTime, clockAt(cycle).nsec);
        EXPECT_EQ(begun.passedOverFrames, 0U);
        EXPECT_EQ(begun.lateFrames, 0U);
        time.finish(clockAt(cycle).next_nsec);
    }
}

TEST(PipeWire_GraphTime, CountsWhatThePositionOfTheGraphJumpsBy) {
    GraphTime time;
    time.begin(clockAt(0));
    EXPECT_EQ(time.begin(clockAt(6)).passedOverFrames, 5U * 48U);
    EXPECT_EQ(time.begin(clockAt(7)).passedOverFrames, 0U) << "once";
}

TEST(PipeWire_GraphTime, GoesByTheLengthOfTheCycleBefore) {
    GraphTime time;
    spa_io_clock clock = clockAt(0);
    clock.duration = 96;
    time.begin(clock);
    EXPECT_EQ(time.begin(clockAt(2)).passedOverFrames, 0U);
}

TEST(PipeWire_GraphTime, CountsACycleThatIsReadyAfterTheNextHasBegun) {
    GraphTime time;
    time.begin(clockAt(0));
    time.finish(clockAt(0).next_nsec + 1);
    const auto next = time.begin(clockAt(1));
    EXPECT_EQ(next.lateFrames, 48U);
    EXPECT_EQ(next.passedOverFrames, 0U);
    EXPECT_EQ(time.begin(clockAt(2)).lateFrames, 0U) << "once";
}

TEST(PipeWire_GraphTime, TakesNoCycleForLateWhenTheGraphDoesNotSayWhenTheNextBegins) {
    GraphTime time;
    spa_io_clock clock = clockAt(0);
    clock.next_nsec = 0;
    time.begin(clock);
    time.finish(clock.nsec + 100 * kMillisecond);
    EXPECT_EQ(time.begin(clockAt(1)).lateFrames, 0U);
}

TEST(PipeWire_GraphTime, CountsNothingOverAnInterruption) {
    GraphTime time;
    time.begin(clockAt(0));
    time.interrupt();
    EXPECT_EQ(time.begin(clockAt(9)).passedOverFrames, 0U);
    EXPECT_EQ(time.begin(clockAt(11)).passedOverFrames, 48U) << "afterwards it counts again";
}

TEST(PipeWire_GraphTime, CountsNothingWhenAnotherClockDrivesTheGraph) {
    GraphTime time;
    time.begin(clockAt(0));
    spa_io_clock other = clockAt(1);
    other.id = 8;
    other.position = 1'000'000;
    EXPECT_EQ(time.begin(other).passedOverFrames, 0U);
    spa_io_clock otherRate = clockAt(2);
    otherRate.id = 8;
    otherRate.rate.denom = 44100;
    otherRate.position = 2'000'000;
    EXPECT_EQ(time.begin(otherRate).passedOverFrames, 0U);
}

TEST(PipeWire_GraphTime, CountsNothingWhenThePositionIsSetAnewAndNoTimeHasPassed) {
    GraphTime time;
    time.begin(clockAt(0));
    spa_io_clock clock = clockAt(1);
    clock.position += 48'000;
    EXPECT_EQ(time.begin(clock).passedOverFrames, 0U);
    clock = clockAt(2);
    clock.position = 0;
    EXPECT_EQ(time.begin(clock).passedOverFrames, 0U) << "nor when it goes back";
}

TEST(PipeWire_GraphTime, GoesOnWhileTheClockStandsStill) {
    GraphTime time;
    time.begin(clockAt(1));
    spa_io_clock before = clockAt(0);
    EXPECT_EQ(time.begin(before).hostTime, clockAt(2).nsec);
    EXPECT_EQ(time.begin(before).hostTime, clockAt(3).nsec);
    time.finish(clockAt(9).nsec);
    const auto next = time.begin(clockAt(9));
    EXPECT_EQ(next.hostTime, clockAt(9).nsec);
    EXPECT_EQ(next.passedOverFrames, 0U);
    EXPECT_EQ(next.lateFrames, 0U) << "a clock that stands still has no deadline";
}
