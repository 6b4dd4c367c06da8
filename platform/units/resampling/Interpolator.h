#pragma once

#include "platform/units/resampling/FramePosition.h"

#include <memory>
#include <vector>

struct soxr;

namespace braq {

/// Where an interpolator gets the frames that come next.
class FrameFeed {
  public:
    /// @return the planes of at most `frames` frames, valid until the next call; `frames` becomes their number, at least 1
    /// @realtime
    virtual const float* const* next(UInt32& frames) noexcept = 0;

  protected:
    ~FrameFeed() = default;
};

/// Reads a stream between its frames, at steps of at most one frame: libsoxr's variable-rate mode in the part of its range
/// where it is a filter of linear phase and finite length.
///
/// libsoxr does not tell where it is. But what it does is exact: it moves on by twice the step in fixed point, rounded to 32
/// binary places, a frame, and reads a fixed number of frames ahead. Steps that are given as `FixedFrames` are therefore taken
/// exactly, and this class knows how far ahead of the place that is read next the frames reach that it was given.
class Interpolator {
  public:
    /// Allocates everything. @throw std::bad_alloc
    explicit Interpolator(UInt32 channels);

    static constexpr UInt32 largestBlock = 128;
    /// Frames beside the place that is read that have a part in it, and one.
    static constexpr SInt64 reach = 70;
    /// Frames beyond the place that is read that have to be there.
    static constexpr SInt64 lookahead = 242;

    /// Reads `count` frames, up to `largestBlock`, the steps growing evenly from `first` to `last`: they add up to
    /// count x (first + last) / 2. Both are over 0 and at most `oneFrame`; their difference is a multiple of 2 x count.
    /// @realtime
    void read(UInt32 count, FixedFrames first, FixedFrames last, float* const* out, FrameFeed& feed) noexcept;

    /// Moves to a place among the frames of another stream, of which `feed` gives the first one next.
    /// @param place at least `reach`, or what is read first still has a part of the earlier stream in it
    /// @realtime
    void moveInto(FixedFrames place, FrameFeed& feed) noexcept;

    /// Frames that were given and lie beyond the place that is read next. @realtime
    FixedFrames ahead() const noexcept { return mAhead; }

  private:
    struct Deleter {
        void operator()(soxr* interpolator) const;
    };
    void reserve();
    void setSteps(UInt32 count, FixedFrames first, FixedFrames last) noexcept;
    void give(SInt64 frames, FrameFeed& feed) noexcept;
    UInt32 take(UInt32 count, UInt32 offset, float* const* out) noexcept;

    std::unique_ptr<soxr, Deleter> mInterpolator;
    FixedFrames mAhead = 0;
    FixedFrames mStep = oneFrame; // that libsoxr was left at
    std::vector<std::vector<float>> mUnheard;
    std::vector<float*> mUnheardPlanes;
    std::vector<float*> mDestination; // of one call
};

} // namespace braq
