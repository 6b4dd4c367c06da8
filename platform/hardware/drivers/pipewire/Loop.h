#pragma once

#include <chrono>
#include <functional>

struct pw_loop;
struct pw_thread_loop;
struct spa_source;

namespace braq::pipewire {

/// The thread on which the driver talks to the server, and the lock for everything used there. Lives as long as the
/// process.
class Loop {
  public:
    /// Starts the thread. It is PipeWire's own, with all signals blocked and time-shared scheduling.
    /// @throws std::runtime_error if the system refuses it
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

    /// Releases the lock, which the caller holds once, until `condition` is true or `longest` is over. The condition is
    /// evaluated with the lock.
    /// @return whether the condition became true
    bool waitFor(std::chrono::nanoseconds longest, const std::function<bool()>& condition);

    /// Makes `waitFor` evaluate its condition again. With the lock.
    void conditionsChanged();

  private:
    pw_thread_loop* mLoop;
};

/// Work for the loop's thread, done soon. Repeated signals until then run it once.
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

/// Work for the loop's thread, done after a delay.
class LoopTimer {
  public:
    LoopTimer(Loop& loop, std::function<void()> action);
    /// With the lock.
    ~LoopTimer();
    LoopTimer(const LoopTimer&) = delete;
    LoopTimer& operator=(const LoopTimer&) = delete;

    /// Replaces an earlier delay. With the lock.
    void fireAfter(std::chrono::milliseconds time);

  private:
    Loop& mLoop;
    const std::function<void()> mAction;
    spa_source* mSource;
};

} // namespace braq::pipewire
