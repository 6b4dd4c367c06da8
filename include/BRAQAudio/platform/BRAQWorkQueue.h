#pragma once

#include <semaphore.h>

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>

/// @addtogroup threads
/// @{

/// A thread that runs work in order, for what the threads that give it must not wait for. The thread starts with the
/// first work. From then on the queue must live as long as the process, because its thread may use it while that exits.
class BRAQWorkQueue {
  public:
    enum class Thread {
        stays,        ///< as long as the process
        endsWhenIdle, ///< there is a thread only while there is work; nothing may be nudged
    };

    /// @param name of the thread (15 bytes are kept), and in the log; must live as long as the queue
    /// @param onNudge runs on the thread some time after each `nudge`, before work that is given later
    explicit BRAQWorkQueue(const char* name, Thread kind = Thread::stays, std::function<void()> onNudge = {});
    /// Only of a queue that never had a thread.
    ~BRAQWorkQueue();
    BRAQWorkQueue(const BRAQWorkQueue&) = delete;
    BRAQWorkQueue& operator=(const BRAQWorkQueue&) = delete;

    /// Starts the thread, unless it runs, for those who will only nudge. Idempotent. Any thread but an I/O thread.
    /// @return 0, or an errno value if the system has no thread to give
    [[nodiscard]] int start();

    /// Runs `work` after everything that was given before. What it throws is logged. Any thread but an I/O thread.
    /// @return 0, or an errno value if the system has no thread to give; then the work waits for the next call
    int run(std::function<void()> work);

    /// Makes `onNudge` run, once for several nudges that come close together.
    /// @realtime Any thread.
    void nudge() noexcept;

  private:
    static void main(void* self);
    int startLocked();
    void serve();
    bool runOne();
    bool isToEnd();

    const char* const mName;
    const Thread mKind;
    const std::function<void()> mOnNudge;
    sem_t mWake;                      // counts work and nudges
    std::atomic<bool> mNudged{false}; // both: atomic

    std::mutex mMutex;
    std::deque<std::function<void()>> mWork; // under mMutex
    bool mHasThread = false;                 // under mMutex
};

/// @}
