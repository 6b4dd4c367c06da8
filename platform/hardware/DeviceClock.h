#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <atomic>
#include <cstddef>
#include <optional>

namespace braq {

/// A stretch of a device's time line in which a frame takes one length of host time.
struct ClockSegment {
    Float64 sampleTime = 0.0;          ///< frames, where the stretch begins
    UInt64 hostTime = 0;               ///< nanoseconds, where it begins
    Float64 hostFraction = 0.0;        ///< of a nanosecond, from 0 to below 1, on top of `hostTime`
    Float64 nanosecondsPerFrame = 0.0; ///< 0: there is no such stretch
    Float64 rateScalar = 1.0;          ///< as the driver measured it

    Float64 sampleTimeAt(UInt64 host) const noexcept;
    /// Where in host time a sample time lies, in nanoseconds after `hostTime`.
    Float64 nanosecondsUntil(Float64 sample) const noexcept;
};

/// A moment's view of how host time and sample time belong together.
struct ClockView {
    ClockSegment before; ///< the stretch before `now`
    ClockSegment now;

    Float64 sampleTimeAt(UInt64 host) const noexcept;
    /// Rounded to the nearest nanosecond; 0 for what lies before host time began.
    UInt64 hostTimeAt(Float64 sample) const noexcept;
};

/// Keeps the times that a device's I/O thread measures, for any thread to convert by. The time line has no steps: each
/// cycle begins where the one before foretold, and leads to where its own measurement points, so that what is converted
/// one after the other stays in order however unevenly the cycles are measured.
class DeviceClock {
  public:
    /// Takes in the measurement of a cycle.
    /// @realtime The device's I/O thread.
    void publish(const DeviceCycle& cycle) noexcept;

    /// Forgets everything. Any thread, while no cycle runs.
    void reset() noexcept;

    /// @return nothing before the first cycle
    /// Any thread; repeats itself while a measurement is being taken in.
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
