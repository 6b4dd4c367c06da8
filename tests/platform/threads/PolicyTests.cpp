#include "BRAQAudio/platform/threads.h"
#include "tests/platform/threads/ThreadHelpers.h"

#include <sched.h>
#include <unistd.h>

#include <thread>

using namespace threads_test;

namespace {

constexpr int kFIFO = SCHED_FIFO | SCHED_RESET_ON_FORK;

kern_return_t setTimeshare(thread_act_t thread, integer_t timeshare) {
    return thread_policy_set(thread, THREAD_EXTENDED_POLICY, &timeshare, THREAD_EXTENDED_POLICY_COUNT);
}

kern_return_t setImportance(thread_act_t thread, integer_t importance) {
    return thread_policy_set(thread, THREAD_PRECEDENCE_POLICY, &importance, THREAD_PRECEDENCE_POLICY_COUNT);
}

} // namespace

TEST(Threads_Policy, RefusesWhatIsNoThreadOfThisProcess) {
    thread_act_t gone = 0;
    runOnNewThread([&] { gone = gettid(); });
    for (const thread_act_t thread : {0, -1, gone, getppid()}) {
        EXPECT_EQ(setTimeshare(thread, 0), KERN_INVALID_ARGUMENT) << thread;
        EXPECT_EQ(setTimeshare(thread, 1), KERN_INVALID_ARGUMENT) << thread;
        EXPECT_EQ(setImportance(thread, 32), KERN_INVALID_ARGUMENT) << thread;
        EXPECT_EQ(BRAQThreadMakeIO(thread), KERN_INVALID_ARGUMENT) << thread;
    }
}

TEST(Threads_Policy, RefusesUnknownFlavoursWrongCountsAndNoPolicyAndChangesNothing) {
    const ParkedThread thread;
    const integer_t policy[2] = {0, 0};
    const int before = kernelPolicyOf(thread.port());
    for (const UInt32 flavor : {0U, 2U, 4U}) {
        EXPECT_EQ(thread_policy_set(thread.port(), flavor, policy, 1), KERN_INVALID_ARGUMENT);
    }
    for (const UInt32 flavor : {THREAD_EXTENDED_POLICY, THREAD_PRECEDENCE_POLICY}) {
        EXPECT_EQ(thread_policy_set(thread.port(), flavor, policy, 0), KERN_INVALID_ARGUMENT);
        EXPECT_EQ(thread_policy_set(thread.port(), flavor, policy, 2), KERN_INVALID_ARGUMENT);
        EXPECT_EQ(thread_policy_set(thread.port(), flavor, nullptr, 1), KERN_INVALID_ARGUMENT);
    }
    EXPECT_EQ(kernelPolicyOf(thread.port()), before);
}

TEST(Threads_Policy, TimeSharingATimeSharedThreadLeavesItsNiceValue) {
    const ParkedThread thread;
    const int nice = niceOf(thread.port());
    EXPECT_EQ(setTimeshare(thread.port(), 1), KERN_SUCCESS);
    EXPECT_EQ(kernelPolicyOf(thread.port()), SCHED_OTHER);
    EXPECT_EQ(niceOf(thread.port()), nice);
}

class Threads_PolicyWithPermission : public WithPermission {};

TEST_F(Threads_PolicyWithPermission, MapsImportanceToRealtimePriorities) {
    const std::pair<int, int> cases[] = {{-1000, 1}, {-1, 1},  {0, 1},   {1, 1},   {2, 1},   {3, 2},   {12, 11},
                                         {31, 29},   {32, 30}, {51, 48}, {62, 59}, {63, 60}, {64, 60}, {1000, 60}};
    for (const auto& [importance, priority] : cases) {
        const ParkedThread thread;
        makeWorker(thread.port(), importance);
        EXPECT_EQ(kernelPolicyOf(thread.port()), kFIFO);
        EXPECT_EQ(kernelPriorityOf(thread.port()), priority) << importance;
    }
}

TEST_F(Threads_PolicyWithPermission, ThePriorityFollowsLaterImportance) {
    const ParkedThread thread;
    makeWorker(thread.port(), 63);
    makeWorker(thread.port(), 10);
    EXPECT_EQ(kernelPriorityOf(thread.port()), 9);
    makeWorker(thread.port(), 63);
    EXPECT_EQ(kernelPriorityOf(thread.port()), 60);
}

TEST_F(Threads_PolicyWithPermission, FixedPriorityStartsAtTheBottomAndKeepsARealtimeThreadsPriority) {
    const ParkedThread thread;
    EXPECT_EQ(setTimeshare(thread.port(), 0), KERN_SUCCESS);
    EXPECT_EQ(kernelPolicyOf(thread.port()), kFIFO);
    EXPECT_EQ(kernelPriorityOf(thread.port()), 1);
    ASSERT_TRUE(setKernelPolicy(thread.port(), SCHED_RR, 17));
    EXPECT_EQ(setTimeshare(thread.port(), 0), KERN_SUCCESS);
    EXPECT_EQ(kernelPolicyOf(thread.port()), kFIFO);
    EXPECT_EQ(kernelPriorityOf(thread.port()), 17);
}

TEST_F(Threads_PolicyWithPermission, TimeSharingTakesAThreadBack) {
    const ParkedThread thread;
    const int nice = niceOf(thread.port());
    makeWorker(thread.port(), 63);
    EXPECT_EQ(setTimeshare(thread.port(), 1), KERN_SUCCESS);
    EXPECT_EQ(policyOf(thread.port()), POLICY_TIMESHARE);
    EXPECT_EQ(basePriorityOf(thread.port()), 31 - nice);
}

TEST_F(Threads_PolicyWithPermission, IOThreadsRunAtSeventyAboveEveryWorker) {
    const ParkedThread io;
    const ParkedThread worker;
    EXPECT_EQ(BRAQThreadMakeIO(io.port()), KERN_SUCCESS);
    makeWorker(worker.port(), 63);
    EXPECT_EQ(kernelPolicyOf(io.port()), kFIFO);
    EXPECT_EQ(kernelPriorityOf(io.port()), 70);
    EXPECT_GT(kernelPriorityOf(io.port()), kernelPriorityOf(worker.port()));
}

TEST_F(Threads_PolicyWithPermission, ThreadsThatAWorkerStartsAreTimeShared) {
    runOnNewThread([] {
        makeWorker(gettid(), 63);
        std::thread([] { EXPECT_EQ(kernelPolicyOf(gettid()), SCHED_OTHER); }).join();
    });
}

TEST_F(Threads_PolicyWithPermission, AThreadMayPutItselfOnAPolicy) {
    runOnNewThread([] {
        EXPECT_EQ(BRAQThreadMakeIO(BRAQThreadSelf()), KERN_SUCCESS);
        EXPECT_EQ(kernelPriorityOf(gettid()), 70);
    });
}
