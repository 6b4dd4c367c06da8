#include "BRAQAudio/platform/threads.h"
#include "tests/platform/threads/Sandbox.h"
#include "tests/platform/threads/ThreadHelpers.h"

#include <sched.h>
#include <unistd.h>

#include <thread>

using namespace threads_test;

namespace {

// What a thread of the library inherits, and keeps where nothing is permitted.
int ownNice() { return niceOf(gettid()); }

void withoutPermission() {
    useSystemBus(kNoBus);
    dropPermission();
}

void workerStaysTimeSharedAndSaysSo() {
    withoutPermission();
    LogRecorder log;
    const ParkedThread thread;
    makeWorker(thread.port(), 32);
    REQUIRE(policyOf(thread.port()) == POLICY_TIMESHARE);
    REQUIRE(niceOf(thread.port()) == ownNice());
    const std::string line = log.waitFor("Worker threads");
    REQUIRE(line.find("Worker threads run on time-sharing at nice " + std::to_string(ownNice())) == 0);
    REQUIRE(line.find("none from rtkit") != std::string::npos);
}

void ioThreadStaysTimeSharedAndSaysSo() {
    withoutPermission();
    LogRecorder log;
    const ParkedThread thread;
    REQUIRE(BRAQThreadMakeIO(thread.port()) == KERN_SUCCESS);
    REQUIRE(policyOf(thread.port()) == POLICY_TIMESHARE);
    const std::string line = log.waitFor("I/O threads");
    REQUIRE(line.find("I/O threads run on time-sharing at nice " + std::to_string(ownNice())) == 0);
}

void eachKindIsSaidOnce() {
    withoutPermission();
    LogRecorder log;
    const ParkedThread first;
    const ParkedThread second;
    const int threads = threadCount();
    makeWorker(first.port(), 32);
    makeWorker(second.port(), 32);
    REQUIRE(BRAQThreadMakeIO(first.port()) == KERN_SUCCESS);
    REQUIRE(BRAQThreadMakeIO(second.port()) == KERN_SUCCESS);
    REQUIRE(!log.waitFor("Worker threads").empty());
    REQUIRE(!log.waitFor("I/O threads").empty());
    // The thread that asks ends when all are served.
    waitForThreadCount(threads);
    REQUIRE(log.lines().size() == 2);
}

void manyThreadsAtOnceAreAllAnswered() {
    withoutPermission();
    LogRecorder log;
    std::vector<std::thread> callers;
    callers.reserve(8);
    for (int i = 0; i < 8; ++i) {
        callers.emplace_back([i] {
            for (int round = 0; round < 50; ++round) {
                const ParkedThread thread;
                makeWorker(thread.port(), i);
                REQUIRE(BRAQThreadMakeIO(thread.port()) == KERN_SUCCESS);
            }
        });
    }
    for (std::thread& caller : callers) {
        caller.join();
    }
    const ParkedThread last;
    makeWorker(last.port(), 32);
    REQUIRE(BRAQThreadMakeIO(last.port()) == KERN_SUCCESS);
    REQUIRE(!log.waitFor("Worker threads").empty());
    REQUIRE(!log.waitFor("I/O threads").empty());
    REQUIRE(log.lines().size() == 2);
}

void withoutAThreadToAskOnTheCallSucceedsAllTheSame() {
    const ParkedThread worker;
    withoutPermission();
    refuseNewThreads();
    LogRecorder log;
    makeWorker(worker.port(), 32);
    makeWorker(worker.port(), 32);
    const std::vector<std::string> lines = log.lines();
    REQUIRE(lines.size() == 1);
    REQUIRE(lines[0].find("no thread to ask rtkit on") != std::string::npos);
    // Leak detection would need a thread at exit.
    std::_Exit(0);
}

void realtimeIsSaidOnce() {
    useSystemBus(kNoBus);
    LogRecorder log;
    const ParkedThread first;
    const ParkedThread second;
    makeWorker(first.port(), 32);
    makeWorker(second.port(), 63);
    REQUIRE(BRAQThreadMakeIO(first.port()) == KERN_SUCCESS);
    REQUIRE(BRAQThreadMakeIO(second.port()) == KERN_SUCCESS);
    REQUIRE(log.lines() == (std::vector<std::string>{"Worker threads run on SCHED_FIFO at priority 30",
                                                     "I/O threads run on SCHED_FIFO at priority 70"}));
}

} // namespace

TEST(Threads_WithoutPermission, AWorkerStaysTimeSharedAndTheLogSaysSo) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(workerStaysTimeSharedAndSaysSo);
}

TEST(Threads_WithoutPermission, AnIOThreadStaysTimeSharedAndTheLogSaysSo) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(ioThreadStaysTimeSharedAndSaysSo);
}

TEST(Threads_WithoutPermission, TheLogSaysItOnceForEachKindOfThread) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(eachKindIsSaidOnce);
}

TEST(Threads_WithoutPermission, ManyThreadsAskingAtOnceAreAllServed) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(manyThreadsAtOnceAreAllAnswered);
}

TEST(Threads_WithoutPermission, SucceedsWhenNoThreadCanBeStartedToAskOn) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(withoutAThreadToAskOnTheCallSucceedsAllTheSame);
}

class Threads_WithPermissionInANewProcess : public WithPermission {};

TEST_F(Threads_WithPermissionInANewProcess, TheLogSaysOnceForEachKindWhatWasHad) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(realtimeIsSaidOnce);
}
