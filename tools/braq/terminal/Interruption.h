#pragma once

#include <atomic>
#include <chrono>
#include <thread>

/// Ctrl-C, SIGTERM and a terminal that is closed, as something to wait for. Made before any other thread is, so that none of
/// them is interrupted.
///
/// A program that does not look for so long after a signal hangs, and is ended by the signal as if nobody waited for it. A
/// signal that comes again after a fifth of that time ends it at once, whether it has looked or not.
class Interruption {
  public:
    /// Throws std::system_error.
    /// @param patience so long may the program be kept from looking by what else runs on a busy machine
    explicit Interruption(std::chrono::milliseconds patience = std::chrono::seconds(10));
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Readable once the program is to end.
    int descriptor() const noexcept { return mRequest; }

    /// Whether the program is to end. Whoever asks and hears so ends it in its own time.
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
