#pragma once

#include <atomic>
#include <chrono>
#include <thread>

/// Ctrl-C, SIGTERM and a terminal that is closed, as something to wait for. Made before any other thread is, so that none of
/// them is interrupted.
///
/// A program that does not look for that long after a signal hangs, and is ended by the signal as if nobody waited for it;
/// so is one that is still there when it is interrupted again that long after it has looked.
class Interruption {
  public:
    /// Throws std::system_error.
    explicit Interruption(std::chrono::milliseconds patience = std::chrono::seconds(2));
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
    void waitUntilNoticed(int signal);

    const std::chrono::milliseconds mPatience;
    int mSignals = -1;
    int mRequest = -1;
    int mEnd = -1;
    mutable std::atomic<bool> mIsNoticed{false}; // main thread sets, watch thread reads
    std::thread mWatch;
};
