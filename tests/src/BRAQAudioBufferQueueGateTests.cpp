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
TEST(BufferQueueGateDebugDeathTest, SaysInADebugBuildThatTwoRealtimeThreadsUseIt) {
    Gate gate;
    ASSERT_TRUE(gate.enter());
    EXPECT_DEATH(gate.enter(), "two real-time threads use one ring");
}
#endif

TEST(BufferQueueGate, KeepsTheRealtimeRules) {
    Gate gate;
    bool entered = false;
    bool closed = true;
    braq::tests::runRealtime([&] {
        entered = gate.enter();
        closed = gate.isClosed();
        gate.leave();
    });
    EXPECT_TRUE(entered);
    EXPECT_FALSE(closed);
}

} // namespace
