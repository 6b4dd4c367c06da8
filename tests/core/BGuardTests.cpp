#include "BRAQAudio/core/BGuard.h"
#include "BRAQAudio/core/BGuardLocker.h"

#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <thread>
#include <vector>

// The platform's own condition refuses nothing, so these do it: the linker has the library's calls come here.
namespace {
std::atomic<int> refusal{0}; // what they answer then
}
extern "C" {
int __real_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes);
int __wrap_pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
    return refusal != 0 ? refusal.load() : __real_pthread_cond_init(condition, attributes);
}
int __real_pthread_cond_signal(pthread_cond_t* condition);
int __wrap_pthread_cond_signal(pthread_cond_t* condition) {
    return refusal != 0 ? refusal.load() : __real_pthread_cond_signal(condition);
}
int __real_pthread_cond_broadcast(pthread_cond_t* condition);
int __wrap_pthread_cond_broadcast(pthread_cond_t* condition) {
    return refusal != 0 ? refusal.load() : __real_pthread_cond_broadcast(condition);
}
}

namespace {

using OwnedGuard = std::unique_ptr<BGuard, decltype(&BGuardDestroy)>;

class Guard : public testing::Test {
  protected:
    // Notifies until `done`, because a notification that finds nobody waiting is lost.
    template <class Notify>
    static void notifyUntil(const std::atomic<bool>& done, Notify notify) {
        while (!done) {
            notify();
            std::this_thread::yield();
        }
    }

    OwnedGuard guard{BGuardCreate("test"), BGuardDestroy};
};
using GuardDeathTest = Guard;

TEST_F(Guard, IsAMutexToo) {
    EXPECT_TRUE(BMutexLock(&guard->mMutex));
    EXPECT_FALSE(BMutexIsFree(&guard->mMutex));
    BMutexUnlock(&guard->mMutex);
    EXPECT_TRUE(BMutexIsFree(&guard->mMutex));
}

TEST_F(Guard, WaitGivesTheMutexUpAndHasItAgainOnReturn) {
    std::atomic<bool> done = false;
    std::thread waiter([&] {
        BMutexLock(&guard->mMutex);
        BGuardWait(guard.get());
        EXPECT_TRUE(BMutexIsOwnedByCurrentThread(&guard->mMutex));
        BMutexUnlock(&guard->mMutex);
        done = true;
    });
    notifyUntil(done, [&] {
        // The lock can be had although the waiter has not unlocked: it is asleep in its wait.
        if (BMutexLock(&guard->mMutex)) {
            EXPECT_TRUE(BMutexIsOwnedByCurrentThread(&guard->mMutex));
            BMutexUnlock(&guard->mMutex);
        }
        BGuardNotify(guard.get());
    });
    waiter.join();
    EXPECT_TRUE(BMutexIsFree(&guard->mMutex));
}

TEST_F(Guard, IsFreeWhileAWaiterSleeps) {
    std::atomic<bool> waiting = false;
    std::thread waiter([&] {
        BMutexLock(&guard->mMutex);
        waiting = true;
        BGuardWait(guard.get());
        BMutexUnlock(&guard->mMutex);
    });
    while (!waiting) {
        std::this_thread::yield();
    }
    // The platform's mutex can be had once the waiter is in its wait. The guard's own would note a new owner.
    pthread_mutex_lock(&guard->mMutex.mMutex);
    pthread_mutex_unlock(&guard->mMutex.mMutex);
    EXPECT_TRUE(BMutexIsFree(&guard->mMutex));
    BGuardNotify(guard.get());
    waiter.join();
}

TEST_F(Guard, NotifyAllWakesEveryWaiter) {
    constexpr int waiters = 4;
    std::atomic<int> asleep = 0;
    std::atomic<int> awake = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < waiters; ++i) {
        threads.emplace_back([&] {
            BMutexLock(&guard->mMutex);
            ++asleep;
            BGuardWait(guard.get());
            ++awake;
            BMutexUnlock(&guard->mMutex);
        });
    }
    while (asleep < waiters) {
        std::this_thread::yield();
    }
    // Holding the mutex once means that the last of them is in its wait.
    BMutexLock(&guard->mMutex);
    BMutexUnlock(&guard->mMutex);
    BGuardNotifyAll(guard.get());
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(awake, waiters);
}

