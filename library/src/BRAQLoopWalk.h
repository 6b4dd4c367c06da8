#pragma once

#include "BRAQAudio/platform/types.h"

#include <atomic>

/// A place in a file on its way through a loop: a range of frames that is played a number of times before playing goes
/// on behind it. Backwards, the range is entered at its end and left at its first frame.
///
/// A walk that has played the last frame of the range stays behind it, at the seam, until it takes another frame: so a
/// walk that turns round there is still in the same round.
///
/// The functions change nothing but the walk.
/// @realtime
struct BRAQLoopWalk {
    SInt64 place = 0;      ///< forwards the next frame; backwards the one above the next
    SInt64 first = 0;      ///< of the range
    SInt64 end = 0;        ///< one past the last frame of the range; not above `first`: no loop
    UInt64 returns = 0;    ///< how often the walk still goes back
    bool isInside = false; ///< whether the last frame was one of the range

    bool operator==(const BRAQLoopWalk&) const = default;

    /// Whether the next frame is the first one of another round.
    bool isAtSeam(bool backwards) const noexcept;
    /// Goes back, from the seam.
    void goBack(bool backwards) noexcept;
    /// Frames until the walk is behind the range. At most `most`; that is also the answer if it leads away from it.
    UInt64 framesToSeam(bool backwards, UInt64 most) const noexcept;
    /// The next frame.
    SInt64 nextFrame(bool backwards) const noexcept;
    /// Goes on by that many frames.
    void advance(UInt64 frames, bool backwards) noexcept;
    /// This place in another loop. A walk at the seam of the same range stays there; the next round is its first.
    BRAQLoopWalk inLoop(SInt64 newFirst, SInt64 newEnd, UInt64 newReturns, bool backwards) const noexcept;

  private:
    bool isLeadingIn(bool backwards) const noexcept;
};

/// A walk that one thread writes and others read. Who reads finds out by other means whether it was written meanwhile.
/// @realtime
struct BRAQPublishedLoopWalk {
    std::atomic<SInt64> place{0};
    std::atomic<SInt64> first{0};
    std::atomic<SInt64> end{0};
    std::atomic<UInt64> returns{0};
    std::atomic<bool> isInside{false};

    BRAQLoopWalk get() const noexcept { return {place, first, end, returns, isInside}; }
    void set(const BRAQLoopWalk& walk) noexcept {
        place = walk.place;
        first = walk.first;
        end = walk.end;
        returns = walk.returns;
        isInside = walk.isInside;
    }
};
