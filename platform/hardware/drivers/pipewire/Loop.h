#pragma once

#include <chrono>
#include <functional>

struct pw_loop;
struct pw_thread_loop;
struct spa_source;

namespace braq::pipewire {

/// The thread on which the driver talks to the server, and the lock for everything that is used there. Lives as long as
/// the process.
class Loop {
  public:
    /// Starts the thread. It is PipeWire's own, with every signal blocked and time-shared scheduling.
    /// @throws std::runtime_error when the system refuses it
    Loop();
    ~Loop() = delete;
    Loop(const Loop&) = delete;
    Loop& operator=(const Loop&) = delete;

    pw_loop* get() const;

    /// Keeps the thread from running while it lives. Recursive. Any thread but the data thread.
    class Lock {
      public:
        explicit Lock(Loop& loop);
        ~Lock();
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

      private:
        Loop& mLoop;
    };

    /// Releases the lock, which the caller holds once, until `condition`, which is called with the lock, or `longest`.
    /// @return whether the condition came true
    bool waitFor(std::chrono::nanoseconds longest, const std::function<bool()>& condition);

    /// Has conditions of `waitFor` looked at again. With the lock.
    void conditionsChanged();

  private:
    pw_thread_loop* mLoop;
};

/// Something to be done on the loop's thread, soon, however often it is asked for until then.
class LoopEvent {
  public:
    LoopEvent(Loop& loop, std::function<void()> action);
    /// With the lock.
    ~LoopEvent();
    LoopEvent(const LoopEvent&) = delete;
    LoopEvent& operator=(const LoopEvent&) = delete;

    /// @realtime Wakes the loop's thread.
    void signal() noexcept;

  private:
    Loop& mLoop;
    const std::function<void()> mAction;
    spa_source* mSource;
};

/// Something to be done on the loop's thread after a time.
class LoopTimer {
  public:
    LoopTimer(Loop& loop, std::function<void()> action);
    /// With the lock.
    ~LoopTimer();
    LoopTimer(const LoopTimer&) = delete;
    LoopTimer& operator=(const LoopTimer&) = delete;

    /// Replaces the time that was set before. With the lock.
    void fireAfter(std::chrono::milliseconds time);

  private:
    Loop& mLoop;
    const std::function<void()> mAction;
    spa_source* mSource;
};

} // namespace braq::pipewire
