#include "BRAQAudio/core/BGuard.h"

#include "library/core/BAssert.h"
#include "library/core/BRecord.h"

#include <cstdlib>

BGuard* BGuardCreate(const char* name) {
    return braq::createRecord<BGuard>([name](BGuard* guard) { return BGuardInitialize(guard, name); });
}

bool BGuardInitialize(BGuard* guard, const char* name) {
    if (!BMutexInitialize(&guard->mMutex, name)) {
        return false;
    }
    const int status = pthread_cond_init(&guard->mCondition, nullptr);
    BAssertAt(status == 0, __func__, "BGuardInternal", 18, "status == 0");
    return true;
}

void BGuardDealloc(BGuard* guard) {
    pthread_cond_destroy(&guard->mCondition);
    BMutexDealloc(&guard->mMutex);
}

void BGuardDestroy(BGuard* guard) {
    BGuardDealloc(guard);
    std::free(guard);
}

void BGuardWait(BGuard* guard) {
    BAssertAt(BMutexIsOwnedByCurrentThread(&guard->mMutex), __func__, "BGuard", 28,
              "pthread_equal( pthread_self(), self->mMutex.mOwner )");
    guard->mMutex.mOwner.store(0, std::memory_order_relaxed);
    const int status = pthread_cond_wait(&guard->mCondition, &guard->mMutex.mMutex);
    BAssertAt(status == 0, __func__, "BGuard", 32, "status == 0");
    guard->mMutex.mOwner.store(pthread_self(), std::memory_order_relaxed);
}

void BGuardNotify(BGuard* guard) noexcept {
    const int status = pthread_cond_signal(&guard->mCondition);
    BAssertAt(status == 0, __func__, "BGuard", 38, "status == 0");
}

void BGuardNotifyAll(BGuard* guard) {
    const int status = pthread_cond_broadcast(&guard->mCondition);
    BAssertAt(status == 0, __func__, "BGuard", 43, "status == 0");
}
