#include "BRAQAudio/BRAQAudioBufferQueueGate.h"

#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

namespace {

using Gate = BRAQAudioBufferQueueGate;

TEST(BufferQueueGate, IsOpenWhenMadeAndOpensAfterItsClosedStretches) {
    Gate gate;
    EXPECT_FALSE(gate.isClosed());
    {
        const Gate::ClosedStretch outer(gate);
        EXPECT_TRUE(gate.isClosed());
        { const Gate::ClosedStretch inner(gate); }
        EXPECT_TRUE(gate.isClosed());
        EXPECT_FALSE(gate.enter());
    }
    EXPECT_FALSE(gate.isClosed());
    EXPECT_TRUE(gate.enter());
    gate.leave();
}

TEST(BufferQueueGate, StaysClosedForGood) {
    Gate gate;
    {
        const Gate::ClosedStretch closed(gate);
        gate.closeForGood();
    }
    EXPECT_TRUE(gate.isClosed());
    EXPECT_FALSE(gate.enter());
}

TEST(BufferQueueGate, ClosingWaitsForACopyThatIsUnderWay) {
    Gate gate;
    ASSERT_TRUE(gate.enter());
    std::atomic<bool> closed = false;
    std::thread control([&] {
        const Gate::ClosedStretch stretch(gate);
        closed = true;
    });
    while (!gate.isClosed()) {
        std::this_thread::yield();
    }
    for (int i = 0; i < 1000; ++i) {
        std::this_thread::yield();
        ASSERT_FALSE(closed);
    }
    gate.leave();
    control.join();
    EXPECT_TRUE(closed);
}

TEST(BufferQueueGate, AStretchOfAnotherThreadWaitsForTheEndOfThisOne) {
    Gate gate;
    std::atomic<bool> closed = false;
    auto stretch = std::make_unique<Gate::ClosedStretch>(gate);
    std::thread control([&] {
        const Gate::ClosedStretch other(gate);
        closed = true;
    });
    for (int i = 0; i < 1000; ++i) {
        std::this_thread::yield();
        ASSERT_FALSE(closed);
    }
    stretch.reset();
    control.join();
    EXPECT_TRUE(closed);
}

#ifndef NDEBUG
TEST(BufferQueueGateDeathTest, SaysInADebugBuildThatTwoRealtimeThreadsUseIt) {
    Gate gate;
    ASSERT_TRUE(gate.enter());
    EXPECT_DEATH(gate.enter(), "two real-time threads use one ring");
}
#endif

TEST(BufferQueueGate, KeepsTheRealtimeRules) {
    Gate gate;
    bool entered = false;
    bool closed = true;
    braq::testing::runRealtime([&] {
        entered = gate.enter();
        closed = gate.isClosed();
        gate.leave();
    });
    EXPECT_TRUE(entered);
    EXPECT_FALSE(closed);
}

// The plain counter is what a copy and a control operation would tear if the gate let both in. Both threads line up before
// each round, so that they come to the gate at the same time.
TEST(BufferQueueGate, NeverLetsBothSidesIn) {
    constexpr int rounds = 30'000;
    Gate gate;
    std::atomic<int> realtimeRound = 0;
    std::atomic<int> controlRound = 0;
    const auto lineUp = [](std::atomic<int>& own, const std::atomic<int>& other, int round) {
        own = round;
        for (int looks = 0; other < round; ++looks) {
            if (looks > 1000) {
                std::this_thread::yield(); // the other one has no processor
            }
        }
    };
    long inside = 0;
    long copies = 0;
    std::thread realtime([&] {
        for (int round = 1; round <= rounds; ++round) {
            lineUp(realtimeRound, controlRound, round);
            if (gate.enter()) {
                ++inside;
                ++copies;
                gate.leave();
            }
        }
    });
    for (int round = 1; round <= rounds; ++round) {
        lineUp(controlRound, realtimeRound, round);
        const Gate::ClosedStretch stretch(gate);
        ++inside;
    }
    realtime.join();
    EXPECT_EQ(inside, copies + rounds);
}

} // namespace
