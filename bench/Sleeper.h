#pragma once

#include "BRAQAudio/platform/threads.h"

#include <atomic>
#include <chrono>
#include <thread>

namespace braq::bench {

using Clock = std::chrono::steady_clock;

/// A thread that sleeps until it is woken to do something, and notes when it got to do it.
class Sleeper {
  public:
    Sleeper() = default;
    virtual ~Sleeper() = default;
    Sleeper(const Sleeper&) = delete;
    Sleeper& operator=(const Sleeper&) = delete;

    /// What the waking thread calls; its duration is the waking thread's cost.
    virtual void wake() = 0;
    /// The thread that sleeps.
    virtual thread_act_t thread() const = 0;

    void forget() { mAwake.store({}, std::memory_order_relaxed); }
    bool isAwake() const { return mAwake.load(std::memory_order_acquire) != Clock::time_point{}; }
    /// When the thread got to do something since `forget`.
    Clock::time_point awake() const { return mAwake.load(std::memory_order_acquire); }

  protected:
    void noteAwake() { mAwake.store(Clock::now(), std::memory_order_release); }

  private:
    std::atomic<Clock::time_point> mAwake{};
};

/// A sleeper with a thread of its own, which ends after the wake-up that follows `end`.
class SleeperWithThread : public Sleeper {
  public:
    thread_act_t thread() const override {
        mThreadID.wait(0);
        return mThreadID.load();
    }

  protected:
    /// Returns when the thread is woken.
    virtual void sleep() = 0;

    void begin() {
        mThread = std::thread([this] {
            mThreadID.store(BRAQThreadSelf());
            mThreadID.notify_one();
            for (;;) {
                sleep();
                noteAwake();
                if (mEnd.load()) {
                    return;
                }
            }
        });
    }
    void end() {
        mEnd.store(true);
        wake();
        mThread.join();
    }

  private:
    std::atomic<thread_act_t> mThreadID{0};
    std::atomic<bool> mEnd{false};
    std::thread mThread;
};

} // namespace braq::bench
