#pragma once

#include "BRAQAudio/platform/export.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

/// @addtogroup foundation
/// @{

/// The queue of closures for the thread that runs the application's main loop. The library calls delegates through it.
/// An application with its own loop watches `fileDescriptor()` and calls `drain()` when it becomes readable; one
/// without a loop calls `run()`. Closures run one at a time, in the order in which they were submitted. A closure that
/// throws is logged as "(ERROR) BRAQMainQueue : WHAT", and the next one runs.
class BRAQ_EXPORT BRAQMainQueue {
  public:
    /// The main queue of the process.
    static BRAQMainQueue& mainQueue();

    BRAQMainQueue(const BRAQMainQueue&) = delete;
    BRAQMainQueue& operator=(const BRAQMainQueue&) = delete;

    /// Appends `closure`. It waits until the queue is drained or run. Any thread but an I/O thread.
    void submit(std::function<void()> closure);

    /// A descriptor that polls readable exactly while closures are pending. Only poll it; do not read or close it.
    /// Programs that the process executes do not inherit it. Any thread.
    /// @return -1, with `errno`, if the process has no descriptors left; the next call tries again
    int fileDescriptor();

    /// Runs the closures that were pending when the call began, on the calling thread. Closures submitted meanwhile
    /// wait for a later drain. A closure may itself drain or run the queue: the inner call takes over the rest, in
    /// order. The queue belongs to one thread. If a second thread drains, it waits for the first, so the order still
    /// holds; but a closure that waits for such a thread deadlocks.
    /// @return closures run by this call, not counting inner calls
    std::size_t drain();

    /// Runs closures, and waits for more, until `stop` ends it. Needs no descriptor. Inside a closure it is a nested
    /// loop. Threads as for `drain`.
    void run();

    /// Ends the innermost active `run` once everything submitted before this call has run. Without a `run`, it ends the
    /// next one; a `drain` that reaches it first discards it. Any thread but an I/O thread.
    void stop();

  private:
    struct Run {
        bool isEnded = false; // under mMutex
    };
    struct Entry {
        std::uint64_t number;
        std::function<void()> closure;
        bool isStop;
    };

    BRAQMainQueue() = default;

    void append(std::function<void()> closure, bool isStop);
    std::size_t drainFor(const Run* run);
    bool takeNext(const Run* run, std::uint64_t end, std::function<void()>& closure);
    void endInnermostRun();
    void raiseDescriptor() const;
    void lowerDescriptor() const;

    std::recursive_mutex mTurn; // held by the thread that runs closures
    std::mutex mMutex;
    std::condition_variable mHasNews;
    std::deque<Entry> mWaiting;              // under mMutex
    std::vector<std::shared_ptr<Run>> mRuns; // under mMutex: active runs, innermost last
    std::uint64_t mSubmitted = 0;            // under mMutex: entries ever appended
    int mDescriptor = -1;                    // under mMutex: an eventfd, above 0 while closures are pending
};

/// @}
