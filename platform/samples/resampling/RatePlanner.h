#pragma once

#include "platform/samples/resampling/RateBlock.h"

namespace braq {

/// Decides block by block which ratio is in force and what makes the frames, so that a wish for any other ratio is followed
/// smoothly: by about an octave in 12 ms, or less in the same time.
///
/// A change of route is faded over a few blocks in which both routes are at the same places. Where the ratio wanted is 1 and
/// has been reached, it is bent by less than a percent until a block begins on a whole frame, where the source's own frames can
/// take over.
class RatePlanner {
  public:
    /// @param frameRate frames a second that the blocks are made for
    RatePlanner(double largestRatio, double frameRate);

    Route highestRoute() const noexcept { return mHighestRoute; }
    /// The ratio nearest to a wish that there can be; for what is no number, the smallest. @realtime
    double nearest(double ratio) const noexcept;

    /// What comes next begins at `start` and is at once as wanted. @realtime
    void begin(FramePosition start, double ratio) noexcept;
    /// @param ratio wanted @realtime
    RateBlock next(double ratio) noexcept;
    /// The smaller one of the ratio in force and the one that it is going to be. @realtime
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
    const UInt32 mSlopeBlocks; // for an octave
    FramePosition mPosition;
    FixedFrames mRatio = oneFrame; // at the end of the last block
    double mAim = 1;               // where it is going
    UInt32 mBlocksToAim = 0;
    double mDebt = 0; // of way, for what a steady ratio was rounded by, with the unit of FixedFrames
    UInt32 mLandingBlocks = 0;
    FixedFrames mLanding = oneFrame; // the ratio meanwhile
    Route mRoute = untouched;
    Route mFadingRoute = untouched;
    UInt32 mFadeStep = 0;
};

} // namespace braq
