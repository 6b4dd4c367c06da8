#pragma once

#include "BRAQAudio/core/BAtomicStack.h"
#include "BRAQAudio/core/BGuard.h"
#include "BRAQAudio/core/BQueueableAudioNotification.h"
#include "BRAQAudio/core/BWorkerErrors.h"
#include "BRAQAudio/platform/BRAQThread.h"

/// One thread that runs notifications handed over by a real-time thread, in the order in which they were added. It never
/// destroys a notification. Order of calls for its owner: Create, any number of AddNotification, Teardown, Destroy.
///
/// Its wake-up is not counted, deliberately: a notification added while the thread is not waiting stays pending until the
/// next signal.
struct BAudioNotificationQueueWorker {
    std::atomic<bool> mStopRequested;
    BGuard* mWakeGuard;          ///< owned; held by the thread while it runs notifications
    BAtomicStack* mPendingStack; ///< owned; notifications added and not yet taken by the thread
    pthread_mutex_t mExitMutex;
    pthread_cond_t mExitCondition;
    std::atomic<bool> mExited; ///< once mExitMutex is free, the thread touches this record no more
    BRAQThread mThread;
    BWorkerErrors mErrors;
};

extern "C" {

/// A new worker whose thread runs already, or null if the system has no memory or thread to give.
/// Never on an I/O thread.
BRAQ_EXPORT BAudioNotificationQueueWorker* BAudioNotificationQueueWorkerCreate(void);
/// Makes a worker in place and starts its thread. @return false when the system has no memory or thread to give
BRAQ_EXPORT bool BAudioNotificationQueueWorkerInitialize(BAudioNotificationQueueWorker* worker);
/// Releases stack and guard. After Teardown only.
BRAQ_EXPORT void BAudioNotificationQueueWorkerDealloc(BAudioNotificationQueueWorker* worker);
/// As `BAudioNotificationQueueWorkerDealloc`, then frees the record.
BRAQ_EXPORT void BAudioNotificationQueueWorkerDestroy(BAudioNotificationQueueWorker* worker);

/// Does nothing: the thread runs from creation.
BRAQ_EXPORT void BAudioNotificationQueueWorkerStart(BAudioNotificationQueueWorker* worker);
/// Signals the thread once and nothing else; it does not stop it.
BRAQ_EXPORT void BAudioNotificationQueueWorkerStop(BAudioNotificationQueueWorker* worker);
/// Hands `notification` to the thread, which runs its block and then clears its in-progress flag. One that is still in
/// progress is not handed over again: the thread is only signalled. Null does nothing.
///
/// The thread clears a notification's flag before it reads its link. One that is added again in just that moment, while
/// others were added behind it, may leave these in progress and never run. Events that must not be lost have a worker of
/// their own.
/// @realtime One thread at a time for each notification. Wakes the worker.
BRAQ_EXPORT void BAudioNotificationQueueWorkerAddNotification(BAudioNotificationQueueWorker* worker,
                                                              BQueueableAudioNotification* notification) noexcept;
/// Stops the thread and returns when it has left its loop, after the notification it may be at. What is pending then
/// stays in progress. A second call returns at once.
/// Never on an I/O thread, nor on the worker's own.
BRAQ_EXPORT void BAudioNotificationQueueWorkerTeardown(BAudioNotificationQueueWorker* worker);

/// The last error that a block threw, as an error object.
/// @param error may be null; written only when there is one
/// @return whether there is one
/// Any thread but an I/O thread.
BRAQ_EXPORT bool BAudioNotificationQueueWorkerLastError(BAudioNotificationQueueWorker* worker,
                                                        std::shared_ptr<NSError>* error);
}
