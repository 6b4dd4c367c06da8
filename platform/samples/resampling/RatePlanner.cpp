#include "platform/samples/resampling/RatePlanner.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace braq {

namespace {

constexpr double smallestRatioOfAll = 1.0 / 4096;
constexpr double slopeSeconds = 0.012;
/// Blocks over which a landing is spread: the ratio is off by at most 1 in that many frames.
constexpr UInt32 landingBlocks = 2;

/// Ratios are multiples of this, so that the frames of a landing can share the rest to an integer frame evenly.
constexpr FixedFrames ratioGrain = FixedFrames{2} * landingBlocks;

Route highestRouteFor(double largestRatio) {
    Route route = 0;
    while (route < highestLevel && framesOf(largestRatioOf(route)) < largestRatio) {
        ++route;
    }
    return route;
}

/// @param ratio with the unit of FixedFrames
FixedFrames rounded(double ratio) { return std::llround(ratio / static_cast<double>(ratioGrain)) * ratioGrain; }

/// @return `to`, or the first octave from 1 up on the way there: frames are made differently on both sides
FixedFrames noFurtherThanAnOctave(FixedFrames from, FixedFrames to) {
    if (to > from) {
        const auto above = static_cast<FixedFrames>(std::bit_floor(static_cast<UInt64>(from)) * 2);
        return std::min(to, std::max(above, oneFrame));
    }
    const auto below = static_cast<FixedFrames>(std::bit_floor(static_cast<UInt64>(from - 1)));
    return below < oneFrame ? to : std::max(to, below);
}

} // namespace

RatePlanner::RatePlanner(double largestRatio, double frameRate)
    : mHighestRoute(highestRouteFor(largestRatio)),
      mLargestRatio(std::clamp(largestRatio, 1.0, framesOf(largestRatioOf(highestLevel)))),
      mSlopeBlocks(std::max(1U, static_cast<UInt32>(std::ceil(slopeSeconds * frameRate / blockFrames)))) {}

double RatePlanner::nearest(double ratio) const noexcept {
    return ratio > smallestRatioOfAll ? std::min(ratio, mLargestRatio) : smallestRatioOfAll;
}

double RatePlanner::smallestRatio() const noexcept { return std::min(framesOf(mRatio), mAim); }

Route RatePlanner::routeFor(double ratio) const noexcept {
    Route route = 0;
    while (route < mHighestRoute && framesOf(largestRatioOf(route)) < ratio) {
        ++route;
    }
    return ratio == 1 ? untouched : route;
}

void RatePlanner::begin(FramePosition start, double ratio) noexcept {
    mPosition = start;
    mAim = nearest(ratio);
    mRoute = routeFor(mAim);
    mRatio = rounded(mAim * static_cast<double>(oneFrame));
    mBlocksToAim = 0;
    mDebt = 0;
    mLandingBlocks = 0;
    mFadeStep = 0;
}

RateBlock RatePlanner::next(double ratio) noexcept {
    const double wanted = nearest(ratio);
    changeRoute(wanted);
    aim(wanted);
    RateBlock block;
    block.start = mPosition;
    block.route = mRoute;
    block.fadingRoute = mFadingRoute;
    block.fadeStep = mFadeStep;
    choose(block);
    mRatio = block.lastRatio;
    mPosition = block.end();
    return block;
}

void RatePlanner::changeRoute(double ratio) noexcept {
    if (mFadeStep > 0 && mFadeStep < fadeBlocks) {
        ++mFadeStep;
        return;
    }
    mFadeStep = 0;
    const Route better = mLandingBlocks > 0 ? mRoute : betterRoute(ratio);
    if (better != mRoute) {
        mFadingRoute = mRoute;
        mRoute = better;
        mFadeStep = 1;
    }
}

/// Changes to a higher route in time, because a route is limited to its largest ratio, and to a lower one when that
/// keeps more of the bandwidth.
Route RatePlanner::betterRoute(double ratio) const noexcept {
    if (mRoute == untouched) {
        return ratio == 1 ? untouched : 0;
    }
    if (ratio == 1 && mRatio == oneFrame && mPosition.isWhole()) {
        return untouched;
    }
    const FixedFrames largest = largestRatioOf(mRoute);
    if (ratio > framesOf(largest) && mRatio > largest / 8 * 7) {
        return mRoute + 1;
    }
    return mRoute > 0 && ratio <= framesOf(largest) / 2 && mRatio <= largest / 2 ? mRoute - 1 : mRoute;
}

void RatePlanner::aim(double ratio) noexcept {
    const bool isUntouched = mRoute == untouched || (mFadeStep > 0 && mFadingRoute == untouched);
    const double aim = isUntouched ? 1 : std::min(ratio, framesOf(largestRatio()));
    if (aim != mAim) {
        const double octaves = std::fabs(std::log2(aim / framesOf(mRatio)));
        mAim = aim;
        mDebt = 0;
        mBlocksToAim = static_cast<UInt32>(std::ceil(mSlopeBlocks * std::max(1.0, octaves)));
    }
}

/// @return the largest ratio of the active routes
FixedFrames RatePlanner::largestRatio() const noexcept {
    const FixedFrames largest = largestRatioOf(mRoute);
    return mFadeStep > 0 ? std::min(largest, largestRatioOf(mFadingRoute)) : largest;
}

void RatePlanner::choose(RateBlock& block) noexcept {
    if (mAim == 1 && mRatio == oneFrame && mLandingBlocks == 0 && mFadeStep == 0 && !mPosition.isWhole()) {
        mLandingBlocks = landingBlocks;
        mLanding = landingRatio();
    }
    if (mLandingBlocks > 0) {
        --mLandingBlocks;
        block.firstRatio = block.lastRatio = mLanding;
        return;
    }
    if (mBlocksToAim > 0) {
        slope(block);
        return;
    }
    block.firstRatio = block.lastRatio = steadyRatio();
}

/// The next part of the way to the target, in equal parts of an octave.
void RatePlanner::slope(RateBlock& block) noexcept {
    const double left = mAim / framesOf(mRatio);
    const double end = framesOf(mRatio) * std::pow(left, 1.0 / mBlocksToAim) * static_cast<double>(oneFrame);
    block.firstRatio = rounded(static_cast<double>(mRatio));
    const FixedFrames last = std::min(rounded(end), largestRatio());
    block.lastRatio = noFurtherThanAnOctave(block.firstRatio, last);
    if (block.lastRatio == last || mBlocksToAim > 1) {
        --mBlocksToAim;
    }
}

/// @return a ratio near 1 that makes the blocks of the landing end on an integer frame
FixedFrames RatePlanner::landingRatio() const noexcept {
    constexpr FixedFrames frames = FixedFrames{landingBlocks} * blockFrames;
    const bool isBackwards = mPosition.fraction < oneFrame / 2;
    return oneFrame + ((isBackwards ? 0 : oneFrame) - mPosition.fraction) / frames;
}

FixedFrames RatePlanner::steadyRatio() noexcept {
    const double aim = mAim * static_cast<double>(oneFrame);
    const FixedFrames ratio = std::min(rounded(aim + mDebt / blockFrames), largestRatio());
    mDebt += (aim - static_cast<double>(ratio)) * blockFrames;
    return ratio;
}

} // namespace braq
