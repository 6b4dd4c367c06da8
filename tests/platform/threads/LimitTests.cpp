#include "BRAQAudio/platform/threads.h"
#include "tests/platform/threads/Sandbox.h"
#include "tests/platform/threads/SimulatedLimits.h"
#include "tests/platform/threads/ThreadHelpers.h"

#include <sched.h>
#include <sys/resource.h>

using namespace threads_test;

// What RLIMIT_RTPRIO and RLIMIT_NICE permit, each shown with the true limits, where they can be raised, and with
// simulated ones.

namespace {

void trueLimits(Limits limits) {
    useSystemBus(kNoBus);
    dropPermission(limits);
}

void simulatedLimits(Limits limits) {
    useSystemBus(kNoBus);
    simulateLimits(limits);
}

template <auto limitTo>
void niceFallsToTheLimit() {
    limitTo({.realtimePriority = 0, .nice = 25});
    LogRecorder log;
    const ParkedThread worker;
    const ParkedThread io;
    makeWorker(worker.port(), 32);
    REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
    REQUIRE(niceOf(worker.port()) == -5);
    REQUIRE(niceOf(io.port()) == -5);
    REQUIRE(basePriorityOf(worker.port()) == 36);
    REQUIRE(!log.waitFor("Worker threads run on time-sharing at nice -5").empty());
    REQUIRE(!log.waitFor("I/O threads run on time-sharing at nice -5").empty());
}

template <auto limitTo>
void niceIsNeverRaised() {
    const ParkedThread thread;
    limitTo({.realtimePriority = 0, .nice = 25});
    REQUIRE(setpriority(PRIO_PROCESS, static_cast<id_t>(thread.port()), -5) == 0);
    limitTo({.realtimePriority = 0, .nice = 22});
    makeWorker(thread.port(), 32);
    REQUIRE(niceOf(thread.port()) == -5);
}

template <auto limitTo>
void priorityEndsAtTheLimit() {
    limitTo({.realtimePriority = 5, .nice = 0});
    LogRecorder log;
    const ParkedThread io;
    const ParkedThread worker;
    const ParkedThread lowWorker;
    REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
    makeWorker(worker.port(), 63);
    makeWorker(lowWorker.port(), 3);
    REQUIRE(kernelPolicyOf(io.port()) == (SCHED_FIFO | SCHED_RESET_ON_FORK));
    REQUIRE(kernelPriorityOf(io.port()) == 5);
    REQUIRE(kernelPolicyOf(worker.port()) == (SCHED_FIFO | SCHED_RESET_ON_FORK));
    REQUIRE(kernelPriorityOf(worker.port()) == 4);
    REQUIRE(kernelPriorityOf(lowWorker.port()) == 2);
    REQUIRE(log.lines() == (std::vector<std::string>{"I/O threads run on SCHED_FIFO at priority 5",
                                                     "Worker threads run on SCHED_FIFO at priority 4"}));
}

template <auto limitTo>
void aWorkerDoesNotReachTheLimit() {
    limitTo({.realtimePriority = 30, .nice = 0});
    const ParkedThread io;
    const ParkedThread worker;
    REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
    makeWorker(worker.port(), 32);
    REQUIRE(kernelPriorityOf(io.port()) == 30);
    REQUIRE(kernelPriorityOf(worker.port()) == 29);
}

template <auto limitTo>
void oneIsTheLowestLimitThatHelps() {
    limitTo({.realtimePriority = 1, .nice = 0});
    const ParkedThread io;
    const ParkedThread worker;
    REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
    makeWorker(worker.port(), 63);
    REQUIRE(kernelPriorityOf(io.port()) == 1);
    REQUIRE(kernelPriorityOf(worker.port()) == 1);
}

template <auto limitTo>
void aLimitThatSufficesGivesEverything() {
    limitTo({.realtimePriority = 95, .nice = 0});
    const ParkedThread io;
    const ParkedThread worker;
    REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
    makeWorker(worker.port(), 63);
    REQUIRE(kernelPriorityOf(io.port()) == 70);
    REQUIRE(kernelPriorityOf(worker.port()) == 60);
    const integer_t timeshare = 1;
    REQUIRE(thread_policy_set(worker.port(), THREAD_EXTENDED_POLICY, &timeshare, 1) == KERN_SUCCESS);
    REQUIRE(policyOf(worker.port()) == POLICY_TIMESHARE);
}

void aPrivilegeOvercomesLimits() {
    useSystemBus(kNoBus);
    simulateLimitsThatDoNotBind({.realtimePriority = 30, .nice = 0});
    const ParkedThread io;
    const ParkedThread worker;
    const ParkedThread highWorker;
    REQUIRE(BRAQThreadMakeIO(io.port()) == KERN_SUCCESS);
    makeWorker(worker.port(), 32);
    makeWorker(highWorker.port(), 63);
    REQUIRE(kernelPriorityOf(io.port()) == 70);
    REQUIRE(kernelPriorityOf(worker.port()) == 30);
    REQUIRE(kernelPriorityOf(highWorker.port()) == 60);
}

} // namespace

class Threads_WithLimits : public testing::Test {
  protected:
    void SetUp() override {
        if (!canBeGiven({.realtimePriority = 95, .nice = 25})) {
            reportNotShown("this process may not raise RLIMIT_RTPRIO and RLIMIT_NICE");
        }
    }
};

class Threads_WithSimulatedLimits : public WithPermission {};

TEST_F(Threads_WithLimits, TheNiceValueFallsToRLIMIT_NICE) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(niceFallsToTheLimit<trueLimits>);
}

TEST_F(Threads_WithSimulatedLimits, TheNiceValueFallsToRLIMIT_NICE) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(niceFallsToTheLimit<simulatedLimits>);
}

TEST_F(Threads_WithLimits, ANiceValueBelowTheLimitIsNotRaised) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(niceIsNeverRaised<trueLimits>);
}

TEST_F(Threads_WithSimulatedLimits, ANiceValueBelowTheLimitIsNotRaised) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(niceIsNeverRaised<simulatedLimits>);
}

TEST_F(Threads_WithLimits, PrioritiesEndAtRLIMIT_RTPRIOAndItsTopIsLeftToIO) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(priorityEndsAtTheLimit<trueLimits>);
}

TEST_F(Threads_WithSimulatedLimits, PrioritiesEndAtRLIMIT_RTPRIOAndItsTopIsLeftToIO) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(priorityEndsAtTheLimit<simulatedLimits>);
}

TEST_F(Threads_WithLimits, ARealtimeLimitOfOneIsUsed) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(oneIsTheLowestLimitThatHelps<trueLimits>);
}

TEST_F(Threads_WithSimulatedLimits, ARealtimeLimitOfOneIsUsed) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(oneIsTheLowestLimitThatHelps<simulatedLimits>);
}

TEST_F(Threads_WithLimits, ALimitThatSufficesNeedsNoPrivilege) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(aLimitThatSufficesGivesEverything<trueLimits>);
}

TEST_F(Threads_WithSimulatedLimits, ALimitThatSufficesNeedsNoPrivilege) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(aLimitThatSufficesGivesEverything<simulatedLimits>);
}

TEST_F(Threads_WithLimits, AWorkerStaysBelowALimitThatIsWhatItWants) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(aWorkerDoesNotReachTheLimit<trueLimits>);
}

TEST_F(Threads_WithSimulatedLimits, AWorkerStaysBelowALimitThatIsWhatItWants) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(aWorkerDoesNotReachTheLimit<simulatedLimits>);
}

TEST_F(Threads_WithSimulatedLimits, APrivilegeOvercomesThem) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(aPrivilegeOvercomesLimits);
}
