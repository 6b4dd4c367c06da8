#pragma once

#include "platform/samples/resampling/FramePosition.h"

#include <algorithm>

namespace braq {

/// Frames that are converted together, with a linearly changing ratio.
inline constexpr UInt32 blockFrames = 64;

/// How a block's frames are made.
///   `untouched`: they are the source's own. Ratio 1 and integer positions only.
///   0 and up: from the stream after halving its rate this many times. Level k is for ratios up to 2^(k + 1), and keeps
/// the full bandwidth from 2^k on (level 0: everywhere).
using Route = int;
inline constexpr Route untouched = -1;

/// The maximum level: a ratio of 256, with exact positions.
inline constexpr Route highestLevel = 7;

/// @return the largest ratio of a route
inline FixedFrames largestRatioOf(Route route) { return oneFrame << (std::clamp(route, untouched, highestLevel) + 1); }

/// A block: where it begins, the distance of its frames, and how they are made.
struct RateBlock {
    FramePosition start;
    FixedFrames firstRatio = oneFrame; ///< source frames per frame, changing linearly
    FixedFrames lastRatio = oneFrame;  ///< on the same side of 1, and of each octave above it, as the first one
    Route route = untouched;
    Route fadingRoute = untouched; ///< the route that `route` replaces, during a fade
    UInt32 fadeStep = 0;           ///< 1 to `fadeBlocks` during a fade, else 0

    FixedFrames way() const { return (blockFrames / 2) * (firstRatio + lastRatio); }
    FramePosition end() const { return start.movedBy(way()); }
    /// The distance of the block's n-th frame from its start, in frames.
    double offsetOf(UInt32 frame) const {
        const double slope = framesOf(lastRatio - firstRatio) / blockFrames;
        return frame * (framesOf(firstRatio) + slope * frame / 2);
    }
};

/// Length of a fade between routes, in blocks.
inline constexpr UInt32 fadeBlocks = 4;

} // namespace braq
