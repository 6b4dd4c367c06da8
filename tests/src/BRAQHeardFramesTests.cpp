#include "library/src/BRAQHeardFrames.h"

#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

constexpr Float64 pace = 48e3 / 1e9; // frames in a nanosecond
constexpr UInt64 cycle = 480;        // 10 ms
constexpr Float64 cycleTime = 10e6;

BRAQHeardRun run(Float64 hostTime, SInt64 frame, UInt64 frames = cycle) {
    return {.hostTime = hostTime, .framesPerNanosecond = pace, .frames = frames, .from = {.walk = {.place = frame}}};
}

SInt64 frameAt(const BRAQHeardFrames& heard, Float64 time) {
    const auto found = heard.at(time);
    return found ? found->frameAt(time) : -1;
}

TEST(HeardFrames, AreNoneBeforeTheFirst) {
    BRAQHeardFrames heard;
    EXPECT_FALSE(heard.at(1e9).has_value());
    heard.add(run(1e9, 100));
    heard.clear();
    EXPECT_FALSE(heard.at(1e9).has_value());
}

TEST(HeardFrames, PassOneByOne) {
    BRAQHeardFrames heard;
    heard.add(run(1e9, 100));
    EXPECT_EQ(frameAt(heard, 0.9e9), 100) << "before the first";
    EXPECT_EQ(frameAt(heard, 1e9), 100);
    EXPECT_EQ(frameAt(heard, 1e9 + 10.5 / pace), 110);
    EXPECT_EQ(frameAt(heard, 1e9 + cycleTime), 580);
    EXPECT_EQ(frameAt(heard, 2e9), 580) << "after the last";
}

TEST(HeardFrames, CountDownBackwards) {
    BRAQHeardFrames heard;
    BRAQHeardRun back = run(1e9, 1000);
    back.from.isBackwards = true;
    heard.add(back);
    EXPECT_EQ(frameAt(heard, 1e9), 1000);
    EXPECT_EQ(frameAt(heard, 1e9 + 10.5 / pace), 990);
    EXPECT_EQ(frameAt(heard, 2e9), 520);
}

TEST(HeardFrames, GoBackAtTheSeamOfALoop) {
    BRAQHeardFrames heard;
    BRAQHeardRun loop = run(1e9, 190);
    loop.from.walk = {.place = 190, .first = 100, .end = 200, .returns = 1, .isInside = true};
    heard.add(loop);
    EXPECT_EQ(frameAt(heard, 1e9 + 9.5 / pace), 199);
    EXPECT_EQ(frameAt(heard, 1e9 + 10.5 / pace), 100);
    EXPECT_EQ(frameAt(heard, 1e9 + 109.5 / pace), 199);
    EXPECT_EQ(frameAt(heard, 1e9 + 110.5 / pace), 200) << "the last round";
}

// At an old place until the new one is heard.
TEST(HeardFrames, StayWhereTheyAreUntilASeekIsHeard) {
    BRAQHeardFrames heard;
    heard.add(run(1e9, 0));
    heard.add(run(1e9 + cycleTime, 90'000));
    EXPECT_EQ(frameAt(heard, 1e9 + cycleTime - 0.5 / pace), 479);
    EXPECT_EQ(frameAt(heard, 1e9 + cycleTime + 0.5 / pace), 90'000);
}

TEST(HeardFrames, StandStillWhileNothingIsThere) {
    BRAQHeardFrames heard;
    heard.add(run(1e9, 0));
    heard.add(run(1e9 + 5 * cycleTime, 480));
    EXPECT_EQ(frameAt(heard, 1e9 + 3 * cycleTime), 480);
    EXPECT_EQ(frameAt(heard, 1e9 + 5 * cycleTime + 20.5 / pace), 500);
}

TEST(HeardFrames, FollowTheSpeedOfTheirTime) {
    BRAQHeardFrames heard;
    heard.add(run(1e9, 0));
    BRAQHeardRun fast = run(1e9 + cycleTime, 480, 2 * cycle);
    fast.framesPerNanosecond = 2 * pace;
    heard.add(fast);
    EXPECT_EQ(frameAt(heard, 1e9 + 100.5 / pace), 100);
    EXPECT_EQ(frameAt(heard, 1e9 + cycleTime + 100.25 / pace), 680);
}

// The shortest cycles of a device, whose times are not quite even.
TEST(HeardFrames, AreKnownForTwoSecondsHoweverShortTheCyclesAre) {
    constexpr UInt64 frames = 16;
    constexpr UInt64 cycles = 48'000 * 3 / frames;
    BRAQHeardFrames heard;
    const auto timeOf = [](UInt64 index) {
        return 1e9 + static_cast<Float64>(index * frames) / pace + (index % 2 == 0 ? 5000.0 : -5000.0);
    };
    for (UInt64 index = 0; index < cycles; ++index) {
        heard.add(run(timeOf(index), static_cast<SInt64>(index * frames), frames));
    }
    const Float64 now = timeOf(cycles);
    for (int look = 1; look < 260; ++look) {
        const Float64 ago = 7.7e6 * look;
        EXPECT_NEAR(static_cast<Float64>(frameAt(heard, now - ago)), static_cast<Float64>(cycles * frames) - ago * pace,
                    2.0)
            << ago;
    }
    EXPECT_GT(frameAt(heard, 1e9), 0) << "what is older is the oldest that is known";
}

TEST(HeardFrames, AreAddedOnARealtimeThread) {
    BRAQHeardFrames heard;
    braq::tests::runRealtime([&] {
        for (SInt64 index = 0; index < 1000; ++index) {
            heard.add(run(1e9 + static_cast<Float64>(index) * cycleTime, index * SInt64{cycle}));
        }
    });
    EXPECT_EQ(frameAt(heard, 1e9 + 999.5 * cycleTime), 999 * 480 + 240);
}

// Frame n is taken n / pace after the beginning, whatever is read while it is written.
TEST(HeardFrames, AreWholeWhileTheyAreAdded) {
    BRAQHeardFrames heard;
    heard.add(run(0.0, 0, 48));
    std::atomic<SInt64> added{48};
    std::atomic<bool> isDone{false};
    std::thread adding([&] {
        for (SInt64 frame = 48; frame < SInt64{48} * 200'000; frame += 48) {
            heard.add(run(static_cast<Float64>(frame) / pace, frame, 48));
            added.store(frame + 48, std::memory_order_release);
        }
        isDone = true;
    });
    while (!isDone) {
        const SInt64 frame = added.load(std::memory_order_acquire) - 1;
        const auto found = heard.at((static_cast<Float64>(frame) + 0.5) / pace);
        ASSERT_TRUE(found.has_value());
        ASSERT_NEAR(found->hostTime * pace, static_cast<Float64>(found->from.walk.place), 1e-3);
    }
    adding.join();
}

} // namespace
