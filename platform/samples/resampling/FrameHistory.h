#pragma once

#include "BRAQAudio/platform/types.h"

#include <vector>

namespace braq {

/// The source of a converter: always delivers all `frames`, silence if there is nothing. @realtime
using PullFrames = void (*)(void* context, UInt32 frames, float* const* planes) noexcept;

/// A source's frames around the current position: those pulled ahead of it, and the last ones before it, which a filter
/// needs to begin in the middle of the audio. Frames before the first are silence.
class FrameHistory {
  public:
    /// @param kept frames that can be held at once, before and after the position
    FrameHistory(UInt32 channels, UInt32 kept, UInt32 largestPull);

    /// Sets the source; null: none, silence follows. @realtime
    void setSource(PullFrames pull, void* context) noexcept;
    /// One past the last frame that is there, including silence after the source's last frame. @realtime
    SInt64 end() const noexcept { return mEnd; }
    /// One past the last frame that was pulled. @realtime
    SInt64 soundEnd() const noexcept { return mSoundEnd; }
    /// Pulls until `frame` is the end. @realtime
    void extendTo(SInt64 frame) noexcept;
    /// Pulls straight into `planes`, unchanged, and keeps a copy. @realtime
    void pullInto(UInt32 frames, float* const* planes) noexcept;

    /// Copies frames that are there. @realtime
    void copy(SInt64 frame, UInt32 frames, float* const* planes, UInt32 offset) const noexcept;

    /// Resets the history. Allocates nothing.
    void clear() noexcept;

  private:
    UInt32 contiguous(SInt64 frame) const noexcept { return mMask + 1 - indexOf(frame); }
    UInt32 indexOf(SInt64 frame) const noexcept { return static_cast<UInt32>(frame) & mMask; }
    void keep(UInt32 frames, float* const* planes, UInt32 offset) noexcept;

    const UInt32 mLargestPull;
    const UInt32 mMask;
    std::vector<std::vector<float>> mPlanes;
    std::vector<float*> mDestination; // of one pull
    PullFrames mPull = nullptr;
    void* mContext = nullptr;
    SInt64 mEnd = 0;
    SInt64 mSoundEnd = 0;
};

} // namespace braq
