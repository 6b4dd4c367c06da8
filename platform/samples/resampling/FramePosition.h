#pragma once

#include "BRAQAudio/platform/types.h"

#include <cmath>

namespace braq {

/// A number of frames with 32 fractional bits: a ratio of rates, a distance or a part of a frame.
using FixedFrames = SInt64;

inline constexpr FixedFrames oneFrame = FixedFrames{1} << 32;

inline FixedFrames fixedFrames(double frames) { return std::llround(frames * static_cast<double>(oneFrame)); }
inline double framesOf(FixedFrames frames) { return static_cast<double>(frames) / static_cast<double>(oneFrame); }

/// A position in the source's stream, exact however long it plays.
struct FramePosition {
    SInt64 frame = 0;         ///< whole frames since the first one
    FixedFrames fraction = 0; ///< 0 to less than one frame

    FramePosition movedBy(FixedFrames way) const {
        const FixedFrames sum = fraction + way;
        return {frame + (sum >> 32), sum & (oneFrame - 1)};
    }
    bool isWhole() const { return fraction == 0; }
};

} // namespace braq
