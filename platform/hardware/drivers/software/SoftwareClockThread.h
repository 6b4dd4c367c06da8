#pragma once

#include "platform/hardware/drivers/software/SoftwareCycle.h"

#include <functional>
#include <memory>

namespace braq {

/// A real-time thread that runs the cycles of a software device at the pace of CLOCK_MONOTONIC.
class SoftwareClockThread {
  public:
    /// What the thread does each cycle.
    class Client {
      public:
        virtual ~Client() = default;
        /// When the next cycle begins, nanoseconds of CLOCK_MONOTONIC. @realtime
        virtual UInt64 nextCycleTime() noexcept = 0;
        /// The cycles begin, or begin anew after the device has been held up for long, at this time. @realtime
        virtual void restartAt(UInt64 hostTime) noexcept = 0;
        /// @return whether there is a next cycle; if not, `ended` is called and the thread is over. @realtime
        virtual bool runCycle() noexcept = 0;
        /// The client itself has ended the cycles. On the thread, which is not an I/O thread any more.
        virtual void ended() = 0;
    };

    /// @param client stays until the thread has ended
    /// @return null when the system has no thread to give
    static std::unique_ptr<SoftwareClockThread> start(std::shared_ptr<Client> client);
    /// Ends the thread: no cycle runs when this returns. Not on the thread itself.
    ~SoftwareClockThread();
    SoftwareClockThread(const SoftwareClockThread&) = delete;
    SoftwareClockThread& operator=(const SoftwareClockThread&) = delete;

  private:
    struct Run;
    explicit SoftwareClockThread(std::shared_ptr<Run> run);
    static void main(void* argument);

    const std::shared_ptr<Run> mRun;
};

/// Now, in nanoseconds of CLOCK_MONOTONIC.
UInt64 monotonicTime() noexcept;

} // namespace braq
