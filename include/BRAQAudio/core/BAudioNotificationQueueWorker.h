#pragma once

#include "BRAQAudio/core/BAtomicStack.h"
#include "BRAQAudio/core/BGuard.h"
#include "BRAQAudio/core/BQueueableAudioNotification.h"
#include "BRAQAudio/core/BWorkerErrors.h"
#include "BRAQAudio/platform/BRAQThread.h"

/// @addtogroup core
/// @{

/// A thread that runs notifications for a real-time thread, in the order in which they were added. It never destroys a
/// notification. Its owner calls Create, any number of AddNotification, Teardown, Destroy, in this order.
///
/// Wake-ups are not counted, deliberately: a notification added while the thread is not waiting stays pending until the
/// next signal.
struct BAudioNotificationQueueWorker {
    std::atomic<bool> mStopRequested;
    BGuard* mWakeGuard;          ///< owned; held by the thread while it runs notifications
    BAtomicStack* mPendingStack; ///< owned; notifications added and not yet taken by the thread
    pthread_mutex_t mExitMutex;
    pthread_cond_t mExitCondition;
    std::atomic<bool> mExited; ///< once mExitMutex is free, the thread no longer touches this record
    BRAQThread mThread;
    BWorkerErrors mErrors;
};

extern "C" {

/// Creates a worker and starts its thread; null if the system lacks memory or threads. Not on an I/O thread.
BRAQ_EXPORT BAudioNotificationQueueWorker* BAudioNotificationQueueWorkerCreate(void);
/// Initialises a worker in place and starts its thread. @return false if the system lacks memory or threads
BRAQ_EXPORT bool BAudioNotificationQueueWorkerInitialize(BAudioNotificationQueueWorker* worker);
/// Releases the stack and the guard. After Teardown only.
BRAQ_EXPORT void BAudioNotificationQueueWorkerDealloc(BAudioNotificationQueueWorker* worker);
/// Like `BAudioNotificationQueueWorkerDealloc`, then frees the record.
BRAQ_EXPORT void BAudioNotificationQueueWorkerDestroy(BAudioNotificationQueueWorker* worker);

/// Does nothing: the thread runs from creation.
BRAQ_EXPORT void BAudioNotificationQueueWorkerStart(BAudioNotificationQueueWorker* worker);
/// Signals the thread once. Does not stop it.
BRAQ_EXPORT void BAudioNotificationQueueWorkerStop(BAudioNotificationQueueWorker* worker);
/// Passes `notification` to the thread, which runs its block and then clears its in-progress flag. If it is still in
/// progress, it is not added again; the thread is only signalled. Null does nothing. The thread does not touch a
/// notification after clearing its flag.
/// @realtime One thread at a time for each notification. Wakes the worker.
BRAQ_EXPORT void BAudioNotificationQueueWorkerAddNotification(BAudioNotificationQueueWorker* worker,
                                                              BQueueableAudioNotification* notification) noexcept;
/// Stops the thread. Returns when the thread has left its loop, after the notification that it is running. Pending
/// notifications stay in progress. Idempotent. Not on an I/O thread or on the worker's own.
BRAQ_EXPORT void BAudioNotificationQueueWorkerTeardown(BAudioNotificationQueueWorker* worker);

/// The last error that a block threw, as an error object.
/// @param error may be null; written only if there is one
/// @return whether there is one
/// Any thread but an I/O thread.
BRAQ_EXPORT bool BAudioNotificationQueueWorkerLastError(BAudioNotificationQueueWorker* worker,
                                                        std::shared_ptr<NSError>* error);
}

/// @}
