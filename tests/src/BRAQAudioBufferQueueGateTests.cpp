#include "BRAQAudio/BRAQAudioBufferQueueGate.h"

#include "tests/support/RealtimeGuard.h"
#include "tests/support/RealtimeGuardInternal.h"

#include <gtest/gtest.h>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <iterator>
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

TEST(BufferQueueGate, IsOrderedByTheRealtimeSideIfAsked) {
    EXPECT_EQ(Gate(Gate::OrderKeeper::realtimeSide).orderKeeper(), Gate::OrderKeeper::realtimeSide);
}

#if BRAQ_REALTIME_GUARD // a sanitizer makes the control side's call impossible, or makes calls of its own
// Children of fork, because what a process registers or forbids itself is for good.
class BufferQueueGateDeathTest : public testing::Test {
  protected:
    static void refuseBarriers() {
        sock_filter filter[] = {
            BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
            BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_membarrier, 0, 1),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
            BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        };
        const sock_fprog program{.len = std::size(filter), .filter = filter};
        if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
            syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) != 0) {
            std::perror("seccomp");
            std::_Exit(2);
        }
    }
    static void closeOnceAndExit(Gate& gate, Gate::OrderKeeper expected) {
        { const Gate::ClosedStretch closed(gate); }
        std::_Exit(gate.orderKeeper() == expected && gate.enter() ? 0 : 1);
    }
    static constexpr auto exitedWell = [](int status) { return WIFEXITED(status) && WEXITSTATUS(status) == 0; };

    // The process that the test is about starts afresh: this one has registered itself long ago.
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(BufferQueueGateDeathTest, IsOrderedByTheRealtimeSideWhereTheSystemHasNoBarriers) {
    EXPECT_EXIT(
        {
            refuseBarriers();
            Gate gate;
            closeOnceAndExit(gate, Gate::OrderKeeper::realtimeSide);
        },
        exitedWell, "");
}

TEST_F(BufferQueueGateDeathTest, IsOrderedByTheControlSideInAChildProcessToo) {
    if (Gate().orderKeeper() != Gate::OrderKeeper::controlSide) {
        GTEST_SKIP() << "not shown: this system has no barriers";
    }
    EXPECT_EXIT(
        {
            Gate gate;
            const pid_t child = fork();
            if (child == 0) {
                closeOnceAndExit(gate, Gate::OrderKeeper::controlSide);
            }
            int status = -1;
            waitpid(child, &status, 0);
            std::_Exit(exitedWell(status) ? 0 : 1);
        },
        exitedWell, "");
}

TEST_F(BufferQueueGateDeathTest, EndsAProcessThatForbidsItselfBarriersLater) {
    if (Gate().orderKeeper() != Gate::OrderKeeper::controlSide) {
        GTEST_SKIP() << "not shown: this system has no barriers";
    }
    EXPECT_DEATH(
        {
            Gate gate;
            refuseBarriers();
            const Gate::ClosedStretch closed(gate);
        },
        "BRAQThreadBarrierAll");
}
#endif

class BufferQueueGateKeptBy : public testing::TestWithParam<Gate::OrderKeeper> {};

// Both threads line up before each round and then come to the gate a little earlier or later, so that every way in which
// they can meet there comes up; each looks for the other for a while when it is in. The plain counter is there for the thread sanitizer.
TEST_P(BufferQueueGateKeptBy, EitherSideNeverLetsBothIn) {
    constexpr int rounds = 300'000;
    constexpr int looksInside = 20;
    Gate gate(GetParam());
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

INSTANTIATE_TEST_SUITE_P(, BufferQueueGateKeptBy,
                         testing::Values(Gate::OrderKeeper::realtimeSide, Gate::OrderKeeper::controlSide));

} // namespace
