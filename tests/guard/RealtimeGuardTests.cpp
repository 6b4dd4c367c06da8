#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>
#include <semaphore.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>

namespace {

using braq::tests::RealtimePause;
using braq::tests::runRealtime;

// What is allocated must get out of the compiler's sight, or it leaves the allocation out.
void* volatile outOfSight;

class RealtimeGuardDeathTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(braq::tests::realtimeGuardIsActive());
        testing::FLAGS_gtest_death_test_style = "threadsafe";
    }
};

TEST(RealtimeGuard, LetsComputingAndWakingPass) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 0);
    int sum = 0;
    runRealtime([&] {
        for (int i = 0; i < 1000; ++i) {
            sum += i;
        }
        sem_post(&semaphore);
    });
    EXPECT_EQ(sum, 499500);
    EXPECT_EQ(sem_trywait(&semaphore), 0);
    sem_destroy(&semaphore);
}

TEST(RealtimeGuard, WorksOnTheThreadsBehalfOutsideTheScope) {
    std::string line;
    runRealtime([&] {
        const RealtimePause pause;
        std::ifstream("/proc/self/comm") >> line;
    });
    EXPECT_FALSE(line.empty());
}

TEST_F(RealtimeGuardDeathTest, StopsAnAllocation) {
    EXPECT_DEATH(runRealtime([] { outOfSight = std::malloc(16); }), "real-time guard: malloc in a real-time scope");
    EXPECT_DEATH(runRealtime([] { outOfSight = new int(1); }), "real-time guard: malloc in a real-time scope");
}

TEST_F(RealtimeGuardDeathTest, StopsAFree) {
    EXPECT_DEATH(
        {
            outOfSight = std::malloc(16);
            runRealtime([] { std::free(outOfSight); });
        },
        "real-time guard: free in a real-time scope");
}

TEST_F(RealtimeGuardDeathTest, StopsALock) {
    std::mutex mutex;
    EXPECT_DEATH(runRealtime([&] { mutex.lock(); }), "real-time guard: pthread_mutex_lock in a real-time scope");
}

TEST_F(RealtimeGuardDeathTest, StopsAThrow) {
    EXPECT_DEATH(runRealtime([] { throw std::runtime_error("no"); }), "real-time guard: malloc in a real-time scope");
}

TEST_F(RealtimeGuardDeathTest, StopsASystemCallAndNamesWhereItCameFrom) {
    EXPECT_DEATH(runRealtime([] { outOfSight = reinterpret_cast<void*>(static_cast<long>(getppid())); }),
                 "real-time guard: system call [0-9]+ in a real-time scope, called from\n.*\\(");
}

TEST_F(RealtimeGuardDeathTest, StopsAWaitForAnotherThread) {
    sem_t semaphore;
    sem_init(&semaphore, 0, 1);
    EXPECT_DEATH(runRealtime([&] { sem_wait(&semaphore); }), "real-time guard: sem_wait in a real-time scope");
    sem_destroy(&semaphore);
}

} // namespace
