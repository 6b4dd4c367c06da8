#pragma once

#include "BRAQAudio/core/BAtomicStack.h"
#include "BRAQAudio/core/BQueueableAudioBuffer.h"
#include "BRAQAudio/core/BWorkerErrors.h"
#include "BRAQAudio/platform/BRAQThread.h"

#include <pthread.h>
#include <semaphore.h>

/// @addtogroup core
/// @{

/// A thread that refills or writes out buffers for a real-time thread, in the order in which they were added. Its owner
/// calls Create, any number of AddBuffer, Teardown, Destroy, in this order.
struct BAudioBufferQueueWorker {
    std::atomic<bool> mStopRequested;
    sem_t mWakeSemaphore;
    BAtomicStack* mPendingStack; ///< owned; buffers added and not yet taken by the thread
    pthread_mutex_t mExitMutex;
    pthread_cond_t mExitCondition;
    std::atomic<bool> mExited; ///< once mExitMutex is free, the thread no longer touches this record
    BRAQThread mThread;
    std::atomic<UInt32> mPasses; ///< odd while the thread takes and processes buffers; only the thread writes it
    BWorkerErrors mErrors;
};

extern "C" {

/// Creates a worker and starts its thread; null if the system lacks memory or threads. Not on an I/O thread.
BRAQ_EXPORT BAudioBufferQueueWorker* BAudioBufferQueueWorkerCreate(void);
/// Initialises a worker in place and starts its thread. @return false if the system lacks memory or threads
BRAQ_EXPORT bool BAudioBufferQueueWorkerInitialize(BAudioBufferQueueWorker* worker);
/// Releases the stack and the semaphore. After Teardown only.
BRAQ_EXPORT void BAudioBufferQueueWorkerDealloc(BAudioBufferQueueWorker* worker);
/// Like `BAudioBufferQueueWorkerDealloc`, then frees the record.
BRAQ_EXPORT void BAudioBufferQueueWorkerDestroy(BAudioBufferQueueWorker* worker);

/// Does nothing: the thread runs from creation.
BRAQ_EXPORT void BAudioBufferQueueWorkerStart(BAudioBufferQueueWorker* worker);
/// Wakes the thread once. Does not stop it.
BRAQ_EXPORT void BAudioBufferQueueWorkerStop(BAudioBufferQueueWorker* worker);
/// Passes `buffer` to the thread, which runs its processing block and then clears its in-progress flag. The buffer must
/// not be in progress. It may be added again as soon as its flag is cleared. It must stay alive until the worker has
/// been idle: the thread reads its link after clearing its flag.
/// @realtime Any number of threads. Wakes the worker.
BRAQ_EXPORT void BAudioBufferQueueWorkerAddBuffer(BAudioBufferQueueWorker* worker,
                                                  BQueueableAudioBuffer* buffer) noexcept;
/// Stops the thread. Returns when the thread has left its loop, after the buffer that it is processing. Pending buffers
/// stay in progress and remain the owner's to destroy. Idempotent. Not on an I/O thread or on the worker's own.
BRAQ_EXPORT void BAudioBufferQueueWorkerTeardown(BAudioBufferQueueWorker* worker);

/// Waits until nothing is pending and the thread neither processes a buffer nor follows a link. This is the thread's
/// own state, not the buffers' flags. Nobody may add buffers meanwhile. Returns at once after Teardown. Not on an I/O
/// thread or on the worker's own.
BRAQ_EXPORT void BAudioBufferQueueWorkerWaitUntilIdle(BAudioBufferQueueWorker* worker);
/// The last error that a processing block threw, as an error object. Such a block's buffer counts as processed.
/// @param error may be null; written only if there is one
/// @return whether there is one
/// Any thread but an I/O thread.
BRAQ_EXPORT bool BAudioBufferQueueWorkerLastError(BAudioBufferQueueWorker* worker, std::shared_ptr<NSError>* error);
}

/// @}
