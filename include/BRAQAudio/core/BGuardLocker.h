#pragma once

#include "BRAQAudio/core/BGuard.h"

/// A lock over a guard that ends with the locker; it unlocks only what it locked itself, so lockers of one thread nest.
struct BGuardLocker {
    BGuard* mGuard;
    bool mLocked; ///< this locker took the lock
};
static_assert(std::is_standard_layout_v<BGuardLocker>);
static_assert(offsetof(BGuardLocker, mLocked) == sizeof(BGuard*));

extern "C" {

/// A new locker that holds `guard`, waiting for it as long as it takes.
BRAQ_EXPORT BGuardLocker* BGuardLockerCreate(BGuard* guard);
/// Makes a locker in place; always true.
BRAQ_EXPORT bool BGuardLockerInitialize(BGuardLocker* locker, BGuard* guard);
/// Unlocks the guard if this locker locked it. Call it on the thread that made the locker.
BRAQ_EXPORT void BGuardLockerDealloc(BGuardLocker* locker);
/// As `BGuardLockerDealloc`, then frees the record.
BRAQ_EXPORT void BGuardLockerDestroy(BGuardLocker* locker);

/// `BGuardWait` on the locker's guard.
BRAQ_EXPORT void BGuardLockerWait(BGuardLocker* locker);
/// `BGuardNotify` on the locker's guard.
BRAQ_EXPORT void BGuardLockerNotify(BGuardLocker* locker);
/// `BGuardNotifyAll` on the locker's guard.
BRAQ_EXPORT void BGuardLockerNotifyAll(BGuardLocker* locker);
}
