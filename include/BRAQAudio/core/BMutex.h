#pragma once

#include "BRAQAudio/platform/export.h"

#include <pthread.h>

#include <atomic>
#include <cstddef>
#include <type_traits>

/// @addtogroup core
/// @{

/// A mutex that knows its owner. If the owner locks again, the call succeeds without locking twice: lock returns
/// whether this call took the lock, and only that caller unlocks.
///
/// Not on an I/O thread, except through `BGuardNotify`. Misuse ends the process with the C library's assertion message.
struct BMutex {
    const char* mName;             ///< not copied, not owned
    std::atomic<pthread_t> mOwner; ///< 0 if free; any thread reads it, only the owner writes it
    pthread_mutex_t mMutex;
};
static_assert(std::is_standard_layout_v<BMutex>);
static_assert(sizeof(std::atomic<pthread_t>) == sizeof(pthread_t));
static_assert(offsetof(BMutex, mOwner) == sizeof(const char*));
static_assert(offsetof(BMutex, mMutex) == sizeof(const char*) + sizeof(pthread_t));

extern "C" {

/// Creates a mutex; null if the platform cannot create one.
/// @param name must outlive the mutex
BRAQ_EXPORT BMutex* BMutexCreate(const char* name);
/// Initialises a mutex in place. @return whether the platform mutex could be created
BRAQ_EXPORT bool BMutexInitialize(BMutex* mutex, const char* name);
/// Destroys the platform mutex. The mutex must be free.
BRAQ_EXPORT void BMutexDealloc(BMutex* mutex);
/// Same as `BMutexDealloc`. Deliberately does not free the record: the caller of `BMutexCreate` frees it with `free`.
BRAQ_EXPORT void BMutexDestroy(BMutex* mutex);

/// Locks the mutex and waits for it as long as it takes.
/// @return true if this call took the lock; false if the calling thread already had it (then nothing is locked)
BRAQ_EXPORT bool BMutexLock(BMutex* mutex);
/// Unlocks. The calling thread must be the owner.
BRAQ_EXPORT void BMutexUnlock(BMutex* mutex);
/// Locks the mutex if that does not need to wait.
/// @param newlyLocked out: whether this call took the lock
/// @return true if the calling thread now has the lock; false if another thread has it
BRAQ_EXPORT bool BMutexTry(BMutex* mutex, bool* newlyLocked);
/// Whether no thread owned the mutex. That may have changed by the time this returns.
BRAQ_EXPORT bool BMutexIsFree(const BMutex* mutex);
BRAQ_EXPORT bool BMutexIsOwnedByCurrentThread(const BMutex* mutex);
}

/// @}
