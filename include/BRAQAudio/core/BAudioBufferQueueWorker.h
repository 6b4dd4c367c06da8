#pragma once

#include "BRAQAudio/core/BAtomicStack.h"
#include "BRAQAudio/core/BQueueableAudioBuffer.h"
#include "BRAQAudio/core/BWorkerErrors.h"
#include "BRAQAudio/platform/BRAQThread.h"

#include <pthread.h>
#include <semaphore.h>

/// One thread that refills or empties buffers away from the real-time thread, in the order in which they were added.
/// Order of calls for its owner: Create, any number of AddBuffer, Teardown, Destroy.
struct BAudioBufferQueueWorker {
    std::atomic<bool> mStopRequested;
    sem_t mWakeSemaphore;
    BAtomicStack* mPendingStack; ///< owned; buffers added and not yet taken by the thread
    pthread_mutex_t mExitMutex;
    pthread_cond_t mExitCondition;
    std::atomic<bool> mExited; ///< once mExitMutex is free, the thread touches this record no more
    BRAQThread mThread;
    std::atomic<UInt32> mPasses; ///< odd while the thread takes and processes buffers; written by it alone
    BWorkerErrors mErrors;
};

extern "C" {

/// A new worker whose thread runs already, or null if the system has no memory or thread to give.
/// Never on an I/O thread.
BRAQ_EXPORT BAudioBufferQueueWorker* BAudioBufferQueueWorkerCreate(void);
/// Makes a worker in place and starts its thread. @return false when the system has no memory or thread to give
BRAQ_EXPORT bool BAudioBufferQueueWorkerInitialize(BAudioBufferQueueWorker* worker);
/// Releases stack and semaphore. After Teardown only.
BRAQ_EXPORT void BAudioBufferQueueWorkerDealloc(BAudioBufferQueueWorker* worker);
/// As `BAudioBufferQueueWorkerDealloc`, then frees the record.
BRAQ_EXPORT void BAudioBufferQueueWorkerDestroy(BAudioBufferQueueWorker* worker);

/// Does nothing: the thread runs from creation.
BRAQ_EXPORT void BAudioBufferQueueWorkerStart(BAudioBufferQueueWorker* worker);
/// Wakes the thread once and nothing else; it does not stop it.
BRAQ_EXPORT void BAudioBufferQueueWorkerStop(BAudioBufferQueueWorker* worker);
/// Hands `buffer` to the thread, which runs its processing block and then clears its in-progress flag. The buffer must
/// not be in progress and stays alive until the worker has been idle.
/// @realtime Any number of threads. Wakes the worker.
BRAQ_EXPORT void BAudioBufferQueueWorkerAddBuffer(BAudioBufferQueueWorker* worker,
                                                  BQueueableAudioBuffer* buffer) noexcept;
/// Stops the thread and returns when it has left its loop, after the buffer it may be at. What is pending then stays in
/// progress and is the owner's to destroy. A second call returns at once.
/// Never on an I/O thread, nor on the worker's own.
BRAQ_EXPORT void BAudioBufferQueueWorkerTeardown(BAudioBufferQueueWorker* worker);

/// Waits until nothing is pending and the thread is at no buffer and follows no link. That is the thread's own state,
/// not the buffers' flags. Who may add buffers must be kept from it meanwhile. Returns at once after Teardown.
/// Never on an I/O thread, nor on the worker's own.
BRAQ_EXPORT void BAudioBufferQueueWorkerWaitUntilIdle(BAudioBufferQueueWorker* worker);
/// The last error that a processing block threw, as an error object; such a block's buffer counts as processed.
/// @param error may be null; written only when there is one
/// @return whether there is one
/// Any thread but an I/O thread.
BRAQ_EXPORT bool BAudioBufferQueueWorkerLastError(BAudioBufferQueueWorker* worker, std::shared_ptr<NSError>* error);
}
