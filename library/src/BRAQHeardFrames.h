#pragma once

#include "library/src/BRAQLoopWalk.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <optional>

/// Host times count nanoseconds of CLOCK_MONOTONIC.
constexpr Float64 heardNanosecondsPerSecond = 1e9;

/// The place that a ring's reader has reached, and the direction in which it goes on.
struct BRAQReaderPlace {
    BRAQLoopWalk walk;
    bool isBackwards = false;
};

/// Frames of a file that a device takes one after the other.
struct BRAQHeardRun {
    Float64 hostTime = 0.0;            ///< of the first frame, in nanoseconds of the host's clock
    Float64 framesPerNanosecond = 0.0; ///< frames of the file, at the speed of this run
    UInt64 frames = 0;
    UInt64 file = 0; ///< counts the files that have followed another one
    BRAQReaderPlace from;

    /// The frame that the device takes at that time: the first one before the run, the last one after it. Backwards, a frame
    /// counts as taken when it is over, as in `BRAQAudioFileReaderGetPosition`.
    SInt64 frameAt(Float64 time) const noexcept;
};

/// Which frames of its files a device has taken when, for the last seconds. One thread at a time adds, an I/O thread; any
/// thread asks.
class BRAQHeardFrames {
  public:
    /// Adds frames behind those that were added last. What goes on where those end becomes one run with them, of at most
    /// 10 ms.
    /// @realtime
    void add(const BRAQHeardRun& run) noexcept;
    /// Forgets all. Not while something is added.
    void clear() noexcept;
    /// The run whose turn is at that time: the last one that has begun by then, or else the oldest that is known.
    /// @return nothing if none was added
    std::optional<BRAQHeardRun> at(Float64 time) const noexcept;

  private:
    static constexpr std::size_t slots = 256; // full runs: 2.5 s

    /// A sequence lock.
    struct Slot {
        std::atomic<UInt64> changes{0}; ///< odd while the others are written
        std::atomic<Float64> hostTime{0.0};
        std::atomic<Float64> framesPerNanosecond{0.0};
        std::atomic<UInt64> frames{0};
        std::atomic<UInt64> file{0};
        std::atomic<bool> isBackwards{false};
        BRAQPublishedLoopWalk walk;

        void set(const BRAQHeardRun& run) noexcept;
        BRAQHeardRun get() const noexcept;
    };

    bool goesOn(const BRAQHeardRun& run) const noexcept;

    std::array<Slot, slots> mSlots;
    std::atomic<UInt64> mCount{0}; // runs since `clear`
    BRAQHeardRun mLast;            // who adds: the newest one
    BRAQLoopWalk mEnd;             // who adds: behind the last frame of that
};
