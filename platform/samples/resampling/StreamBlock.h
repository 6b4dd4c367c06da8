#pragma once

#include "platform/samples/resampling/RateBlock.h"

namespace braq {

/// A block relative to the stream that it is made from: positions are counted from the stream's first frame, ratios are
/// stream frames per block frame.
struct StreamBlock {
    FramePosition start;
    FramePosition end; ///< start of the next one, exactly
    FixedFrames firstRatio = oneFrame;
    FixedFrames lastRatio = oneFrame;

    /// The first of the stream's frames in the block.
    SInt64 firstFrame() const { return start.frame + (start.isWhole() ? 0 : 1); }
    /// One past the last of them.
    SInt64 endFrame() const { return end.frame + (end.isWhole() ? 0 : 1); }
    /// The position of the block's n-th frame in the stream.
    FramePosition placeOf(UInt32 frame) const {
        const SInt64 n = frame;
        return start.movedBy(n * firstRatio + (lastRatio - firstRatio) * n * n / (SInt64{2} * blockFrames));
    }
};

} // namespace braq
