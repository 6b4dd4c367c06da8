#pragma once

#include "platform/samples/resampling/RateBlock.h"

namespace braq {

/// Plans ratio and route block by block, so that any requested ratio is reached smoothly: about an octave in 12 ms, or
/// a smaller change in the same time.
///
/// A change of route is a fade over a few blocks, during which both routes have the same positions. When the requested
/// ratio is 1 and has been reached, it is bent by less than a percent until a block begins on an integer frame, where
/// the source's own frames can take over.
class RatePlanner {
  public:
    /// @param frameRate frames per second of the output
    RatePlanner(double largestRatio, double frameRate);

    Route highestRoute() const noexcept { return mHighestRoute; }
    /// The supported ratio nearest to the requested one; the smallest for NaN. @realtime
    double nearest(double ratio) const noexcept;

    /// The next block begins at `start`, at once with the requested ratio. @realtime
    void begin(FramePosition start, double ratio) noexcept;
    /// @param ratio requested @realtime
    RateBlock next(double ratio) noexcept;
    /// The smaller one of the current and the target ratio. @realtime
    double smallestRatio() const noexcept;

  private:
    Route routeFor(double ratio) const noexcept;
    Route betterRoute(double ratio) const noexcept;
    void changeRoute(double ratio) noexcept;
    void aim(double ratio) noexcept;
    FixedFrames largestRatio() const noexcept;
    void choose(RateBlock& block) noexcept;
    void slope(RateBlock& block) noexcept;
    FixedFrames landingRatio() const noexcept;
    FixedFrames steadyRatio() noexcept;

    const Route mHighestRoute;
    const double mLargestRatio;
    const UInt32 mSlopeBlocks; // per octave
    FramePosition mPosition;
    FixedFrames mRatio = oneFrame; // at the end of the last block
    double mAim = 1;               // target ratio
    UInt32 mBlocksToAim = 0;
    double mDebt = 0; // rounding error of the distance at a steady ratio, in units of FixedFrames
    UInt32 mLandingBlocks = 0;
    FixedFrames mLanding = oneFrame; // the ratio meanwhile
    Route mRoute = untouched;
    Route mFadingRoute = untouched;
    UInt32 mFadeStep = 0;
};

} // namespace braq
