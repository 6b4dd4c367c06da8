#pragma once

#include "platform/samples/resampling/RateBlock.h"

namespace braq {

/// A block as it lies in a stream that it is made from: places are counted from the stream's first frame on, ratios are frames
/// of the stream a frame.
struct StreamBlock {
    FramePosition start;
    FramePosition end; ///< where the next one starts, exactly
    FixedFrames firstRatio = oneFrame;
    FixedFrames lastRatio = oneFrame;

    /// The first of the stream's frames that lie in the block.
    SInt64 firstFrame() const { return start.frame + (start.isWhole() ? 0 : 1); }
    /// The one behind the last of them.
    SInt64 endFrame() const { return end.frame + (end.isWhole() ? 0 : 1); }
    /// Where the block's n-th frame lies in the stream.
    FramePosition placeOf(UInt32 frame) const {
        const SInt64 n = frame;
        return start.movedBy(n * firstRatio + (lastRatio - firstRatio) * n * n / (SInt64{2} * blockFrames));
    }
};

} // namespace braq
