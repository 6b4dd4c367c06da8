#pragma once

#include "platform/samples/resampling/Decimator.h"
#include "platform/samples/resampling/Interpolator.h"
#include "platform/samples/resampling/SourceStream.h"

namespace braq {

/// Makes the frames of blocks with one route. The result for a position does not depend on what it did before.
class RateFilter {
  public:
    RateFilter(FrameHistory& history, UInt32 channels, int levels);

    /// Frames of the source that a route needs before and after a block's start. @realtime
    static SInt64 framesBehind(Route route) noexcept;
    static SInt64 framesAhead(Route route) noexcept;

    /// Begins with this block. @realtime
    void begin(const RateBlock& block, Route route) noexcept;
    /// @param block the one after the previous block
    /// @param next the one after it, part of whose audio contributes to `block`
    /// @realtime
    void make(const RateBlock& block, const RateBlock& next, float* const* out) noexcept;

    /// The next source frame to be read. @realtime
    SInt64 nextFrame() const noexcept { return mStream.nextFrame(); }

  private:
    StreamBlock inStream(const RateBlock& block) const noexcept;
    void add(const StreamBlock& block, SInt64 kept) noexcept;

    SourceStream mStream;
    StreamWindow mWindow;
    Interpolator mInterpolator;
    Decimator mDecimator;
    Route mRoute = 0;
    bool mIsAdded = false; // the next block, to what the decimator makes
};

} // namespace braq
