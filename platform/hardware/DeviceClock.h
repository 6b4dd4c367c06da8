#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <atomic>
#include <cstddef>
#include <optional>

namespace braq {

/// A segment of a device's time line in which the host duration of a frame is constant.
struct ClockSegment {
    Float64 sampleTime = 0.0;          ///< in frames, start of the segment
    UInt64 hostTime = 0;               ///< in nanoseconds, start of the segment
    Float64 hostFraction = 0.0;        ///< fraction of a nanosecond, 0 to below 1, added to `hostTime`
    Float64 nanosecondsPerFrame = 0.0; ///< 0: no such segment
    Float64 rateScalar = 1.0;          ///< measured by the driver

    Float64 sampleTimeAt(UInt64 host) const noexcept;
    /// The host time of a sample time, in nanoseconds after `hostTime`.
    Float64 nanosecondsUntil(Float64 sample) const noexcept;
};

/// The relation of host time and sample time at one moment.
struct ClockView {
    ClockSegment before; ///< the segment before `now`
    ClockSegment now;

    Float64 sampleTimeAt(UInt64 host) const noexcept;
    /// Rounded to the nearest nanosecond; 0 for a time before host time 0.
    UInt64 hostTimeAt(Float64 sample) const noexcept;
};

/// Keeps the times that a device's I/O thread measures, so that any thread can convert between them. The time line is
/// continuous: each cycle begins where the previous one predicted, and heads for its own measurement. So converted
/// times stay in order, however unevenly the cycles are measured.
class DeviceClock {
  public:
    /// Adds the measurement of a cycle.
    /// @realtime The device's I/O thread.
    void publish(const DeviceCycle& cycle) noexcept;

    /// Drops all measurements. Any thread, while no cycle runs.
    void reset() noexcept;

    /// @return nothing before the first cycle
    /// Any thread; retries while a measurement is being added.
    std::optional<ClockView> view() const noexcept;

  private:
    struct PublishedSegment {
        void set(const ClockSegment& segment) noexcept;
        ClockSegment get() const noexcept;

        std::atomic<Float64> sampleTime{0.0};
        std::atomic<UInt64> hostTime{0};
        std::atomic<Float64> hostFraction{0.0};
        std::atomic<Float64> nanosecondsPerFrame{0.0};
        std::atomic<Float64> rateScalar{1.0};
    };

    void put(const ClockView& view) noexcept;

    ClockView mView;                  // I/O thread
    std::atomic<UInt32> mSequence{0}; // odd while the segments are being written; all: atomic
    PublishedSegment mBefore;
    PublishedSegment mNow;
};

} // namespace braq
