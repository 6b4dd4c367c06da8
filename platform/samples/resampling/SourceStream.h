#pragma once

#include "platform/samples/resampling/FrameHistory.h"
#include "platform/samples/resampling/FramePosition.h"
#include "platform/samples/resampling/HalfBand.h"
#include "platform/samples/resampling/StreamWindow.h"

namespace braq {

/// A source's frames in sequence from any of them on, as they are or at half their rate several times.
///
/// A sample that is no number, or as large as none is that is meant to be heard, becomes silence: a filter would spread it
/// over all that it makes of its neighbours. So does what is too small to matter, before it becomes too small to be computed
/// with at full speed.
class SourceStream final : public FrameFeed {
  public:
    SourceStream(FrameHistory& history, UInt32 channels, int levels);

    /// From now on gives the stream at 2^-`level` of its rate, early enough that at least `lead` good frames are given before
    /// `position`. @realtime
    void begin(int level, FramePosition position, SInt64 lead) noexcept;
    /// Where a place in the source is among the frames that are given. @realtime
    FramePosition placeOf(FramePosition position) const noexcept;
    /// The source's frame that is wanted next. @realtime
    SInt64 nextFrame() const noexcept { return mNext; }

    void read(UInt32 frames, float* const* planes) noexcept override;

  private:
    struct Level {
        std::vector<HalfBandStream> channels;
        std::vector<std::vector<float>> in;
        std::vector<float*> inPlanes;
    };
    void halve(int level, UInt32 frames, float* const* out) noexcept;
    void readSource(UInt32 frames, float* const* out) noexcept;

    FrameHistory& mHistory;
    std::vector<Level> mLevels;       // the first makes the stream of level 1
    std::vector<float*> mDestination; // of one reading
    int mLevel = 0;
    SInt64 mOrigin = 0; // the source's frame that the first one that is given lies on
    SInt64 mNext = 0;   // frame of the source
};

} // namespace braq
