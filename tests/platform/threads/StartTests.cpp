#include "BRAQAudio/platform/threads.h"
#include "platform/threads/Start.h"
#include "tests/platform/threads/Sandbox.h"
#include "tests/platform/threads/ThreadHelpers.h"

#include <gmock/gmock.h>

#include <malloc.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

using namespace threads_test;

namespace {

std::string ownName() {
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof(name));
    return name;
}

std::size_t ownStackBytes() {
    pthread_attr_t attributes;
    std::size_t bytes = 0;
    EXPECT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
    EXPECT_EQ(pthread_attr_getstacksize(&attributes, &bytes), 0);
    pthread_attr_destroy(&attributes);
    return bytes;
}

std::size_t residentBytes() {
    std::size_t total = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void doNothing(void*) {}

void countUp(void* counter) { static_cast<std::atomic<int>*>(counter)->fetch_add(1); }

void startWhereNoneCanBeHad() {
    refuseNewThreads();
    BRAQThread thread{};
    thread.mPort = -7;
    REQUIRE(BRAQThreadStart(&thread, "test", doNothing, nullptr) == EAGAIN);
    REQUIRE(thread.mPort == -7);
    // Leak detection would need a thread at exit.
    std::_Exit(0);
}

void leaveAnEndlessThread() {
    BRAQThread thread{};
    const auto wait = [](void*) {
        for (;;) {
            pause();
        }
    };
    REQUIRE(BRAQThreadStart(&thread, "endless", wait, nullptr) == 0);
}

// Makes the static thread-local storage of this program larger than the smallest stack.
thread_local volatile char largeStorage[48 * 1024];

} // namespace

TEST(Threads_Start, RunsTheFunctionWithItsArgumentOnAnotherThread) {
    pthread_t creator = pthread_self();
    bool isOther = false;
    runOnNewThread([&] { isOther = pthread_equal(creator, pthread_self()) == 0; });
    EXPECT_TRUE(isOther);
}

TEST(Threads_Start, AnswersTheKernelsThreadIdAndTheThreadHandle) {
    struct Seen {
        std::atomic<pthread_t> handle{};
        std::atomic<thread_act_t> self{};
        std::atomic<bool> isDone{};
    } seen;
    BRAQThread thread{};
    ASSERT_EQ(BRAQThreadStart(
                  &thread, "test",
                  [](void* argument) {
                      auto* const record = static_cast<Seen*>(argument);
                      record->handle = pthread_self();
                      record->self = gettid();
                      record->isDone = true;
                  },
                  &seen),
              0);
    waitUntilGone(thread.mPort);
    ASSERT_TRUE(seen.isDone);
    EXPECT_EQ(thread.mPort, seen.self);
    EXPECT_NE(pthread_equal(thread.mThread, seen.handle), 0);
}

TEST(Threads_Start, SelfIsTheKernelsThreadId) {
    EXPECT_EQ(BRAQThreadSelf(), gettid());
    runOnNewThread([] { EXPECT_EQ(BRAQThreadSelf(), gettid()); });
}

TEST(Threads_Start, BlocksEverySignal) {
    runOnNewThread([] {
        sigset_t blocked;
        ASSERT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &blocked), 0);
        for (int signal = 1; signal <= SIGRTMAX; ++signal) {
            const bool cannotBeBlocked = signal == SIGKILL || signal == SIGSTOP;
            const bool isReservedByTheCLibrary = signal > 31 && signal < SIGRTMIN;
            if (!cannotBeBlocked && !isReservedByTheCLibrary) {
                EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
            }
        }
    });
}

TEST(Threads_Start, LeavesTheCreatorsSignalMaskAlone) {
    sigset_t before;
    sigset_t after;
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &before), 0);
    runOnNewThread([] {});
    ASSERT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &after), 0);
    for (int signal = 1; signal < SIGRTMAX; ++signal) {
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
    }
}

TEST(Threads_Start, ASignalToTheProcessIsNotTakenByAThreadOfTheLibrary) {
    static std::atomic<thread_act_t> taker{0};
    taker = 0;
    struct sigaction previous {};
    struct sigaction take {};
    take.sa_handler = [](int) { taker = gettid(); };
    ASSERT_EQ(sigaction(SIGUSR1, &take, &previous), 0);
    {
        const ParkedThread parked;
        ASSERT_EQ(kill(getpid(), SIGUSR1), 0);
        while (taker == 0) {
            sched_yield();
        }
        EXPECT_EQ(taker, gettid());
    }
    ASSERT_EQ(sigaction(SIGUSR1, &previous, nullptr), 0);
}

TEST(Threads_Start, CarriesItsName) {
    runOnNewThread([] { EXPECT_EQ(ownName(), "BRAQ worker"); }, "BRAQ worker");
}

