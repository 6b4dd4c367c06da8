#include "platform/samples/resampling/RateFilter.h"

#include <algorithm>

namespace braq {

namespace {

/// Maximum frames of a stream in one block. A route is for half as many, but the block after its last one is another
/// route's.
constexpr SInt64 largestBlock = SInt64{4} * blockFrames;
/// Frames held at once: a block, the next one, and those around them.
constexpr SInt64 windowFrames = 2 * (largestBlock + LowPassTable::reach + StreamWindow::readAtOnce);

SInt64 spreadOf(Route route) { return SInt64{1} << route; }

RateBlock before(const RateBlock& block) {
    RateBlock earlier = block;
    earlier.lastRatio = block.firstRatio;
    earlier.start = block.start.movedBy(-earlier.way());
    return earlier;
}

/// Whether the stream that a route reads has more frames than the block.
bool isDenser(const RateBlock& block, Route route) {
    return std::max(block.firstRatio, block.lastRatio) > largestRatioOf(route) / 2;
}

/// The first frame needed for a block or for any later one.
SInt64 firstFrameAround(const StreamBlock& block) { return block.start.frame + 1 - LowPassTable::reach; }

} // namespace

RateFilter::RateFilter(FrameHistory& history, UInt32 channels, int levels)
    : mStream(history, channels, levels),
      mWindow(channels, windowFrames),
      mInterpolator(channels),
      mDecimator(channels) {}

SInt64 RateFilter::framesBehind(Route route) noexcept {
    constexpr SInt64 earlierBlock = SInt64{2} * blockFrames;
    return spreadOf(route) * (earlierBlock + LowPassTable::reach + HalfBandStream::memory) + 1;
}

SInt64 RateFilter::framesAhead(Route route) noexcept {
    return spreadOf(route) * (windowFrames + HalfBandStream::delay);
}

void RateFilter::begin(const RateBlock& block, Route route) noexcept {
    mRoute = route;
    const RateBlock earlier = before(block);
    mStream.begin(route, isDenser(block, route) ? earlier.start : block.start, LowPassTable::reach);
    mWindow.begin();
    mDecimator.clear();
    mIsAdded = false;
    if (isDenser(block, route)) {
        const StreamBlock added = inStream(earlier);
        add(added, firstFrameAround(added));
    }
}

void RateFilter::make(const RateBlock& block, const RateBlock& next, float* const* out) noexcept {
    const StreamBlock here = inStream(block);
    const StreamBlock there = inStream(next);
    if (isDenser(block, mRoute) || isDenser(next, mRoute)) {
        if (!mIsAdded) {
            add(here, firstFrameAround(here));
        }
        add(there, firstFrameAround(here));
        mIsAdded = true;
    } else if (mIsAdded) {
        mDecimator.clear();
        mIsAdded = false;
    }
    if (isDenser(block, mRoute)) {
        mDecimator.copy(out);
    } else {
        mWindow.extendTo(here.end.frame + 1 + LowPassTable::reach, firstFrameAround(here), mStream);
        mInterpolator.read(here, mWindow, out);
    }
}

StreamBlock RateFilter::inStream(const RateBlock& block) const noexcept {
    return {mStream.placeOf(block.start), mStream.placeOf(block.end()), block.firstRatio >> mRoute,
            block.lastRatio >> mRoute};
}

void RateFilter::add(const StreamBlock& block, SInt64 kept) noexcept {
    mWindow.extendTo(block.endFrame(), kept, mStream);
    mDecimator.add(block, mWindow);
}

} // namespace braq
