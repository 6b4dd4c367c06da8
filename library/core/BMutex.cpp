#include "BRAQAudio/core/BMutex.h"

#include "library/core/BAssert.h"
#include "library/core/BRecord.h"

#include <cerrno>
#include <new>

namespace {

constexpr pthread_t noOwner = 0;

// Relaxed is sufficient: the owner field equals the calling thread only if that thread wrote it.
bool ownedByCaller(const BMutex* mutex) {
    return pthread_equal(mutex->mOwner.load(std::memory_order_relaxed), pthread_self()) != 0;
}

} // namespace

BMutex* BMutexCreate(const char* name) {
    return braq::createRecord<BMutex>([name](BMutex* mutex) { return BMutexInitialize(mutex, name); });
}

bool BMutexInitialize(BMutex* mutex, const char* name) {
    mutex->mName = name;
    new (&mutex->mOwner) std::atomic<pthread_t>(noOwner);
    return pthread_mutex_init(&mutex->mMutex, nullptr) == 0;
}

void BMutexDealloc(BMutex* mutex) { pthread_mutex_destroy(&mutex->mMutex); }

void BMutexDestroy(BMutex* mutex) { BMutexDealloc(mutex); }

bool BMutexLock(BMutex* mutex) {
    if (ownedByCaller(mutex) || pthread_mutex_lock(&mutex->mMutex) != 0) {
        return false;
    }
    mutex->mOwner.store(pthread_self(), std::memory_order_relaxed);
    return true;
}

void BMutexUnlock(BMutex* mutex) {
    BAssertAt(ownedByCaller(mutex), __func__, "BMutex", 45, "false");
    mutex->mOwner.store(noOwner, std::memory_order_relaxed);
    const int err = pthread_mutex_unlock(&mutex->mMutex);
    BAssertAt(err == 0, __func__, "BMutex", 43, "err == 0");
}

bool BMutexTry(BMutex* mutex, bool* newlyLocked) {
    *newlyLocked = false;
    if (ownedByCaller(mutex)) {
        return true;
    }
    const int err = pthread_mutex_trylock(&mutex->mMutex);
    if (err == EBUSY) {
        return false;
    }
    BAssertAt(err == 0, __func__, "BMutex", 64, "false");
    mutex->mOwner.store(pthread_self(), std::memory_order_relaxed);
    *newlyLocked = true;
    return true;
}

bool BMutexIsFree(const BMutex* mutex) { return mutex->mOwner.load(std::memory_order_relaxed) == noOwner; }

bool BMutexIsOwnedByCurrentThread(const BMutex* mutex) { return ownedByCaller(mutex); }
