#pragma once

#include "BRAQAudio/core/BAtomicStack.h"
#include "BRAQAudio/core/BWorkerErrors.h"
#include "BRAQAudio/platform/threads.h"

#include <atomic>
#include <cstddef>
#include <exception>

// What the buffer worker and the notification worker share: how their thread starts, survives what it runs, and ends.
namespace braq {

/// Starts a worker's thread with fixed scheduling at a precedence of 63 minus the base priority of the calling thread.
/// @return false when the system has no thread to give
[[nodiscard]] bool startWorkerThread(BRAQThread* thread, const char* name, void (*main)(void*), void* worker);

/// Records linked from the oldest to the newest, and their number, counted before any of them can be linked anew.
struct Chain {
    void* oldest; ///< null when there is none
    std::size_t length;
};

/// Takes everything pending. Turns the links round in place: `BAtomicStackPopAllReversed` would ask the heap for a
/// temporary stack, which costs time before the first record is processed and can fail.
Chain takePending(BAtomicStack* pending) noexcept;

/// Which exceptions of a worker's closures are logged. All are kept.
enum class WorkerLog {
    everyFailure,
    firstOfARun, ///< not those that directly follow another one: a full disk fails every buffer
};

/// Keeps an exception that a worker's closure threw, and logs it if `log` says so.
/// @param file reported in the log
void keepWorkerError(BWorkerErrors& errors, const char* file, WorkerLog log,
                     const std::exception_ptr& exception) noexcept;

/// Copies the last error out. @return false when there is none; `*error` is untouched then
bool lastWorkerError(BWorkerErrors& errors, std::shared_ptr<NSError>* error);

/// Runs one closure of other people's: what it throws ends neither the process nor the worker.
template <class Block, class Record>
void runBlock(const Block& block, Record* record, BWorkerErrors& errors, const char* file, WorkerLog log) noexcept {
    try {
        block(record);
        errors.mFailing = false;
    } catch (...) {
        keepWorkerError(errors, file, log, std::current_exception());
    }
}

/// The handshake by which a worker's thread says that it will touch the worker no more.
struct WorkerExit {
    pthread_mutex_t& mutex;
    pthread_cond_t& condition;
    std::atomic<bool>& exited;

    /// The last act of the thread.
    void announce() const;
    /// Returns when the thread has announced its exit.
    void await() const;
    /// As `await`, calling `wake` every millisecond until then: for a wake-up that can be missed.
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

/// Points at which tests hold a worker, to show what happens when its thread is delayed exactly there.
enum class WorkerPoint {
    beforeWait,  ///< stop was looked at, the wait not begun
    flagCleared, ///< a record was given back, its link not yet read
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
