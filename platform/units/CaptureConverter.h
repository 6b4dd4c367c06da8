#pragma once

#include "BRAQAudio/platform/types.h"

#include <soxr.h>

#include <memory>
#include <vector>

namespace braq {

/// Converts captured frames to another rate as they come. The first frame comes out where the first one went in, as soon as the
/// filter has seen what it needs of those that follow.
class CaptureConverter {
  public:
    /// Any thread but an I/O thread.
    CaptureConverter(UInt32 channels, Float64 fromRate, Float64 toRate);

    /// Takes in all the frames and gives out what is ready.
    /// @param to room for `capacity` samples of each channel; what does not fit stays for the next call
    /// @return frames given out
    /// @realtime One thread at a time.
    UInt32 convert(const float* const* from, UInt32 frames, float* const* to, UInt32 capacity) noexcept;

    /// Frames taken in and not given out yet, as they were taken in. @realtime The thread that converts.
    Float64 heldFrames() const noexcept;

    /// Forgets everything. Any thread but an I/O thread, while nobody converts.
    void reset();

    /// The most that come out of one call with so many frames.
    UInt32 mostFrames(UInt32 frames) const noexcept;

  private:
    void warmUp();
    UInt32 process(UInt32 frames, UInt32 capacity) noexcept;

    const UInt32 mChannels;
    const Float64 mFromRate;
    const Float64 mToRate;
    std::unique_ptr<soxr, decltype(&soxr_delete)> mSoxr;
    std::vector<const float*> mFrom; // what is taken in now
    std::vector<float*> mTo;         // and where to
    UInt64 mToDrop = 0;              // frames that come out before those that were captured
    UInt64 mTaken = 0;               // frames, of those that were captured
    UInt64 mGiven = 0;               // frames, of the same sound
};

} // namespace braq
