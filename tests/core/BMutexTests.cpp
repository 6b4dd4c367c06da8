#include "BRAQAudio/core/BMutex.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <thread>

namespace {

// BMutexDestroy leaves the record to its maker.
struct DestroyAndFree {
    void operator()(BMutex* mutex) const {
        BMutexDestroy(mutex);
        std::free(mutex);
    }
};
using OwnedMutex = std::unique_ptr<BMutex, DestroyAndFree>;

template <class Body>
void onAnotherThread(Body body) {
    std::thread(body).join();
}

class Mutex : public testing::Test {
  protected:
    OwnedMutex mutex{BMutexCreate("test")};
};
using MutexDeathTest = Mutex;

TEST_F(Mutex, IsFreeWhenMadeAndKeepsItsName) {
    static const char name[] = "a name";
    const OwnedMutex named(BMutexCreate(name));
    ASSERT_NE(named, nullptr);
    EXPECT_EQ(named->mName, name);
    EXPECT_TRUE(BMutexIsFree(named.get()));
    EXPECT_FALSE(BMutexIsOwnedByCurrentThread(named.get()));
}

TEST_F(Mutex, CanBeMadeInPlace) {
    BMutex inPlace;
    ASSERT_TRUE(BMutexInitialize(&inPlace, "in place"));
    EXPECT_TRUE(BMutexLock(&inPlace));
    BMutexUnlock(&inPlace);
    BMutexDealloc(&inPlace);
}

TEST_F(Mutex, LockedTwiceByOneThreadIsFreeAfterOneUnlock) {
    EXPECT_TRUE(BMutexLock(mutex.get()));
    EXPECT_FALSE(BMutexLock(mutex.get()));
    EXPECT_TRUE(BMutexIsOwnedByCurrentThread(mutex.get()));
    EXPECT_FALSE(BMutexIsFree(mutex.get()));
    BMutexUnlock(mutex.get());
    EXPECT_TRUE(BMutexIsFree(mutex.get()));
    onAnotherThread([&] {
        EXPECT_TRUE(BMutexLock(mutex.get()));
        BMutexUnlock(mutex.get());
    });
}

TEST_F(Mutex, TryByTheOwnerSucceedsAndReportsThatItDidNotLock) {
    BMutexLock(mutex.get());
    bool newlyLocked = true;
    EXPECT_TRUE(BMutexTry(mutex.get(), &newlyLocked));
    EXPECT_FALSE(newlyLocked);
    BMutexUnlock(mutex.get());
}

TEST_F(Mutex, TryOfAFreeMutexLocks) {
    bool newlyLocked = false;
    EXPECT_TRUE(BMutexTry(mutex.get(), &newlyLocked));
    EXPECT_TRUE(newlyLocked);
    EXPECT_TRUE(BMutexIsOwnedByCurrentThread(mutex.get()));
    BMutexUnlock(mutex.get());
}

TEST_F(Mutex, TryFailsWhileAnotherThreadHoldsIt) {
    BMutexLock(mutex.get());
    onAnotherThread([&] {
        bool newlyLocked = true;
        EXPECT_FALSE(BMutexTry(mutex.get(), &newlyLocked));
        EXPECT_FALSE(newlyLocked);
        EXPECT_FALSE(BMutexIsOwnedByCurrentThread(mutex.get()));
        EXPECT_FALSE(BMutexIsFree(mutex.get()));
    });
    BMutexUnlock(mutex.get());
}

TEST_F(Mutex, KeepsTwoThreadsApart) {
    constexpr int rounds = 20000;
    int counter = 0;
    const auto count = [&] {
        for (int i = 0; i < rounds; ++i) {
            ASSERT_TRUE(BMutexLock(mutex.get()));
            ++counter;
            BMutexUnlock(mutex.get());
        }
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(counter, 2 * rounds);
}

TEST_F(MutexDeathTest, UnlockByAThreadThatIsNotTheOwnerAborts) {
    EXPECT_DEATH(BMutexUnlock(mutex.get()), "BMutex:45: BMutexUnlock: Assertion `false' failed");
    BMutexLock(mutex.get());
    onAnotherThread(
        [&] { EXPECT_DEATH(BMutexUnlock(mutex.get()), "BMutex:45: BMutexUnlock: Assertion `false' failed"); });
    BMutexUnlock(mutex.get());
}

// An error-checking platform mutex makes the platform refuse what a default one lets pass.
class MutexThatChecksDeathTest : public testing::Test {
  protected:
    MutexThatChecksDeathTest() {
        BMutexInitialize(&mutex, "checks");
        pthread_mutex_destroy(&mutex.mMutex);
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(&mutex.mMutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    ~MutexThatChecksDeathTest() override { BMutexDealloc(&mutex); }

    BMutex mutex;
};

TEST_F(MutexThatChecksDeathTest, UnlockThatThePlatformRefusesAborts) {
    mutex.mOwner = pthread_self(); // owned, as far as the record knows
    EXPECT_DEATH(BMutexUnlock(&mutex), "BMutex:43: BMutexUnlock: Assertion `err == 0' failed");
}

TEST(MutexOfAnotherKindDeathTest, TryThatThePlatformRefusesAborts) {
    void* list = nullptr;
    std::size_t size = 0;
    if (syscall(SYS_get_robust_list, 0, &list, &size) != 0 && errno == ENOSYS) {
        GTEST_SKIP()
            << "not shown: this system does not tell who has died with a mutex, as under an emulated processor";
    }
    BMutex mutex;
    BMutexInitialize(&mutex, "ceiling");
    pthread_mutex_destroy(&mutex.mMutex);
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_setrobust(&attributes, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(&mutex.mMutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    // Its owner ends without unlocking: the platform answers EOWNERDEAD, which is neither success nor busy.
    onAnotherThread([&] { pthread_mutex_lock(&mutex.mMutex); });
    bool newlyLocked = false;
    EXPECT_DEATH(BMutexTry(&mutex, &newlyLocked), "BMutex:64: BMutexTry: Assertion `false' failed");

    EXPECT_EQ(pthread_mutex_lock(&mutex.mMutex), EOWNERDEAD);
    pthread_mutex_consistent(&mutex.mMutex);
    pthread_mutex_unlock(&mutex.mMutex);
    BMutexDealloc(&mutex);
}

} // namespace
