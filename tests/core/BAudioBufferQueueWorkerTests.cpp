#include "BRAQAudio/core/BAudioBufferQueueWorker.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "BRAQAudio/platform/threads.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"
#include "tests/support/RealtimePermission.h"
#include "tests/support/WorkerHold.h"

#include <gmock/gmock.h>
#include <sched.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using braq::WorkerPoint;
using braq::tests::WorkerHold;
using testing::ElementsAre;

struct DestroyWorker {
    void operator()(BAudioBufferQueueWorker* worker) const {
        BAudioBufferQueueWorkerTeardown(worker);
        BAudioBufferQueueWorkerDestroy(worker);
    }
};
struct DestroyBuffer {
    void operator()(BQueueableAudioBuffer* buffer) const { BQueueableAudioBufferDestroy(buffer); }
};
using OwnedWorker = std::unique_ptr<BAudioBufferQueueWorker, DestroyWorker>;
using OwnedBuffer = std::unique_ptr<BQueueableAudioBuffer, DestroyBuffer>;

OwnedBuffer bufferThat(BQueueableAudioBufferBlock block) {
    return OwnedBuffer(BQueueableAudioBufferCreate(block, 16, 1));
}

class BufferWorker : public testing::Test {
  protected:
    OwnedBuffer recordingBuffer(char name) {
        return bufferThat([this, name](BQueueableAudioBuffer*) { processed.push_back(name); });
    }
    void add(const OwnedBuffer& buffer) { BAudioBufferQueueWorkerAddBuffer(worker.get(), buffer.get()); }
    void waitUntilIdle() { BAudioBufferQueueWorkerWaitUntilIdle(worker.get()); }

    std::vector<char> processed; // written by the worker, read when it is idle
    std::binary_semaphore entered{0};
    std::binary_semaphore proceed{0};
    OwnedBuffer blocker = bufferThat([this](BQueueableAudioBuffer*) {
        entered.release();
        proceed.acquire();
    });
    OwnedBuffer a = recordingBuffer('A');
    OwnedBuffer b = recordingBuffer('B');
    OwnedBuffer c = recordingBuffer('C');
    OwnedWorker worker{BAudioBufferQueueWorkerCreate()}; // last, so that it ends before the buffers
};

TEST_F(BufferWorker, ProcessesInTheOrderInWhichBuffersWereAddedWhileItWasBusy) {
    add(blocker);
    entered.acquire();
    add(a);
    add(b);
    add(c);
    EXPECT_TRUE(BQueueableAudioBufferInProgress(a.get()));
    proceed.release();
    waitUntilIdle();
    EXPECT_THAT(processed, ElementsAre('A', 'B', 'C'));
    for (const auto* buffer : {&a, &b, &c}) {
        EXPECT_FALSE(BQueueableAudioBufferInProgress(buffer->get()));
    }
}

TEST_F(BufferWorker, KeepsTheFlagSetUntilTheBlockHasReturned) {
    add(blocker);
    entered.acquire();
    EXPECT_TRUE(BQueueableAudioBufferInProgress(blocker.get()));
    proceed.release();
    waitUntilIdle();
    EXPECT_FALSE(BQueueableAudioBufferInProgress(blocker.get()));
}

TEST_F(BufferWorker, StopBeforeAnyBufferWakesOnceAndChangesNothingElse) {
    BAudioBufferQueueWorkerStart(worker.get());
    ASSERT_EQ(worker->mPasses, 0U);
    BAudioBufferQueueWorkerStop(worker.get());
    UInt32 passes = 0;
    while ((passes = worker->mPasses) < 2) {
        worker->mPasses.wait(passes);
    }
    EXPECT_EQ(worker->mPasses, 2U) << "one pass, begun and ended";
    EXPECT_FALSE(worker->mExited);
    add(a);
    waitUntilIdle();
    EXPECT_THAT(processed, ElementsAre('A'));
}

TEST_F(BufferWorker, TeardownReturnsAfterTheThreadHasSaidItExits) {
    BAudioBufferQueueWorkerTeardown(worker.get());
    EXPECT_TRUE(worker->mExited);
    BAudioBufferQueueWorkerTeardown(worker.get()); // a second one returns
    EXPECT_TRUE(worker->mExited);
}

TEST_F(BufferWorker, ASecondTeardownDoesNotWaitForTheFirst) {
    add(blocker);
    entered.acquire();
    std::thread first([this] { BAudioBufferQueueWorkerTeardown(worker.get()); });
    while (!worker->mStopRequested) {
        std::this_thread::yield();
    }
    BAudioBufferQueueWorkerTeardown(worker.get());
    EXPECT_FALSE(worker->mExited) << "the thread is still at a buffer";
    proceed.release();
    first.join();
    EXPECT_TRUE(worker->mExited);
}

