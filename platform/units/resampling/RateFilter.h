#pragma once

#include "platform/units/resampling/RateBlock.h"
#include "platform/units/resampling/SourceStream.h"

namespace braq {

/// Makes the frames of blocks along one route. Its delay is taken off: what it gives for a position is what is heard there,
/// whatever it did before.
class RateFilter {
  public:
    RateFilter(FrameHistory& history, UInt32 channels, int levels);

    /// Frames of the source that a route wants behind and ahead of a block's start. @realtime
    static SInt64 framesBehind(Route route) noexcept;
    static SInt64 framesAhead(Route route) noexcept;

    /// Begins with this block. @realtime
    void begin(const RateBlock& block, Route route) noexcept;
    /// @param block the one after the last one that was made
    /// @param next the one after it, which shares samples with it
    /// @realtime
    void make(const RateBlock& block, const RateBlock& next, float* const* out) noexcept;

    /// The source's frame that is wanted next. @realtime
    SInt64 nextFrame() const noexcept { return mStream.nextFrame(); }

  private:
    static constexpr UInt32 doubledFrames = 2 * blockFrames;
    void readDoubled(FixedFrames first, FixedFrames last) noexcept;

    SourceStream mStream;
    Interpolator mInterpolator;
    Route mRoute = between;
    bool mIsAhead = false; // the samples of the next block are there
    // At twice the rate: the samples of the block that is made, and those of the ones before and after it.
    std::vector<std::vector<float>> mOdd;
    std::vector<std::vector<float>> mEven;
    std::vector<std::vector<float>> mDoubled;
    std::vector<float*> mDoubledPlanes;
};

} // namespace braq
