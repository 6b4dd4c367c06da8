#pragma once

#include "platform/hardware/drivers/software/SoftwareCycle.h"

#include <functional>
#include <memory>

namespace braq {

/// A real-time thread that runs the cycles of a software device at the rate of CLOCK_MONOTONIC.
class SoftwareClockThread {
  public:
    /// The work of the thread.
    class Client {
      public:
        virtual ~Client() = default;
        /// When the next cycle begins, in nanoseconds of CLOCK_MONOTONIC. @realtime
        virtual UInt64 nextCycleTime() noexcept = 0;
        /// Cycles begin at this time. @realtime
        virtual void beginAt(UInt64 hostTime) noexcept = 0;
        /// The device was held up for long: it goes on at this time, and frames that were due before are lost. @realtime
        virtual void passOverUntil(UInt64 hostTime) noexcept = 0;
        /// @return whether there is a next cycle; if not, `ended` is called and the thread ends. @realtime
        virtual bool runCycle() noexcept = 0;
        /// The client has ended the cycles. On the thread, which is no longer an I/O thread.
        virtual void ended() = 0;
    };

    /// @param client kept until the thread has ended
    /// @return null if the system refuses a thread
    static std::unique_ptr<SoftwareClockThread> start(std::shared_ptr<Client> client);
    /// Ends the thread: when this returns, no cycle runs. Not on the thread itself.
    ~SoftwareClockThread();
    SoftwareClockThread(const SoftwareClockThread&) = delete;
    SoftwareClockThread& operator=(const SoftwareClockThread&) = delete;

  private:
    struct Run;
    explicit SoftwareClockThread(std::shared_ptr<Run> run);
    static void main(void* argument);

    const std::shared_ptr<Run> mRun;
};

} // namespace braq
