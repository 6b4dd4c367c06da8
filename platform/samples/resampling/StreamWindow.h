#pragma once

#include "BRAQAudio/platform/types.h"

#include <vector>

namespace braq {

/// Where frames come from that are wanted in sequence.
class FrameFeed {
  public:
    /// Gives the next `frames` frames. @realtime
    virtual void read(UInt32 frames, float* const* planes) noexcept = 0;

  protected:
    ~FrameFeed() = default;
};

/// The frames of a stream that are at work, each channel in one piece.
class StreamWindow {
  public:
    /// Frames are read in multiples of so many, which vectors like.
    static constexpr SInt64 readAtOnce = 16;

    /// Allocates everything. @param capacity frames
    StreamWindow(UInt32 channels, SInt64 capacity);

    /// Holds nothing, and goes on from the first frame of a stream, number 0. @realtime
    void begin() noexcept;
    /// Reads on until all frames before `end` are there; those before `kept` need not stay. Capacity is wanted for
    /// `readAtOnce` frames more. @realtime
    void extendTo(SInt64 end, SInt64 kept, FrameFeed& feed) noexcept;
    /// @param frame that is there, as those up to the end of the window are behind it @realtime
    const float* at(std::size_t channel, SInt64 frame) const noexcept { return &mPlanes[channel][indexOf(frame)]; }

  private:
    std::size_t indexOf(SInt64 frame) const noexcept { return static_cast<std::size_t>(frame - mFirst); }
    void dropBefore(SInt64 frame) noexcept;

    const SInt64 mCapacity;
    std::vector<std::vector<float>> mPlanes;
    std::vector<float*> mDestination; // of one reading
    SInt64 mFirst = 0;
    SInt64 mEnd = 0;
};

} // namespace braq
