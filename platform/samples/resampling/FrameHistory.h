#pragma once

#include "BRAQAudio/platform/types.h"

#include <vector>

namespace braq {

/// Where a converter gets its frames from: always delivers all `frames`, silence where there is nothing. @realtime
using PullFrames = void (*)(void* context, UInt32 frames, float* const* planes) noexcept;

/// A source's frames around the place that is heard: those that were pulled ahead of it, and the last ones behind it, which a
/// filter needs to begin in the middle of the sound. Frames before the first are silence.
class FrameHistory {
  public:
    /// @param kept frames that can be held at once, behind and ahead
    FrameHistory(UInt32 channels, UInt32 kept, UInt32 largestPull);

    /// Whom to ask from now on; null: nobody, what follows is silence. @realtime
    void setSource(PullFrames pull, void* context) noexcept;
    /// Frames that are there, from the first of the stream on, silence behind the source's last one included. @realtime
    SInt64 end() const noexcept { return mEnd; }
    /// Where what was pulled ends. @realtime
    SInt64 soundEnd() const noexcept { return mSoundEnd; }
    /// Pulls until `frame` is the end. @realtime
    void extendTo(SInt64 frame) noexcept;
    /// Pulls straight into `planes`, untouched, and keeps a copy. @realtime
    void pullInto(UInt32 frames, float* const* planes) noexcept;

    /// Copies frames that are there. @realtime
    void copy(SInt64 frame, UInt32 frames, float* const* planes, UInt32 offset) const noexcept;

    /// Nothing was ever pulled. Allocates nothing.
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
