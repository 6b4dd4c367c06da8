#pragma once

#include "platform/samples/Planes.h"
#include "platform/samples/resampling/RateFilter.h"
#include "platform/samples/resampling/RatePlanner.h"

#include <array>

namespace braq {

/// Plays a source at a variable rate. The current position is the sum of all ratios so far. The audio begins at the
/// source's first frame, with silence before it, and without delay.
///
/// At ratio 1 frames pass through unchanged. The converter pulls what it needs, ahead of the current position: nothing
/// at ratio 1; at others up to a few hundred frames, or that many times the ratio.
///
/// Frames are made in blocks of 64. Another ratio is reached within about 12 ms per octave, plus two blocks. If a
/// change begins or ends at 1, switching from or to unchanged frames takes another four to eight blocks, during which
/// the ratio is 1 to within a percent. At a steady ratio, renders of any sizes give the same samples.
class VariableRateConverter {
  public:
    /// Allocates everything. Control thread. @throw std::bad_alloc
    /// @param largestRatio maximum source frames per frame, up to 256
    /// @param largestPull maximum frames of one pull
    /// @param frameRate output frames per second
    VariableRateConverter(UInt32 channels, double largestRatio, UInt32 largestPull, double frameRate);

    VariableRateConverter(const VariableRateConverter&) = delete;
    VariableRateConverter& operator=(const VariableRateConverter&) = delete;

    /// Fills `frames` frames of each plane.
    /// @param ratio requested source frames per frame, reached smoothly; clamped to 1/4096 to the largest
    /// @realtime
    void render(UInt32 frames, float* const* planes, double ratio, PullFrames pull, void* context) noexcept;

    /// Drains: the same without pulling. Plays what was pulled and not played yet, up to the source's last frame, which
    /// is treated as followed by silence.
    /// @return frames rendered, fewer than requested when it is empty @realtime
    UInt32 drain(UInt32 frames, float* const* planes, double ratio) noexcept;

    /// The next render begins at once with the ratio that it requests, at the whole frame that is next: without a glide,
    /// for where the sound is interrupted anyway. Nothing that was pulled is lost. @realtime
    void jump() noexcept;

    /// Resets the converter: the next render begins like the first. Control thread, or the one that renders; allocates
    /// nothing, but clears up to a few hundred KiB. @realtime
    void reset() noexcept;

    /// Source frames pulled and not played yet. @realtime
    double heldFrames() const noexcept;

  private:
    enum class State { fresh, passing, converting };

    UInt32 run(UInt32 frames, float* const* planes, double wish, bool isDraining) noexcept;
    FramePosition nextPosition() const noexcept;
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
    std::size_t mCurrent = 0; // of the filters; the other one is fading out or idle

    State mState = State::fresh;
    FramePosition mPosition; // of the next unchanged frame
    RateBlock mBlock;
    RateBlock mNextBlock;
    UInt32 mHeard = blockFrames; // of the block
    Planes mOut;
    Planes mFadingOut;
    std::vector<float*> mDestination;
};

} // namespace braq
