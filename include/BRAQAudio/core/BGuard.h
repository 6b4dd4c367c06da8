#pragma once

#include "BRAQAudio/core/BMutex.h"

/// A mutex with a condition that threads wait on. Every BMutex operation applies to `mMutex`.
struct BGuard {
    BMutex mMutex;
    pthread_cond_t mCondition;
};
static_assert(std::is_standard_layout_v<BGuard>);
static_assert(offsetof(BGuard, mMutex) == 0 && offsetof(BGuard, mCondition) == sizeof(BMutex));

extern "C" {

/// A new guard, or null if the platform mutex could not be made.
/// @param name must outlive the guard
BRAQ_EXPORT BGuard* BGuardCreate(const char* name);
/// Makes a guard in place; a condition that cannot be made ends the process. @return false when the mutex cannot be made
BRAQ_EXPORT bool BGuardInitialize(BGuard* guard, const char* name);
/// Destroys condition and mutex; no thread may wait on the guard or hold it.
BRAQ_EXPORT void BGuardDealloc(BGuard* guard);
/// As `BGuardDealloc`, then frees the record.
BRAQ_EXPORT void BGuardDestroy(BGuard* guard);

/// Gives the guard's mutex up, waits to be notified, and has it again on return. The calling thread must own it. May
/// return without having been notified.
BRAQ_EXPORT void BGuardWait(BGuard* guard);
/// Wakes one waiting thread, if there is one: a notification that finds nobody waiting is lost. The mutex is not taken.
/// @realtime Wakes a thread.
BRAQ_EXPORT void BGuardNotify(BGuard* guard) noexcept;
/// Wakes every waiting thread. The mutex is not taken.
BRAQ_EXPORT void BGuardNotifyAll(BGuard* guard);
}
