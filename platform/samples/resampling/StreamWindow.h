#pragma once

#include "BRAQAudio/platform/types.h"

#include <vector>

namespace braq {

/// A source of consecutive frames.
class FrameFeed {
  public:
    /// Delivers the next `frames` frames. @realtime
    virtual void read(UInt32 frames, float* const* planes) noexcept = 0;

  protected:
    ~FrameFeed() = default;
};

/// The stream's frames in use, contiguous for each channel.
class StreamWindow {
  public:
    /// Frames are read in multiples of this, for SIMD.
    static constexpr SInt64 readAtOnce = 16;

    /// Allocates everything. @param capacity frames
    StreamWindow(UInt32 channels, SInt64 capacity);

    /// Empties the window and restarts at the first frame of a stream, number 0. @realtime
    void begin() noexcept;
    /// Reads until all frames before `end` are there; those before `kept` may be dropped. The capacity must include
    /// `readAtOnce` more frames. @realtime
    void extendTo(SInt64 end, SInt64 kept, FrameFeed& feed) noexcept;
    /// @param frame in the window; the frames up to the window's end follow it @realtime
    const float* at(std::size_t channel, SInt64 frame) const noexcept { return &mPlanes[channel][indexOf(frame)]; }

  private:
    std::size_t indexOf(SInt64 frame) const noexcept { return static_cast<std::size_t>(frame - mFirst); }
    void dropBefore(SInt64 frame) noexcept;

    const SInt64 mCapacity;
    std::vector<std::vector<float>> mPlanes;
    std::vector<float*> mDestination; // of one read
    SInt64 mFirst = 0;
    SInt64 mEnd = 0;
};

} // namespace braq
