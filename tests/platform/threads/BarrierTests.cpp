#include "platform/threads/Barrier.h"
#include "tests/platform/threads/Sandbox.h"
#include "tests/platform/threads/ThreadHelpers.h"

#include <gtest/gtest.h>
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <thread>

using namespace threads_test;

namespace {

void startTheFirstThread() {
    REQUIRE(!braq::passBarrierOnAllThreads());
    runOnNewThread([] {});
    REQUIRE(braq::passBarrierOnAllThreads());
}

void startAThreadBesideOthers() {
    std::thread([] {}).join();
    runOnNewThread([] {});
    REQUIRE(!braq::passBarrierOnAllThreads());
    REQUIRE(braq::canPassBarrierOnAllThreads());
    REQUIRE(braq::passBarrierOnAllThreads());
}

/// Asks only what the system has; that runs in the processes that the tests start, too.
bool hasBarriers() {
    const long commands = syscall(SYS_membarrier, MEMBARRIER_CMD_QUERY, 0, 0);
    return commands > 0 && (commands & MEMBARRIER_CMD_PRIVATE_EXPEDITED) != 0;
}

/// Sanitizers have threads, and answers, of their own.
class Threads_Barrier : public testing::Test {
  protected:
    void SetUp() override {
        if (kIsSanitized || !hasBarriers()) {
            reportNotShown("there are no barriers here");
        }
    }
};

} // namespace

TEST_F(Threads_Barrier, IsPreparedWithTheFirstThreadOfAProcess) { EXPECT_PASSES_IN_A_NEW_PROCESS(startTheFirstThread); }

TEST_F(Threads_Barrier, IsLeftToTheFirstRingWhereThereAreThreads) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(startAThreadBesideOthers);
}
