#pragma once

#include "BRAQAudio/platform/export.h"

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <type_traits>

/// A mutex that knows its owner, so that an owner who locks again is let through without locking twice: lock returns
/// whether it really locked, and only who really locked unlocks.
///
/// Nothing here but what a guard's notify does may run on an I/O thread. Misuse ends the process with the C library's
/// assertion message.
struct BMutex {
    const char* mName;             ///< not copied, not owned
    std::atomic<pthread_t> mOwner; ///< 0 when free; any thread reads it, only the holder writes it
    pthread_mutex_t mMutex;
};
static_assert(std::is_standard_layout_v<BMutex>);
static_assert(sizeof(std::atomic<pthread_t>) == sizeof(pthread_t));
static_assert(offsetof(BMutex, mOwner) == sizeof(const char*));
static_assert(offsetof(BMutex, mMutex) == sizeof(const char*) + sizeof(pthread_t));

extern "C" {

/// A new mutex, or null if the platform has none left.
/// @param name must outlive the mutex
BRAQ_EXPORT BMutex* BMutexCreate(const char* name);
/// Makes a mutex in place. @return true when the platform mutex could be made
BRAQ_EXPORT bool BMutexInitialize(BMutex* mutex, const char* name);
/// Destroys the platform mutex; the mutex must be free.
BRAQ_EXPORT void BMutexDealloc(BMutex* mutex);
/// As `BMutexDealloc`. Deliberately does not free the record: who called `BMutexCreate` frees it with `free`.
BRAQ_EXPORT void BMutexDestroy(BMutex* mutex);

/// Locks, waiting as long as it takes.
/// @return true when this call took the lock; false when the calling thread had it already (nothing is locked then)
BRAQ_EXPORT bool BMutexLock(BMutex* mutex);
/// Unlocks. The calling thread must be the owner.
BRAQ_EXPORT void BMutexUnlock(BMutex* mutex);
/// Locks if that needs no waiting.
/// @param newlyLocked out: whether this call took the lock
/// @return true when the calling thread has the lock now; false when another thread has it
BRAQ_EXPORT bool BMutexTry(BMutex* mutex, bool* newlyLocked);
/// Whether no thread owns the mutex; old by the time it is looked at.
BRAQ_EXPORT bool BMutexIsFree(const BMutex* mutex);
BRAQ_EXPORT bool BMutexIsOwnedByCurrentThread(const BMutex* mutex);
}
