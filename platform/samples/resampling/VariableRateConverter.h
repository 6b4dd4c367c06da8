#pragma once

#include "platform/samples/Planes.h"
#include "platform/samples/resampling/RateFilter.h"
#include "platform/samples/resampling/RatePlanner.h"

#include <array>

namespace braq {

/// Plays a source at another and changing rate. The frame at hand is the source's sound at the sum of the ratios up to it; the
/// sound begins at the source's first frame, with silence before it, and no delay.
///
/// At ratio 1 frames pass through untouched. What is pulled is what is needed, ahead of what is heard: nothing at ratio 1, and
/// up to some hundred frames, or as many times the ratio, at others.
///
/// Frames are made in blocks of 64. Another ratio is reached within some 12 ms for each octave of the way, and two blocks more;
/// where the way begins or ends at 1, the untouched frames are left or taken up again in another four to eight blocks, in which
/// the ratio is 1 to within a percent. Renders of any sizes give the same samples at a steady ratio.
class VariableRateConverter {
  public:
    /// Allocates everything. Control thread. @throw std::bad_alloc
    /// @param largestRatio source frames per frame at most, up to 256
    /// @param largestPull most frames asked of the source in one call
    /// @param frameRate frames a second that are rendered
    VariableRateConverter(UInt32 channels, double largestRatio, UInt32 largestPull, double frameRate);

    VariableRateConverter(const VariableRateConverter&) = delete;
    VariableRateConverter& operator=(const VariableRateConverter&) = delete;

    /// Fills `frames` frames of each plane.
    /// @param ratio source frames per frame wanted from now on, reached smoothly; outside 1/4096 to the largest: the nearest
    /// @realtime
    void render(UInt32 frames, float* const* planes, double ratio, PullFrames pull, void* context) noexcept;

    /// The same without asking the source: what was pulled and not heard yet, ending where the source's last frame was, with
    /// silence taken to follow it.
    /// @return frames rendered, fewer than asked when it is used up @realtime
    UInt32 drain(UInt32 frames, float* const* planes, double ratio) noexcept;

    /// Forgets all frames: the next render begins like the first. Control thread, or the one that renders; allocates nothing,
    /// but clears up to a few hundred KiB. @realtime
    void reset() noexcept;

    /// Source frames pulled and not yet heard. @realtime
    double heldFrames() const noexcept;

  private:
    enum class State { fresh, passing, converting };

    UInt32 run(UInt32 frames, float* const* planes, double wish, bool isDraining) noexcept;
    UInt32 pass(UInt32 frames, UInt32 done, float* const* planes, bool isDraining) noexcept;
    UInt32 deliver(UInt32 frames, UInt32 done, float* const* planes, bool isDraining) noexcept;
    void enter(double ratio) noexcept;
    void makeBlock(double ratio) noexcept;
    void fade() noexcept;
    void make(const RateBlock& block, Route route, RateFilter& filter, float* const* out) noexcept;
    void pullAhead(UInt32 frames, double ratio) noexcept;

    const UInt32 mLargestPull;
    RatePlanner mPlanner;
    FrameHistory mHistory;
    std::array<RateFilter, 2> mFilters;
    std::size_t mCurrent = 0; // of the filters; the other one is faded out or idle

    State mState = State::fresh;
    FramePosition mPosition; // of the next untouched frame
    RateBlock mBlock;
    RateBlock mNextBlock;
    UInt32 mHeard = blockFrames; // of the block
    Planes mOut;
    Planes mFadingOut;
    std::vector<float*> mDestination;
};

} // namespace braq