TEST_F(BufferWorker, TeardownLeavesWhatIsPendingInProgressAndUnprocessed) {
    add(blocker);
    entered.acquire();
    add(a);
    add(b);
    std::thread teardown([this] { BAudioBufferQueueWorkerTeardown(worker.get()); });
    while (!worker->mStopRequested) {
        std::this_thread::yield();
    }
    proceed.release();
    teardown.join();
    EXPECT_TRUE(worker->mExited);
    EXPECT_FALSE(BQueueableAudioBufferInProgress(blocker.get()));
    EXPECT_TRUE(BQueueableAudioBufferInProgress(a.get()));
    EXPECT_TRUE(BQueueableAudioBufferInProgress(b.get()));
    EXPECT_TRUE(processed.empty());
}

TEST_F(BufferWorker, SurvivesABlockThatThrows) {
    const braq::tests::CapturedLog log;
    const auto thrower = bufferThat([](BQueueableAudioBuffer*) { throw std::runtime_error("the disk is full"); });
    EXPECT_FALSE(BAudioBufferQueueWorkerLastError(worker.get(), nullptr));
    add(blocker);
    entered.acquire();
    add(thrower);
    add(a);
    proceed.release();
    waitUntilIdle();
    EXPECT_FALSE(BQueueableAudioBufferInProgress(thrower.get()));
    EXPECT_THAT(processed, ElementsAre('A'));
    EXPECT_THAT(log.errors(), ElementsAre("(ERROR) BAudioBufferQueueWorker : the disk is full"));
    std::shared_ptr<NSError> error;
    ASSERT_TRUE(BAudioBufferQueueWorkerLastError(worker.get(), &error));
    EXPECT_EQ(error->domain(), BRAQExceptionErrorDomain);
    EXPECT_EQ(error->localizedDescription(), "the disk is full");
}

TEST_F(BufferWorker, KeepsTheErrorThatARaisedStatusErrorHolds) {
    const braq::tests::CapturedLog log;
    const auto raiser = bufferThat([](BQueueableAudioBuffer*) {
        constexpr NSXCallSite here{"src/Somewhere", "-[Somewhere write]"};
        NSXRaiseOnFailure(-50, "Write( file )", here);
    });
    add(raiser);
    waitUntilIdle();
    std::shared_ptr<NSError> error;
    ASSERT_TRUE(BAudioBufferQueueWorkerLastError(worker.get(), &error));
    EXPECT_EQ(error->domain(), NSMachErrorDomain);
    EXPECT_EQ(error->code(), -50);
    EXPECT_EQ(log.errors().size(), 1U);
}

TEST_F(BufferWorker, KeepsTheLastOfSeveralErrors) {
    const braq::tests::CapturedLog log;
    int count = 0;
    const auto thrower =
        bufferThat([&](BQueueableAudioBuffer*) { throw std::runtime_error("error " + std::to_string(++count)); });
    for (int i = 0; i < 2; ++i) {
        add(thrower);
        waitUntilIdle();
    }
    std::shared_ptr<NSError> error;
    ASSERT_TRUE(BAudioBufferQueueWorkerLastError(worker.get(), &error));
    EXPECT_EQ(error->localizedDescription(), "error 2");
}

TEST_F(BufferWorker, LogsTheFirstOfARunOfFailures) {
    const braq::tests::CapturedLog log;
    const auto thrower = bufferThat([](BQueueableAudioBuffer*) { throw std::runtime_error("the disk is full"); });
    const auto addAndWait = [&](const auto& buffer) {
        add(buffer);
        waitUntilIdle();
    };
    addAndWait(thrower);
    addAndWait(thrower);
    addAndWait(thrower);
    EXPECT_EQ(log.errors().size(), 1U);
    addAndWait(a);
    addAndWait(thrower);
    EXPECT_EQ(log.errors().size(), 2U) << "another run";
}

TEST_F(BufferWorker, SurvivesAThrowThatIsNoException) {
    const braq::tests::CapturedLog log;
    const auto thrower = bufferThat([](BQueueableAudioBuffer*) { throw 7; });
    add(thrower);
    add(a);
    waitUntilIdle();
    EXPECT_THAT(processed, ElementsAre('A'));
    EXPECT_TRUE(BAudioBufferQueueWorkerLastError(worker.get(), nullptr));
}

TEST_F(BufferWorker, TakesBuffersFromARealtimeThread) {
    braq::tests::runRealtime([this] { add(a); });
    waitUntilIdle();
    EXPECT_THAT(processed, ElementsAre('A'));
}

// What A's link leads to changes under the worker, which reads it after clearing the flag.
TEST_F(BufferWorker, HeldBetweenFlagAndLinkItGoesThroughItsChainAlthoughABufferWasAddedAgain) {
    WorkerHold hold(WorkerPoint::flagCleared, a.get());
    add(blocker);
    entered.acquire();
    add(a);
    add(b);
    proceed.release();
    hold.waitUntilHeld();
    EXPECT_FALSE(BQueueableAudioBufferInProgress(a.get()));
    add(c);
    add(a);
    hold.release();
    waitUntilIdle();
    EXPECT_THAT(processed, ElementsAre('A', 'B', 'C', 'A'));
    for (const auto* buffer : {&a, &b, &c}) {
        EXPECT_FALSE(BQueueableAudioBufferInProgress(buffer->get()));
    }
    EXPECT_TRUE(BAtomicStackIsEmpty(worker->mPendingStack));
}

