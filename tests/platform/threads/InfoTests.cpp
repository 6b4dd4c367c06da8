#include "BRAQAudio/platform/threads.h"
#include "tests/platform/threads/ThreadHelpers.h"

#include <gmock/gmock.h>

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>

using namespace threads_test;
using testing::Each;

namespace {

using Record = std::array<integer_t, 16>;

Record untouched() {
    Record record{};
    record.fill(-99);
    return record;
}

thread_act_t idOfAThreadThatIsGone() {
    const ParkedThread ended;
    return ended.port();
}

// KERN_INVALID_ARGUMENT, and neither record nor count written to.
void expectRefused(thread_act_t thread, UInt32 flavor, UInt32 roomFor) {
    Record record = untouched();
    UInt32 count = roomFor;
    EXPECT_EQ(thread_info(thread, flavor, record.data(), &count), KERN_INVALID_ARGUMENT);
    EXPECT_EQ(count, roomFor);
    EXPECT_THAT(record, Each(-99));
}

} // namespace

TEST(Threads_Info, AnOrdinaryThreadIsTimeShared) {
    const ParkedThread thread;
    EXPECT_EQ(policyOf(thread.port()), POLICY_TIMESHARE);
    EXPECT_EQ(basePriorityOf(thread.port()), 31 - niceOf(thread.port()));
}

TEST(Threads_Info, BasePriorityOfATimeSharedThreadFallsWithItsNiceValue) {
    const ParkedThread thread;
    for (const int nice : {niceOf(thread.port()), 5, 19}) {
        ASSERT_EQ(setpriority(PRIO_PROCESS, static_cast<id_t>(thread.port()), nice), 0);
        EXPECT_EQ(basePriorityOf(thread.port()), 31 - nice);
    }
}

TEST(Threads_Info, BatchAndIdleThreadsCountAsTimeShared) {
    for (const int policy : {SCHED_BATCH, SCHED_IDLE}) {
        const ParkedThread thread;
        ASSERT_TRUE(setKernelPolicy(thread.port(), policy, 0));
        EXPECT_EQ(policyOf(thread.port()), POLICY_TIMESHARE);
        EXPECT_EQ(basePriorityOf(thread.port()), 31 - niceOf(thread.port()));
    }
}

TEST(Threads_Info, TheResetOnForkFlagIsNoPolicy) {
    const ParkedThread thread;
    ASSERT_TRUE(setKernelPolicy(thread.port(), SCHED_OTHER | SCHED_RESET_ON_FORK, 0));
    EXPECT_EQ(policyOf(thread.port()), POLICY_TIMESHARE);
    EXPECT_EQ(basePriorityOf(thread.port()), 31 - niceOf(thread.port()));
}

TEST(Threads_Info, WritesTheWholeRecordAndItsCountIntoALargerOne) {
    const ParkedThread thread;
    for (const auto& [flavor, size] : {std::pair{THREAD_BASIC_INFO, THREAD_BASIC_INFO_COUNT},
                                       std::pair{THREAD_SCHED_TIMESHARE_INFO, THREAD_SCHED_TIMESHARE_INFO_COUNT}}) {
        Record record = untouched();
        UInt32 count = static_cast<UInt32>(record.size());
        ASSERT_EQ(thread_info(thread.port(), flavor, record.data(), &count), KERN_SUCCESS);
        EXPECT_EQ(count, size);
        EXPECT_GT(record[0], 0);
        for (std::size_t i = 1; i < record.size(); ++i) {
            EXPECT_EQ(record[i], i < size ? 0 : -99) << i;
        }
    }
}

TEST(Threads_Info, RefusesACountThatIsTooSmall) {
    const ParkedThread thread;
    expectRefused(thread.port(), THREAD_BASIC_INFO, THREAD_BASIC_INFO_COUNT - 1);
    expectRefused(thread.port(), THREAD_SCHED_TIMESHARE_INFO, THREAD_SCHED_TIMESHARE_INFO_COUNT - 1);
    expectRefused(thread.port(), THREAD_BASIC_INFO, 0);
}

