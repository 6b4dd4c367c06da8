#include "BRAQAudio/platform/BRAQRealtimeSection.h"
#include "tests/platform/threads/Sandbox.h"
#include "tests/support/RealtimeGuard.h"
#include "tests/support/RealtimeGuardInternal.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <ostream>
#include <string>
#include <thread>

namespace {

using Section = BRAQRealtimeSection;
using OrderKeeper = Section::OrderKeeper;
using Threads = Section::Threads;

struct Way {
    const char* name;
    Threads threads;
    OrderKeeper keeper;
};

void PrintTo(const Way& way, std::ostream* stream) { *stream << way.name; }

constexpr Way keptByControlSide{"OneThreadOrderedByTheControlSide", Threads::one, OrderKeeper::controlSide};

class RealtimeSectionFor : public testing::TestWithParam<Way> {};

TEST_P(RealtimeSectionFor, WaitsForAPassageThatIsUnderWay) {
    Section section(GetParam().threads, GetParam().keeper);
    section.enter();
    EXPECT_TRUE(section.isInUse());
    std::atomic<bool> isChanged = false;
    std::atomic<bool> hasWaited = false;
    std::thread control([&] {
        isChanged = true;
        section.waitUntilLeft();
        hasWaited = true;
    });
    while (!isChanged) {
        std::this_thread::yield();
    }
    for (int i = 0; i < 1000; ++i) {
        std::this_thread::yield();
        ASSERT_FALSE(hasWaited);
    }
    section.leave();
    control.join();
    EXPECT_FALSE(section.isInUse());
}

TEST_P(RealtimeSectionFor, KeepsTheRealtimeRules) {
    Section section(GetParam().threads, GetParam().keeper);
    bool isInUse = false;
    braq::tests::runRealtime([&] {
        const BRAQRealtimePassage passage(section);
        isInUse = section.isInUse();
    });
    EXPECT_TRUE(isInUse);
    EXPECT_FALSE(section.isInUse());
}

// Both threads line up before each round and come to the section a little earlier or later, so that every way in which
// they can meet comes up. The lines that they write to lie apart and the other one had them last, so a store takes long
// to arrive; without a barrier, a look overtakes it.
class Meeting {
  public:
    explicit Meeting(const Way& way) : mSection(way.threads, way.keeper) {}

    /// @return in how many rounds the control side had done waiting while a passage that had not seen its change was
    ///     still inside
    int hold() {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2); // on a busy machine
        std::thread realtime([this] {
            for (int round = 1; round <= mRounds; ++round) {
                lineUp(mRealtimeRound, mControlRound, round);
                static_cast<void>(mChanged.load(std::memory_order_relaxed)); // so that the look in there is quick
                spin(round % 256);
                pass(round);
            }
        });
        for (int round = 1; round <= mRounds; ++round) {
            if (round % 1000 == 0 && std::chrono::steady_clock::now() > end) {
                mRounds = round;
            }
            lineUp(mControlRound, mRealtimeRound, round);
            spin(round / 256 % 256);
            mChanged.store(round);
            mSection.waitUntilLeft();
            mDone.store(round, std::memory_order_relaxed);
            ++mUsed;
        }
        realtime.join();
        return mMissed;
    }

  private:
    static void spin(int steps) {
        for (int step = 0; step < steps; ++step) {
            std::atomic_signal_fence(std::memory_order_seq_cst);
        }
    }
    static void lineUp(std::atomic<int>& own, const std::atomic<int>& other, int round) {
        own = round;
        for (int looks = 0; other < round; ++looks) {
            if (looks > 1000) {
                std::this_thread::yield(); // the other one has no processor
            }
        }
    }
    void pass(int round) {
        const BRAQRealtimePassage passage(mSection);
        if (mChanged.load() == round) {
            return;
        }
        ++mUsed; // for the thread sanitizer: neither side may do it while the other one does
        bool isDone = false;
        for (int look = 0; look < 200; ++look) {
            isDone = isDone || mDone.load(std::memory_order_relaxed) == round;
        }
        mMissed += isDone ? 1 : 0;
    }

    alignas(128) Section mSection;
    alignas(128) std::atomic<int> mChanged = 0; // the last round in which the control side made a change
    alignas(128) std::atomic<int> mDone = 0;    // the last round in which it waited to the end
    alignas(128) std::atomic<int> mRealtimeRound = 0;
    alignas(128) std::atomic<int> mControlRound = 0;
    alignas(128) long mUsed = 0;
    int mMissed = 0;
    std::atomic<int> mRounds = 1'000'000; // is made less by the control side before it begins the last one
};

