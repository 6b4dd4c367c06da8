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

/// Closures that wait for the thread that runs the application's loop; delegates of the library are called through it.
/// An application with a loop of its own watches `fileDescriptor()` and calls `drain()` when it becomes readable; one
/// without calls `run()`. Closures run in the order in which they were submitted, each after the one before has returned.
/// One that throws is logged as "(ERROR) BRAQMainQueue : WHAT", and the next one runs.
class BRAQ_EXPORT BRAQMainQueue {
  public:
    /// The one main queue of the process.
    static BRAQMainQueue& mainQueue();

    BRAQMainQueue(const BRAQMainQueue&) = delete;
    BRAQMainQueue& operator=(const BRAQMainQueue&) = delete;

    /// Appends `closure`; it waits as long as nobody drains or runs the queue. Any thread but an I/O thread.
    void submit(std::function<void()> closure);

    /// A descriptor that polls readable exactly while something waits. It is only to be watched: not read, not closed. It is
    /// not inherited by programs that the process executes. Any thread.
    /// @return -1, with `errno`, when the process has no descriptor left; the next call tries again
    int fileDescriptor();

    /// Runs what was waiting when the call began, on the calling thread; what is submitted meanwhile waits for a later
    /// drain. A closure may itself drain or run the queue: the inner call takes over what is left, in order. The queue
    /// belongs to one thread; another one that drains waits until the first is done, so the order holds all the same,
    /// but a closure that waits for such a thread waits for ever.
    /// @return how many closures ran in this call, those of inner calls not counted
    std::size_t drain();

    /// Runs closures, and waits for more, until `stop` ends it. Needs no descriptor. From inside a closure it runs a loop
    /// within the loop. Which thread may: as `drain`.
    void run();

    /// Ends the `run` that was begun last and has not been ended, once everything that was submitted before this call has
    /// run. Without a `run`, it ends the next one likewise; a `drain` that comes to it first drops it. Any thread but an
    /// I/O thread.
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

    std::recursive_mutex mTurn; // held while closures run, by the thread that runs them
    std::mutex mMutex;
    std::condition_variable mHasNews;
    std::deque<Entry> mWaiting;              // under mMutex
    std::vector<std::shared_ptr<Run>> mRuns; // under mMutex: not ended, innermost last
    std::uint64_t mSubmitted = 0;            // under mMutex: entries ever appended
    int mDescriptor = -1;                    // under mMutex: an event counter, above 0 while something waits
};