TEST(Threads_Info, RefusesAnUnknownFlavour) {
    const ParkedThread thread;
    expectRefused(thread.port(), 0, 16);
    expectRefused(thread.port(), 9, 16);
}

TEST(Threads_Info, RefusesAFlavourOfAnotherPolicy) {
    const ParkedThread thread;
    expectRefused(thread.port(), THREAD_SCHED_RR_INFO, 16);
    expectRefused(thread.port(), THREAD_SCHED_FIFO_INFO, 16);
}

TEST(Threads_Info, RefusesMissingPointers) {
    UInt32 count = THREAD_BASIC_INFO_COUNT;
    Record record{};
    EXPECT_EQ(thread_info(gettid(), THREAD_BASIC_INFO, nullptr, &count), KERN_INVALID_ARGUMENT);
    EXPECT_EQ(thread_info(gettid(), THREAD_BASIC_INFO, record.data(), nullptr), KERN_INVALID_ARGUMENT);
}

TEST(Threads_Info, RefusesWhatIsNoThreadOfThisProcess) {
    expectRefused(0, THREAD_BASIC_INFO, 16);
    expectRefused(-1, THREAD_BASIC_INFO, 16);
    expectRefused(idOfAThreadThatIsGone(), THREAD_BASIC_INFO, 16);
    expectRefused(getppid(), THREAD_BASIC_INFO, 16);
}

class Threads_InfoOfARealtimeThread : public WithPermission {};

TEST_F(Threads_InfoOfARealtimeThread, SaysItsPolicyAndPriority) {
    const ParkedThread thread;
    for (const int flag : {0, SCHED_RESET_ON_FORK}) {
        ASSERT_TRUE(setKernelPolicy(thread.port(), SCHED_FIFO | flag, 42));
        EXPECT_EQ(policyOf(thread.port()), POLICY_FIFO);
        EXPECT_EQ(basePriorityOf(thread.port()), 42);
        ASSERT_TRUE(setKernelPolicy(thread.port(), SCHED_RR | flag, 1));
        EXPECT_EQ(policyOf(thread.port()), POLICY_RR);
        EXPECT_EQ(basePriorityOf(thread.port()), 1);
    }
}

TEST_F(Threads_InfoOfARealtimeThread, BasePriorityEndsAtSixtyThree) {
    const ParkedThread thread;
    for (const int policy : {SCHED_FIFO, SCHED_RR}) {
        for (const auto& [priority, base] : {std::pair{63, 63}, std::pair{64, 63}, std::pair{99, 63}}) {
            ASSERT_TRUE(setKernelPolicy(thread.port(), policy, priority));
            EXPECT_EQ(basePriorityOf(thread.port()), base);
        }
    }
}

TEST_F(Threads_InfoOfARealtimeThread, RefusesFlavoursOfOtherPoliciesAndSmallCounts) {
    const ParkedThread thread;
    ASSERT_TRUE(setKernelPolicy(thread.port(), SCHED_FIFO, 5));
    expectRefused(thread.port(), THREAD_SCHED_TIMESHARE_INFO, 16);
    expectRefused(thread.port(), THREAD_SCHED_RR_INFO, 16);
    expectRefused(thread.port(), THREAD_SCHED_FIFO_INFO, THREAD_SCHED_FIFO_INFO_COUNT - 1);
    ASSERT_TRUE(setKernelPolicy(thread.port(), SCHED_RR, 5));
    expectRefused(thread.port(), THREAD_SCHED_TIMESHARE_INFO, 16);
    expectRefused(thread.port(), THREAD_SCHED_FIFO_INFO, 16);
    expectRefused(thread.port(), THREAD_SCHED_RR_INFO, THREAD_SCHED_RR_INFO_COUNT - 1);
}

TEST_F(Threads_InfoOfARealtimeThread, BasePriorityOfTheLowestNiceValueIsFiftyOne) {
    const ParkedThread thread;
    ASSERT_EQ(setpriority(PRIO_PROCESS, static_cast<id_t>(thread.port()), -20), 0);
    EXPECT_EQ(basePriorityOf(thread.port()), 51);
}
