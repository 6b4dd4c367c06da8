#pragma once

#include "BRAQAudio/core/BGuard.h"

/// @addtogroup core
/// @{

/// A scoped lock of a guard. It unlocks only what it locked itself, so lockers of one thread nest.
struct BGuardLocker {
    BGuard* mGuard;
    bool mLocked; ///< whether this locker took the lock
};
static_assert(std::is_standard_layout_v<BGuardLocker>);
static_assert(offsetof(BGuardLocker, mLocked) == sizeof(BGuard*));

extern "C" {

/// Creates a locker that holds `guard`. Waits for the guard as long as it takes.
BRAQ_EXPORT BGuardLocker* BGuardLockerCreate(BGuard* guard);
/// Initialises a locker in place. Always returns true.
BRAQ_EXPORT bool BGuardLockerInitialize(BGuardLocker* locker, BGuard* guard);
/// Unlocks the guard if this locker locked it. Call it on the thread that created the locker.
BRAQ_EXPORT void BGuardLockerDealloc(BGuardLocker* locker);
/// Like `BGuardLockerDealloc`, then frees the record.
BRAQ_EXPORT void BGuardLockerDestroy(BGuardLocker* locker);

/// `BGuardWait` on the locker's guard.
BRAQ_EXPORT void BGuardLockerWait(BGuardLocker* locker);
/// `BGuardNotify` on the locker's guard.
BRAQ_EXPORT void BGuardLockerNotify(BGuardLocker* locker);
/// `BGuardNotifyAll` on the locker's guard.
BRAQ_EXPORT void BGuardLockerNotifyAll(BGuardLocker* locker);
}

/// @}
