#pragma once

#include "BRAQAudio/core/BMutex.h"

/// @addtogroup core
/// @{

/// A mutex with a condition variable. Every BMutex operation applies to `mMutex`.
struct BGuard {
    BMutex mMutex;
    pthread_cond_t mCondition;
};
static_assert(std::is_standard_layout_v<BGuard>);
static_assert(offsetof(BGuard, mMutex) == 0 && offsetof(BGuard, mCondition) == sizeof(BMutex));

extern "C" {

/// Creates a guard; null if the platform mutex cannot be created.
/// @param name must outlive the guard
BRAQ_EXPORT BGuard* BGuardCreate(const char* name);
/// Initialises a guard in place. Ends the process if the condition variable cannot be created. @return false if the
/// mutex cannot be created
BRAQ_EXPORT bool BGuardInitialize(BGuard* guard, const char* name);
/// Destroys the condition variable and the mutex. No thread may wait on the guard or hold it.
BRAQ_EXPORT void BGuardDealloc(BGuard* guard);
/// Like `BGuardDealloc`, then frees the record.
BRAQ_EXPORT void BGuardDestroy(BGuard* guard);

/// Releases the mutex, waits for a notification, and reacquires the mutex. The calling thread must own it. Spurious
/// wake-ups are possible.
BRAQ_EXPORT void BGuardWait(BGuard* guard);
/// Wakes one waiting thread, if there is one; otherwise the notification is lost. Does not take the mutex.
/// @realtime Wakes a thread.
BRAQ_EXPORT void BGuardNotify(BGuard* guard) noexcept;
/// Wakes all waiting threads. Does not take the mutex.
BRAQ_EXPORT void BGuardNotifyAll(BGuard* guard);
}

/// @}
