#include "BRAQAudio/core/BGuardLocker.h"

#include "library/core/BRecord.h"

#include <cstdlib>

BGuardLocker* BGuardLockerCreate(BGuard* guard) {
    return braq::createRecord<BGuardLocker>(
        [guard](BGuardLocker* locker) { return BGuardLockerInitialize(locker, guard); });
}

bool BGuardLockerInitialize(BGuardLocker* locker, BGuard* guard) {
    locker->mGuard = guard;
    locker->mLocked = BMutexLock(&guard->mMutex);
    return true;
}

void BGuardLockerDealloc(BGuardLocker* locker) {
    if (locker->mLocked) {
        BMutexUnlock(&locker->mGuard->mMutex);
    }
}

void BGuardLockerDestroy(BGuardLocker* locker) {
    BGuardLockerDealloc(locker);
    std::free(locker);
}

void BGuardLockerWait(BGuardLocker* locker) { BGuardWait(locker->mGuard); }

void BGuardLockerNotify(BGuardLocker* locker) { BGuardNotify(locker->mGuard); }

void BGuardLockerNotifyAll(BGuardLocker* locker) { BGuardNotifyAll(locker->mGuard); }
