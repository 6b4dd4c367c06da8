#pragma once

#include "BRAQAudio/platform/types.h"

struct spa_io_clock;

namespace braq::pipewire {

/// What a stream knows of the graph's time from one of its cycles to the next: when a cycle begins, and which frames have
/// been lost before it. The data thread; all @realtime.
class GraphTime {
  public:
    struct Cycle {
        UInt64 hostTime; ///< of its first frame, nanoseconds of CLOCK_MONOTONIC; always later than the one before
        UInt64 passedOverFrames; ///< between the end of the cycle before and this one
        UInt64 lateFrames;       ///< of the cycle before, whose playback came too late for the graph
    };

    /// @param clock of the graph's driver in this cycle
    Cycle begin(const spa_io_clock& clock) noexcept;

    /// The playback of the cycle that has begun is complete.
    void finish(UInt64 now) noexcept;

    /// Nothing is played or captured for a while: what passes until the next cycle is not lost.
    void interrupt() noexcept { mGoesOn = false; }

  private:
    UInt64 passedOver(const spa_io_clock& clock) const noexcept;

    bool mGoesOn = false; // whether the next cycle follows this one
    UInt32 mDriver = 0;
    UInt32 mRate = 0;
    UInt64 mHostTime = 0; // of the last cycle
    UInt64 mDuration = 0; // of the last cycle, frames
    UInt64 mNext = 0;     // where the next cycle begins, in the driver's position
    UInt64 mDeadline = 0; // host time at which the next cycle begins; 0: not known
    UInt64 mLateFrames = 0;
};

} // namespace braq::pipewire
