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

// Both threads line up before each round and then come to the gate a little earlier or later, so that every way in which
// they can meet there comes up; each looks for the other for a while when it is in. The plain counter is there for the thread sanitizer.
TEST(BufferQueueGate, NeverLetsBothSidesIn) {
    constexpr int rounds = 600'000;
    constexpr int looksInside = 20;
    Gate gate;
    std::atomic<int> realtimeRound = 0;
    std::atomic<int> controlRound = 0;
    const auto spin = [](int turns) {
        for (int turn = 0; turn < turns; ++turn) {
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
    };
    const auto lineUp = [](std::atomic<int>& own, const std::atomic<int>& other, int round) {
        own = round;
        for (int looks = 0; other < round; ++looks) {
            if (looks > 1000) {
                std::this_thread::yield(); // the other one has no processor
            }
        }
    };
    std::atomic<bool> controlIsIn = false;
    long inside = 0;
    long copies = 0;
    long meetings = 0;
    std::thread realtime([&] {
        for (int round = 1; round <= rounds; ++round) {
            lineUp(realtimeRound, controlRound, round);
            spin(round % 256);
            if (gate.enter()) {
                ++inside;
                ++copies;
                for (int look = 0; look < looksInside; ++look) {
                    meetings += controlIsIn.load(std::memory_order_relaxed) ? 1 : 0;
                }
                gate.leave();
            }
        }
    });
    for (int round = 1; round <= rounds; ++round) {
        lineUp(controlRound, realtimeRound, round);
        spin(round / 256 % 256);
        const Gate::ClosedStretch stretch(gate);
        ++inside;
        controlIsIn.store(true, std::memory_order_relaxed);
        spin(looksInside);
        controlIsIn.store(false, std::memory_order_relaxed);
    }
    realtime.join();
    EXPECT_EQ(meetings, 0);
    EXPECT_EQ(inside, copies + rounds);
}

} // namespace
