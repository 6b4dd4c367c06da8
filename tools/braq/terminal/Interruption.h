#pragma once

#include <atomic>
#include <chrono>
#include <thread>

/// Ctrl-C, SIGTERM and, unless the program was started to survive it, a closed terminal as events to wait for. Create it before any other thread, so that none of them
/// is interrupted.
///
/// If a program does not react for `patience` after a signal, it hangs; the signal then ends it as if nobody waited for
/// it. A second signal after a fifth of that time ends it at once, whether it has reacted or not.
class Interruption {
  public:
    /// Throws std::system_error.
    /// @param patience how long other load on the machine may keep the program from reacting
    explicit Interruption(std::chrono::milliseconds patience = std::chrono::seconds(10));
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Readable when the program must end.
    int descriptor() const noexcept { return mRequest; }

    /// Whether the program must end. A caller that gets true ends the program in its own time.
    bool isRequested() const noexcept;

  private:
    using Clock = std::chrono::steady_clock;

    void watch();
    int takeSignal() const;
    bool isToWatch(std::chrono::milliseconds longest, bool& hasSignal) const;

    const std::chrono::milliseconds mPatience;
    int mSignals = -1;
    int mRequest = -1;
    int mEnd = -1;
    mutable std::atomic<bool> mIsNoticed{false}; // main thread sets, watch thread reads
    std::thread mWatch;
};
