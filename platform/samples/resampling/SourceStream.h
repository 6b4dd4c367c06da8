#pragma once

#include "platform/samples/resampling/FrameHistory.h"
#include "platform/samples/resampling/FramePosition.h"
#include "platform/samples/resampling/HalfBand.h"
#include "platform/samples/resampling/StreamWindow.h"

namespace braq {

/// A source's frames in sequence from any frame on, at its own rate or halved several times.
///
/// NaN and absurdly large samples become silence: a filter would spread them over all their neighbours. So do
/// negligibly small samples, before they become denormal and slow.
class SourceStream final : public FrameFeed {
  public:
    SourceStream(FrameHistory& history, UInt32 channels, int levels);

    /// From now on delivers the stream at 2^-`level` of its rate, early enough that at least `lead` valid frames come
    /// before `position`. @realtime
    void begin(int level, FramePosition position, SInt64 lead) noexcept;
    /// The position of a source position among the delivered frames. @realtime
    FramePosition placeOf(FramePosition position) const noexcept;
    /// The next source frame to be read. @realtime
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
    std::vector<float*> mDestination; // of one read
    int mLevel = 0;
    SInt64 mOrigin = 0; // the source frame of the first delivered frame
    SInt64 mNext = 0;   // frame of the source
};

} // namespace braq
