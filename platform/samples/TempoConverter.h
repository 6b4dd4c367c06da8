#pragma once

#include "platform/samples/Planes.h"
#include "platform/samples/TimeStretcher.h"
#include "platform/samples/resampling/FrameHistory.h"

#include <vector>

namespace braq {

/// Plays a source faster or slower at the same pitch. The audio begins at the source's first frame, without delay, and lasts
/// as long as the source's frames at their tempos; within it, the frames of a batch follow one another as in the source, so that
/// sounds are earlier or later by up to half the time by which a batch is longer or shorter than what it stands for, and by
/// another 8 ms to where batches fit.
///
/// At tempo 1 frames pass through unchanged. To and from it nothing clicks: the first stretched frames are the source's, and
/// the last ones are cross-faded with the source's where it is most alike. At other tempos the converter pulls some 90 to
/// 150 ms ahead of what it plays; another tempo is heard as much later.
class TempoConverter {
  public:
    /// Allocates everything. Control thread. @throw std::bad_alloc
    /// @param channels at most `TimeStretcher::mostChannels`
    /// @param frameRate frames per second, of the source and of what is rendered
    /// @param largestPull maximum frames of one pull
    TempoConverter(UInt32 channels, double frameRate, UInt32 largestPull);
    TempoConverter(const TempoConverter&) = delete;
    TempoConverter& operator=(const TempoConverter&) = delete;

    /// Fills `frames` frames of each plane.
    /// @param tempo source frames per frame; clamped to `TimeStretcher`'s range
    /// @realtime
    void render(UInt32 frames, float* const* planes, double tempo, PullFrames pull, void* context) noexcept;

    /// Drains: the same without pulling. Plays what was pulled and not played yet.
    /// @return frames rendered, fewer than requested when it is empty: it then begins anew @realtime
    UInt32 drain(UInt32 frames, float* const* planes, double tempo) noexcept;

    /// The next render begins like the first. Allocates nothing. @realtime
    void reset() noexcept;

    /// Source frames pulled and not played yet. @realtime
    double heldFrames() const noexcept;

    /// Source frames that are played before the next one that is pulled is, in the middle of where it can be in its batch.
    /// @realtime
    double framesAhead() const noexcept;

  private:
    UInt32 run(UInt32 frames, float* const* planes, double wish, bool isDraining) noexcept;
    UInt32 pass(UInt32 frames, float* const* planes, UInt32 done, bool isDraining) noexcept;
    UInt32 stretch(UInt32 frames, float* const* planes, UInt32 done, double tempo, bool isDraining) noexcept;
    void begin() noexcept;
    void makeReady(UInt32 frames, bool isDraining) noexcept;
    void feedTo(SInt64 frame, bool isDraining) noexcept;
    void readFed(UInt32 frames) noexcept;
    void takeFrom(UInt32 frames, float* const* planes, UInt32 done) noexcept;
    void join(bool isDraining) noexcept;
    void readSource(SInt64 first) noexcept;
    float differenceAt(UInt32 offset) const noexcept;
    SInt64 mostAlike() noexcept;
    UInt32 deliverJoined(UInt32 frames, float* const* planes, UInt32 done) noexcept;
    void setDestination(float* const* planes, UInt32 offset) noexcept;

    const UInt32 mJoinFrames;
    const UInt32 mReach;      // of the search for the most alike, in frames to either side
    const UInt32 mSearchStep; // of that, in frames
    TimeStretcher mStretcher;
    FrameHistory mHistory;
    Planes mFed;
    Planes mJoined;
    Planes mSource; // around the join
    std::vector<float*> mDestination;

    bool mIsStretching = false;
    double mTempo = 1.0;   // of the stretcher
    double mPosition = 0;  // source frame that is played next
    double mMadeUpTo = 0;  // source frame that follows what the stretcher has ready
    SInt64 mFedUpTo = 0;   // source frame that the stretcher is given next
    UInt32 mJoinHeard = 0; // of mJoined
};

} // namespace braq
