#include "BRAQAudio/platform/BRAQWorkQueue.h"
#include "tests/platform/threads/Sandbox.h"
#include "tests/platform/threads/ThreadHelpers.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdlib>
#include <future>
#include <semaphore>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace threads_test;

namespace {

// Their threads use them until the process ends.
BRAQWorkQueue& makeQueue(BRAQWorkQueue::Thread kind = BRAQWorkQueue::Thread::stays,
                         std::function<void()> onNudge = {}) {
    return *new BRAQWorkQueue("test queue", kind, std::move(onNudge));
}

/// Returns when everything that was given to it before has run.
void settle(BRAQWorkQueue& queue) {
    std::promise<void> isDone;
    ASSERT_EQ(queue.run([&] { isDone.set_value(); }), 0);
    isDone.get_future().wait();
}

void askWhereThereAreNoThreads() {
    refuseNewThreads();
    BRAQWorkQueue queue("test queue");
    REQUIRE(queue.start() == EAGAIN);
    bool hasRun = false;
    REQUIRE(queue.run([&] { hasRun = true; }) == EAGAIN);
    REQUIRE(!hasRun);
    // Leak detection would need a thread at exit.
    std::_Exit(0);
}

} // namespace

TEST(Threads_WorkQueue, RunsWorkInOrderOnOneThreadAndGoesOnAfterWorkThatThrows) {
    const braq::tests::CapturedLog log;
    static auto& queue = makeQueue();
    std::vector<std::thread::id> threads; // the queue's thread, then this one
    std::vector<int> order;
    for (int i = 0; i < 100; ++i) {
        queue.run([&, i] {
            order.push_back(i);
            threads.push_back(std::this_thread::get_id());
            if (i == 50) {
                throw std::runtime_error("no");
            }
        });
    }
    settle(queue);
    ASSERT_EQ(order.size(), 100U);
    EXPECT_TRUE(std::ranges::is_sorted(order));
    EXPECT_THAT(threads, testing::Each(threads.front()));
    EXPECT_NE(threads.front(), std::this_thread::get_id());
    EXPECT_THAT(log.errors(), testing::ElementsAre("(ERROR) test queue : no"));
}

TEST(Threads_WorkQueue, TakesWorkFromItsOwnThread) {
    static auto& queue = makeQueue();
    std::vector<int> order;
    std::promise<void> isDone;
    queue.run([&] {
        queue.run([&] {
            order.push_back(2);
            isDone.set_value();
        });
        order.push_back(1);
    });
    isDone.get_future().wait();
    EXPECT_THAT(order, testing::ElementsAre(1, 2));
}

TEST(Threads_WorkQueue, RunsWhatItIsNudgedForBeforeLaterWork) {
    int nudges = 0; // by the queue's thread, then this one
    auto& queue = makeQueue(BRAQWorkQueue::Thread::stays, [&] { ++nudges; });
    static auto& kept = queue;
    ASSERT_EQ(kept.start(), 0);
    ASSERT_EQ(kept.start(), 0) << "idempotent";
    for (int expected = 1; expected <= 3; ++expected) {
        kept.nudge();
        settle(kept);
        EXPECT_EQ(nudges, expected);
    }
    std::binary_semaphore isIn{0};
    std::binary_semaphore mayGo{0};
    kept.run([&] {
        isIn.release();
        mayGo.acquire();
    });
    isIn.acquire();
    for (int i = 0; i < 10; ++i) {
        kept.nudge();
    }
    mayGo.release();
    settle(kept);
    EXPECT_EQ(nudges, 4) << "those that come while it is busy are one";
}

TEST(Threads_WorkQueue, KeepsTheRealtimeRulesWhenNudged) {
    std::promise<void> isNudged;
    static auto& queue = makeQueue(BRAQWorkQueue::Thread::stays, [&] { isNudged.set_value(); });
    ASSERT_EQ(queue.start(), 0);
    braq::tests::runRealtime([&] { queue.nudge(); });
    isNudged.get_future().wait();
    settle(queue);
}

TEST(Threads_WorkQueue, EndsItsThreadWhenIdleIfAskedAndStartsAnotherForNewWork) {
    static auto& queue = makeQueue(BRAQWorkQueue::Thread::endsWhenIdle);
    const int before = threadCount();
    for (int round = 0; round < 20; ++round) {
        int done = 0; // by the queue's thread, then this one
        queue.run([&] { ++done; });
        queue.run([&] { ++done; });
        settle(queue);
        EXPECT_EQ(done, 2);
        waitForThreadCount(before);
    }
}

TEST(Threads_WorkQueue, LosesNothingBetweenTheEndOfOneThreadAndTheNext) {
    static auto& queue = makeQueue(BRAQWorkQueue::Thread::endsWhenIdle);
    for (int round = 0; round < 2000; ++round) {
        settle(queue); // ends about now, or takes the next one
    }
}

TEST(Threads_WorkQueue, SaysThatTheSystemHasNoThread) { EXPECT_PASSES_IN_A_NEW_PROCESS(askWhereThereAreNoThreads); }