TEST_F(BufferWorker, IsNotIdleWhileItStillHasALinkToFollow) {
    std::atomic<bool> idle = false;
    WorkerHold hold(WorkerPoint::flagCleared, a.get());
    add(a);
    hold.waitUntilHeld();
    EXPECT_FALSE(BQueueableAudioBufferInProgress(a.get()));
    EXPECT_TRUE(BAtomicStackIsEmpty(worker->mPendingStack));
    std::thread waiter([&] {
        waitUntilIdle();
        idle = true;
    });
    for (int i = 0; i < 1000; ++i) {
        std::this_thread::yield();
        ASSERT_FALSE(idle);
    }
    hold.release();
    waiter.join();
    EXPECT_TRUE(idle);
}

TEST_F(BufferWorker, WaitUntilIdleSeesWhatTheLastPassDid) {
    constexpr int rounds = 5000;
    int count = 0; // no atomic: idleness is what hands it over
    const auto counter = bufferThat([&](BQueueableAudioBuffer*) { ++count; });
    for (int i = 0; i < rounds; ++i) {
        add(counter);
        waitUntilIdle();
        ASSERT_EQ(count, i + 1);
    }
}

TEST_F(BufferWorker, RunsItsThreadAtAFixedPriorityAboveItsCreatorIfItMay) {
    if (!braq::tests::mayUseRealtimeScheduling()) {
        GTEST_SKIP() << "not shown: this process may not use real-time scheduling";
    }
    thread_basic_info basic{};
    UInt32 count = THREAD_BASIC_INFO_COUNT;
    ASSERT_EQ(thread_info(worker->mThread.mPort, THREAD_BASIC_INFO, &basic.policy, &count), KERN_SUCCESS);
    EXPECT_EQ(basic.policy, POLICY_FIFO);
    policy_timeshare_info own{};
    count = THREAD_SCHED_TIMESHARE_INFO_COUNT;
    ASSERT_EQ(thread_info(BRAQThreadSelf(), THREAD_SCHED_TIMESHARE_INFO, &own.base_priority, &count), KERN_SUCCESS);
    policy_fifo_info info{};
    count = THREAD_SCHED_FIFO_INFO_COUNT;
    ASSERT_EQ(thread_info(worker->mThread.mPort, THREAD_SCHED_FIFO_INFO, &info.base_priority, &count), KERN_SUCCESS);
    EXPECT_EQ(info.base_priority, std::max(1, (63 - own.base_priority) * 60 / 63));
}

TEST(BufferWorkers, GetAPriorityFromThatOfARealtimeCreator) {
    if (!braq::tests::mayUseRealtimeScheduling()) {
        GTEST_SKIP() << "not shown: this process may not use real-time scheduling";
    }
    for (const int policy : {SCHED_FIFO, SCHED_RR}) {
        policy_fifo_info info{};
        std::thread creator([&] {
            sched_param parameters{};
            parameters.sched_priority = 20;
            ASSERT_EQ(sched_setscheduler(0, policy, &parameters), 0);
            const OwnedWorker worker(BAudioBufferQueueWorkerCreate());
            UInt32 count = THREAD_SCHED_FIFO_INFO_COUNT;
            EXPECT_EQ(thread_info(worker->mThread.mPort, THREAD_SCHED_FIFO_INFO, &info.base_priority, &count),
                      KERN_SUCCESS);
        });
        creator.join();
        EXPECT_EQ(info.base_priority, (63 - 20) * 60 / 63) << policy;
    }
}

// An emulated processor needs address space of its own and takes no notice.
bool addressSpaceCanBeLimited() {
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    const rlimit wanted{before.rlim_max - 1, before.rlim_max}; // more than anything needs
    rlimit had{};
    setrlimit(RLIMIT_AS, &wanted);
    getrlimit(RLIMIT_AS, &had);
    setrlimit(RLIMIT_AS, &before);
    return had.rlim_cur == wanted.rlim_cur;
}

[[noreturn]] void makeWorkerWithoutAddressSpace() {
    const rlimit none{1, 1}; // a stack for the thread cannot be had
    setrlimit(RLIMIT_AS, &none);
    std::exit(BAudioBufferQueueWorkerCreate() == nullptr ? 0 : 1);
}

TEST(BufferWorkersDeathTest, AreNotMadeWithoutAThread) {
    if (!braq::tests::realtimeGuardIsActive()) {
        GTEST_SKIP() << "not shown: a sanitizer needs address space of its own";
    }
    if (!addressSpaceCanBeLimited()) {
        GTEST_SKIP() << "not shown: address space cannot be limited here";
    }
    EXPECT_EXIT(makeWorkerWithoutAddressSpace(), testing::ExitedWithCode(0), "");
}

TEST(BufferWorkers, CanBeMadeAndEndedManyTimesWhileBuffersAreAdded) {
    for (int i = 0; i < 500; ++i) {
        const auto buffer = bufferThat([](BQueueableAudioBuffer*) {});
        const OwnedWorker worker(BAudioBufferQueueWorkerCreate());
        BAudioBufferQueueWorkerAddBuffer(worker.get(), buffer.get());
    }
}

} // namespace
