#include "BRAQAudio/core/BAudioNotificationQueueWorker.h"

#include "BRAQAudio/core/BGuardLocker.h"
#include "library/core/BRecord.h"
#include "library/core/BWorkerRun.h"

#include <cstdlib>
#include <memory>
#include <new>

namespace {

constexpr const char* file = "BAudioNotificationQueueWorker";
constexpr const char* guardLabel = "org.braqaudio.notifications.worker_thread";

BAtomicStack* createPendingStack() {
    return BAtomicStackCreate(
        [](void* record) -> void* {
            return BQueueableAudioNotificationNext(static_cast<BQueueableAudioNotification*>(record));
        },
        [](void* record, void* next) {
            BQueueableAudioNotificationSetNext(static_cast<BQueueableAudioNotification*>(record),
                                               static_cast<BQueueableAudioNotification*>(next));
        });
}

braq::WorkerExit exitOf(BAudioNotificationQueueWorker* worker) {
    return {worker->mExitMutex, worker->mExitCondition, worker->mExited};
}

// A notification is not touched after its flag is cleared: its owner may destroy it then, or add it again.
void processChain(BAudioNotificationQueueWorker* worker, BQueueableAudioNotification* oldest) {
    for (BQueueableAudioNotification* notification = oldest; notification != nullptr;) {
        braq::runBlock(notification->mProcessingBlock, notification, worker->mErrors, file,
                       braq::WorkerLog::everyFailure);
        BQueueableAudioNotification* const next = BQueueableAudioNotificationNext(notification);
        BQueueableAudioNotificationSetInProgress(notification, false);
        braq::passWorkerPoint(braq::WorkerPoint::flagCleared, notification);
        notification = next;
    }
}

void workerMain(void* argument) {
    auto* worker = static_cast<BAudioNotificationQueueWorker*>(argument);
    while (!worker->mStopRequested.load()) {
        braq::passWorkerPoint(braq::WorkerPoint::beforeWait, worker);
        BGuardLocker locker;
        BGuardLockerInitialize(&locker, worker->mWakeGuard);
        BGuardLockerWait(&locker);
        while (!worker->mStopRequested.load() && !BAtomicStackIsEmpty(worker->mPendingStack)) {
            processChain(worker, static_cast<BQueueableAudioNotification*>(braq::takePending(worker->mPendingStack)));
        }
        BGuardLockerDealloc(&locker);
    }
    exitOf(worker).announce();
}

} // namespace

BAudioNotificationQueueWorker* BAudioNotificationQueueWorkerCreate(void) {
    return braq::createRecord<BAudioNotificationQueueWorker>(BAudioNotificationQueueWorkerInitialize);
}

bool BAudioNotificationQueueWorkerInitialize(BAudioNotificationQueueWorker* worker) {
    worker->mPendingStack = createPendingStack();
    worker->mWakeGuard = BGuardCreate(guardLabel);
    new (&worker->mErrors) BWorkerErrors();
    new (&worker->mStopRequested) std::atomic<bool>(false);
    new (&worker->mExited) std::atomic<bool>(false);
    pthread_mutex_init(&worker->mExitMutex, nullptr);
    pthread_cond_init(&worker->mExitCondition, nullptr);
    const bool made = worker->mPendingStack != nullptr && worker->mWakeGuard != nullptr &&
                      braq::startWorkerThread(&worker->mThread, "BRAQ notify", workerMain, worker);
    if (!made) {
        BAudioNotificationQueueWorkerDealloc(worker);
    }
    return made;
}

void BAudioNotificationQueueWorkerDealloc(BAudioNotificationQueueWorker* worker) {
    std::destroy_at(&worker->mErrors);
    if (worker->mPendingStack != nullptr) {
        BAtomicStackDestroy(worker->mPendingStack);
    }
    if (worker->mWakeGuard != nullptr) {
        BGuardDestroy(worker->mWakeGuard);
    }
}

void BAudioNotificationQueueWorkerDestroy(BAudioNotificationQueueWorker* worker) {
    BAudioNotificationQueueWorkerDealloc(worker);
    std::free(worker);
}

void BAudioNotificationQueueWorkerStart(BAudioNotificationQueueWorker* /*worker*/) {}

void BAudioNotificationQueueWorkerStop(BAudioNotificationQueueWorker* worker) { BGuardNotify(worker->mWakeGuard); }

void BAudioNotificationQueueWorkerAddNotification(BAudioNotificationQueueWorker* worker,
                                                  BQueueableAudioNotification* notification) noexcept {
    if (notification == nullptr) {
        return;
    }
    // Pushing it twice would link it to itself, and the thread would never reach the end of its chain.
    if (!BQueueableAudioNotificationInProgress(notification)) {
        BQueueableAudioNotificationSetInProgress(notification, true);
        BAtomicStackPush(worker->mPendingStack, notification);
    }
    BGuardNotify(worker->mWakeGuard);
}

void BAudioNotificationQueueWorkerTeardown(BAudioNotificationQueueWorker* worker) {
    if (worker->mStopRequested.exchange(true)) {
        return;
    }
    exitOf(worker).awaitWaking([worker] { BGuardNotify(worker->mWakeGuard); });
}

bool BAudioNotificationQueueWorkerLastError(BAudioNotificationQueueWorker* worker, std::shared_ptr<NSError>* error) {
    return braq::lastWorkerError(worker->mErrors, error);
}