TEST(Threads_Start, KeepsFifteenBytesOfALongName) {
    runOnNewThread([] { EXPECT_EQ(ownName(), "123456789012345"); }, "1234567890123456");
}

TEST(Threads_Start, WithoutANameCarriesTheCreators) {
    runOnNewThread([creators = ownName()] { EXPECT_EQ(ownName(), creators); }, nullptr);
}

TEST(Threads_Start, HasAStackOfTheStatedSize) {
    runOnNewThread([] {
        const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        // The C library rounds to pages and counts the guard page.
        EXPECT_GE(ownStackBytes() + page, BRAQThreadStackBytes);
        if (!kIsSanitized) {
            EXPECT_LE(ownStackBytes(), BRAQThreadStackBytes + 2 * page);
        }
    });
}

TEST(Threads_Start, GrowsAStackThatThreadLocalStorageAloneWouldFill) {
    ASSERT_GT(sizeof(largeStorage), static_cast<std::size_t>(PTHREAD_STACK_MIN));
    const int before = threadCount();
    struct Seen {
        std::atomic<std::size_t> stackBytes{0};
        std::atomic<bool> isDone{false};
    } seen;
    pthread_t thread{};
    ASSERT_EQ(braq::createDetachedThread(
                  &thread, static_cast<std::size_t>(PTHREAD_STACK_MIN),
                  [](void* argument) -> void* {
                      auto* const record = static_cast<Seen*>(argument);
                      largeStorage[sizeof(largeStorage) - 1] = 1;
                      record->stackBytes = ownStackBytes();
                      record->isDone = true;
                      record->isDone.notify_one();
                      return nullptr;
                  },
                  &seen),
              0);
    seen.isDone.wait(false);
    EXPECT_GT(seen.stackBytes, sizeof(largeStorage));
    waitForThreadCount(before);
}

TEST(Threads_Start, SaysWhyNoThreadCouldBeHadAndLeavesTheRecordAlone) {
    EXPECT_PASSES_IN_A_NEW_PROCESS(startWhereNoneCanBeHad);
}

TEST(Threads_Start, DoesNotKeepTheProcessFromExiting) { EXPECT_PASSES_IN_A_NEW_PROCESS(leaveAnEndlessThread); }

TEST(Threads_Start, TheRecordMayBeFreedAtOnce) {
    const int before = threadCount();
    std::atomic<int> runs{0};
    for (int i = 0; i < 1000; ++i) {
        auto thread = std::make_unique<BRAQThread>();
        auto name = std::make_unique<std::string>("short-lived");
        ASSERT_EQ(BRAQThreadStart(thread.get(), name->c_str(), countUp, &runs), 0);
    }
    waitForThreadCount(before);
    EXPECT_EQ(runs, 1000);
}

TEST(Threads_Start, TenThousandThreadsLeaveNothingBehind) {
    const auto startAndEnd = [threads = threadCount()](int count) {
        std::atomic<int> runs{0};
        for (int i = 0; i < count; ++i) {
            BRAQThread thread{};
            ASSERT_EQ(BRAQThreadStart(&thread, "cycle", countUp, &runs), 0);
        }
        waitForThreadCount(threads);
        EXPECT_EQ(runs, count);
    };
    // The C library's caches fill first.
    startAndEnd(500);
    const std::size_t heapBefore = mallinfo2().uordblks;
    const std::size_t residentBefore = residentBytes();
    startAndEnd(10'000);
    // A leaked hand-over record each would be 400 kB, two touched stack pages each 80 MB.
    if (!kIsSanitized) {
        EXPECT_LT(mallinfo2().uordblks, heapBefore + 100'000);
        EXPECT_LT(residentBytes(), residentBefore + 40'000'000);
    }
}

class Threads_StartByARealtimeThread : public WithPermission {};

TEST_F(Threads_StartByARealtimeThread, InheritsNoRealtimePolicy) {
    for (const int policy : {SCHED_FIFO, SCHED_RR}) {
        runOnNewThread([policy] {
            ASSERT_TRUE(setKernelPolicy(gettid(), policy, 20));
            runOnNewThread([] {
                EXPECT_EQ(kernelPolicyOf(gettid()), SCHED_OTHER);
                EXPECT_EQ(kernelPriorityOf(gettid()), 0);
            });
        });
    }
}

TEST(Threads_StartByATimeSharedThread, InheritsPolicyAndNiceValue) {
    runOnNewThread([] {
        ASSERT_TRUE(setKernelPolicy(gettid(), SCHED_BATCH, 0));
        ASSERT_EQ(setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), 7), 0);
        runOnNewThread([] {
            EXPECT_EQ(kernelPolicyOf(gettid()), SCHED_BATCH);
            EXPECT_EQ(niceOf(gettid()), 7);
        });
    });
}
