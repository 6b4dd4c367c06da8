#pragma once

#include "platform/samples/resampling/FramePosition.h"

#include <algorithm>

namespace braq {

/// Frames that are converted together, along one slope of the ratio.
inline constexpr UInt32 blockFrames = 64;

/// What a block's frames are made by.
///   `untouched`: they are the source's own. Ratio 1 and whole positions only.
///   0 and up: made from the stream at half its rate so many times; level k is for ratios up to 2^(k + 1), and keeps all of the
///     sound from 2^k on (level 0: everywhere).
using Route = int;
inline constexpr Route untouched = -1;

/// Levels there can be: a ratio of 256, with positions that stay exact.
inline constexpr Route highestLevel = 7;

/// @return the largest ratio that a route is for
inline FixedFrames largestRatioOf(Route route) { return oneFrame << (std::clamp(route, untouched, highestLevel) + 1); }

/// One block: where it begins, how far apart its frames are, and what they are made by.
struct RateBlock {
    FramePosition start;
    FixedFrames firstRatio = oneFrame; ///< source frames a frame, growing evenly
    FixedFrames lastRatio = oneFrame;  ///< on the same side of 1, and of each octave above it, as the first one
    Route route = untouched;
    Route fadingRoute = untouched; ///< what `route` takes over from, when that takes place here
    UInt32 fadeStep = 0;           ///< 1 to `fadeBlocks` while it does, or 0

    FixedFrames way() const { return (blockFrames / 2) * (firstRatio + lastRatio); }
    FramePosition end() const { return start.movedBy(way()); }
    /// Where the block's n-th frame lies after its start, in frames.
    double offsetOf(UInt32 frame) const {
        const double slope = framesOf(lastRatio - firstRatio) / blockFrames;
        return frame * (framesOf(firstRatio) + slope * frame / 2);
    }
};

/// Blocks that one route takes to take over from another.
inline constexpr UInt32 fadeBlocks = 4;

} // namespace braq