TEST_P(RealtimeSectionFor, NobodyIsInsideUnseenWhoHasNotSeenTheChange) {
    if (std::thread::hardware_concurrency() < 2) {
        GTEST_SKIP() << "not shown: on one processor nothing overtakes";
    }
    EXPECT_EQ(Meeting(GetParam()).hold(), 0);
}

INSTANTIATE_TEST_SUITE_P(, RealtimeSectionFor,
                         testing::Values(keptByControlSide, Way{"OneThread", Threads::one, OrderKeeper::realtimeSide},
                                         Way{"ManyThreads", Threads::many, OrderKeeper::realtimeSide}),
                         [](const testing::TestParamInfo<Way>& way) { return std::string(way.param.name); });

TEST(RealtimeSection, IsWaitedForNoLongerThanOnePassageOfItsThread) {
    Section section(Threads::one);
    std::atomic<bool> isDone = false;
    std::atomic<int> passages = 0;
    std::thread realtime([&] {
        section.enter();
        while (!isDone) {
            ++passages;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            section.leave();
            section.enter(); // as good as never out
        }
        section.leave();
    });
    while (passages == 0) {
        std::this_thread::yield();
    }
    const int before = passages;
    constexpr int waits = 20;
    for (int i = 0; i < waits; ++i) {
        section.waitUntilLeft();
    }
    EXPECT_LE(passages - before, 10 * waits) << "one each, and some that pass while this thread has no processor";
    isDone = true;
    realtime.join();
}

TEST(RealtimeSection, HoldsManyThreadsAtATime) {
    Section section(Threads::many, OrderKeeper::controlSide);
    section.enter();
    std::thread([&] {
        const BRAQRealtimePassage other(section);
        EXPECT_TRUE(section.isInUse());
    }).join();
    EXPECT_TRUE(section.isInUse()) << "this thread is still inside";
    section.leave();
    EXPECT_FALSE(section.isInUse());
    EXPECT_EQ(section.orderKeeper(), OrderKeeper::realtimeSide) << "which is what holds for many";
}

#if BRAQ_REALTIME_GUARD // a sanitizer makes the control side's call impossible, or makes calls of its own
using threads_test::refuseBarriers;

void makeOneWhereTheSystemHasNoBarriers() {
    refuseBarriers();
    Section section(Threads::one, OrderKeeper::controlSide);
    REQUIRE(section.orderKeeper() == OrderKeeper::realtimeSide);
    section.waitUntilLeft();
}

void makeOneAndFork() {
    Section section(Threads::one, OrderKeeper::controlSide);
    const pid_t child = fork();
    if (child == 0) {
        section.waitUntilLeft();
        std::_Exit(section.orderKeeper() == OrderKeeper::controlSide ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    REQUIRE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

void makeOneAndForbidBarriers() {
    Section section(Threads::one, OrderKeeper::controlSide);
    refuseBarriers();
    section.enter();
    std::atomic<bool> hasWaited = false;
    std::thread control([&] {
        section.waitUntilLeft();
        hasWaited = true;
    });
    while (section.orderKeeper() == OrderKeeper::controlSide) {
        std::this_thread::yield();
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    REQUIRE(!hasWaited); // a passage that began under the other order is waited for
    section.leave();
    control.join();
    {
        const BRAQRealtimePassage passage(section);
        REQUIRE(section.isInUse());
    }
    REQUIRE(!section.isInUse());
    REQUIRE(Meeting(keptByControlSide).hold() == 0); // another one, made where the call had been allowed
}

// Without the look of the tests below, which would register the process before it forbids itself the call.
TEST(RealtimeSection, LeavesTheOrderToTheRealtimeSideWhereThereAreNoBarriers) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(makeOneWhereTheSystemHasNoBarriers);
}

class RealtimeSectionInASandbox : public testing::Test {
  protected:
    void SetUp() override {
        if (Section(Threads::one, OrderKeeper::controlSide).orderKeeper() != OrderKeeper::controlSide) {
            GTEST_SKIP() << "not shown: this system has no barriers";
        }
    }
};

TEST_F(RealtimeSectionInASandbox, KeepsTheOrderInAChildProcessToo) { EXPECT_PASSES_IN_A_NEW_PROCESS(makeOneAndFork); }

TEST_F(RealtimeSectionInASandbox, GoesOnWhereBarriersAreForbiddenLater) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(makeOneAndForbidBarriers);
}
#endif

} // namespace
