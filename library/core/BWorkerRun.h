#pragma once

#include "BRAQAudio/core/BAtomicStack.h"
#include "BRAQAudio/core/BWorkerErrors.h"
#include "BRAQAudio/platform/threads.h"

#include <atomic>
#include <exception>

// Shared by the buffer worker and the notification worker: how their thread starts, survives exceptions, and ends.
namespace braq {

/// Starts a worker's thread with fixed scheduling at a precedence of 63 minus the base priority of the calling thread.
/// @return false if the system refuses a thread
[[nodiscard]] bool startWorkerThread(BRAQThread* thread, const char* name, void (*main)(void*), void* worker);

/// Takes all pending records. Reverses the links in place: `BAtomicStackPopAllReversed` would allocate a temporary
/// stack, which delays the first record and can fail.
/// @return the oldest, linked up to the newest; null if none is pending
void* takePending(BAtomicStack* pending) noexcept;

/// Which exceptions of a worker's closures are logged. All are kept.
enum class WorkerLog {
    everyFailure,
    firstOfARun, ///< not those that directly follow another one: a full disk fails every buffer
};

/// Keeps an exception thrown by a worker's closure, and logs it if `log` says so.
/// @param file reported in the log
void keepWorkerError(BWorkerErrors& errors, const char* file, WorkerLog log,
                     const std::exception_ptr& exception) noexcept;

/// Copies the last error. @return false if there is none; then `*error` is not written
bool lastWorkerError(BWorkerErrors& errors, std::shared_ptr<NSError>* error);

/// Runs a user's closure. An exception ends neither the process nor the worker.
template <class Block, class Record>
void runBlock(const Block& block, Record* record, BWorkerErrors& errors, const char* file, WorkerLog log) noexcept {
    try {
        block(record);
        errors.mFailing = false;
    } catch (...) {
        keepWorkerError(errors, file, log, std::current_exception());
    }
}

/// The handshake by which a worker's thread announces that it no longer touches the worker.
struct WorkerExit {
    pthread_mutex_t& mutex;
    pthread_cond_t& condition;
    std::atomic<bool>& exited;

    /// The last action of the thread.
    void announce() const;
    /// Returns when the thread has announced its exit.
    void await() const;
    /// Like `await`, but calls `wake` every millisecond meanwhile, for a wake-up that can be lost.
    template <class Wake>
    void awaitWaking(Wake wake) const {
        pthread_mutex_lock(&mutex);
        while (!exited.load(std::memory_order_acquire)) {
            wake();
            waitAMillisecond();
        }
        pthread_mutex_unlock(&mutex);
    }

  private:
    void waitAMillisecond() const;
};

/// Points at which tests stop a worker, to show what happens if its thread is delayed exactly there.
enum class WorkerPoint {
    beforeWait,  ///< stop was checked, the wait has not begun
    flagCleared, ///< a record's flag was just cleared; the link of a buffer is read after this
};
using WorkerPointHook = void (*)(WorkerPoint point, void* record);

/// Null except in tests; read on worker threads only.
extern std::atomic<WorkerPointHook> workerPointHook;

inline void passWorkerPoint(WorkerPoint point, void* record) {
    if (const auto hook = workerPointHook.load(std::memory_order_acquire)) {
        hook(point, record);
    }
}

} // namespace braq