TEST_F(Guard, NotifyKeepsTheRealtimeRules) {
    std::atomic<bool> waiting = false;
    std::thread waiter([&] {
        BMutexLock(&guard->mMutex);
        waiting = true;
        BGuardWait(guard.get());
        BMutexUnlock(&guard->mMutex);
    });
    while (!waiting) {
        std::this_thread::yield();
    }
    BMutexLock(&guard->mMutex);
    BMutexUnlock(&guard->mMutex);
    braq::tests::runRealtime([&] { BGuardNotify(guard.get()); });
    waiter.join();
}

TEST_F(GuardDeathTest, WaitWithoutOwningItAborts) {
    EXPECT_DEATH(
        BGuardWait(guard.get()),
        "BGuard:28: BGuardWait: Assertion `pthread_equal\\( pthread_self\\(\\), self->mMutex.mOwner \\)' failed");
}

TEST_F(GuardDeathTest, AWaitThatThePlatformRefusesAborts) {
    pthread_mutex_destroy(&guard->mMutex.mMutex);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(&guard->mMutex.mMutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    guard->mMutex.mOwner = pthread_self(); // owned, as far as the record knows
    EXPECT_DEATH(BGuardWait(guard.get()), "BGuard:32: BGuardWait: Assertion `status == 0' failed");
}

TEST_F(GuardDeathTest, AConditionThatThePlatformRefusesAborts) {
    const auto refused = [](auto call) {
        refusal = EAGAIN;
        call();
    };
    EXPECT_DEATH(refused([] { BGuardCreate("refused"); }),
                 "BGuardInternal:18: BGuardInitialize: Assertion `status == 0' failed");
    EXPECT_DEATH(refused([&] { BGuardNotify(guard.get()); }),
                 "BGuard:38: BGuardNotify: Assertion `status == 0' failed");
    EXPECT_DEATH(refused([&] { BGuardNotifyAll(guard.get()); }),
                 "BGuard:43: BGuardNotifyAll: Assertion `status == 0' failed");
}

TEST_F(Guard, LockerUnlocksOnlyWhatItLocked) {
    BGuardLocker* const outer = BGuardLockerCreate(guard.get());
    EXPECT_TRUE(outer->mLocked);
    BGuardLocker* const inner = BGuardLockerCreate(guard.get());
    EXPECT_FALSE(inner->mLocked);
    BGuardLockerDestroy(inner);
    EXPECT_TRUE(BMutexIsOwnedByCurrentThread(&guard->mMutex));
    BGuardLockerDestroy(outer);
    EXPECT_TRUE(BMutexIsFree(&guard->mMutex));
}

TEST_F(Guard, LockerCanBeMadeInPlace) {
    BGuardLocker locker;
    ASSERT_TRUE(BGuardLockerInitialize(&locker, guard.get()));
    EXPECT_TRUE(BMutexIsOwnedByCurrentThread(&guard->mMutex));
    BGuardLockerDealloc(&locker);
    EXPECT_TRUE(BMutexIsFree(&guard->mMutex));
}

TEST_F(Guard, LockerForwardsWaitAndNotify) {
    for (const bool all : {false, true}) {
        std::atomic<bool> done = false;
        std::thread waiter([&] {
            BGuardLocker* const locker = BGuardLockerCreate(guard.get());
            BGuardLockerWait(locker);
            BGuardLockerDestroy(locker);
            done = true;
        });
        notifyUntil(done, [&] {
            BGuardLocker* const locker = BGuardLockerCreate(guard.get());
            all ? BGuardLockerNotifyAll(locker) : BGuardLockerNotify(locker);
            BGuardLockerDestroy(locker);
        });
        waiter.join();
        EXPECT_TRUE(BMutexIsFree(&guard->mMutex));
    }
}

} // namespace
