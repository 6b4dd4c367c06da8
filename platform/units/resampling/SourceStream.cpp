#include "platform/units/resampling/SourceStream.h"

#include <algorithm>
#include <cmath>

namespace braq {

namespace {

/// 400 dB below and above full scale.
constexpr float smallest = 1e-20F;
constexpr float largest = 1e20F;

float computable(float sample) {
    const float size = std::fabs(sample);
    return size > smallest && size < largest ? sample : 0.0F;
}

std::vector<float*> pointersTo(std::vector<std::vector<float>>& planes) {
    std::vector<float*> pointers(planes.size());
    std::transform(planes.begin(), planes.end(), pointers.begin(), [](auto& plane) { return plane.data(); });
    return pointers;
}

} // namespace

SourceStream::SourceStream(FrameHistory& history, UInt32 channels, int levels)
    : mHistory(history),
      mLevels(static_cast<std::size_t>(levels)),
      mOut(channels, std::vector<float>(HalfBandStream::largestOutput)),
      mOutPlanes(pointersTo(mOut)) {
    for (Level& level : mLevels) {
        level.channels.resize(channels);
        level.in.assign(channels, std::vector<float>(std::size_t{2} * HalfBandStream::largestOutput));
        level.inPlanes = pointersTo(level.in);
    }
}

FixedFrames SourceStream::begin(int level, FramePosition position, SInt64 lead) noexcept {
    // Sample m of a level lies on the source's frame mNext + 2^level m - delay (2^level - 1).
    const SInt64 spread = SInt64{1} << level;
    const SInt64 delay = HalfBandStream::delay * (spread - 1);
    const SInt64 before = lead + (level > 0 ? HalfBandStream::memory : 0);
    mLevel = level;
    mNext = position.frame + delay - before * spread;
    return before * oneFrame + (position.fraction >> level);
}

const float* const* SourceStream::next(UInt32& frames) noexcept {
    frames = std::min(frames, HalfBandStream::largestOutput);
    if (mLevel > 0) {
        halve(mLevel, frames, mOutPlanes.data());
    } else {
        readSource(frames, mOutPlanes.data());
    }
    return mOutPlanes.data();
}

void SourceStream::halve(int level, UInt32 frames, float* const* out) noexcept {
    Level& here = mLevels[static_cast<std::size_t>(level - 1)];
    for (UInt32 half = 0; half < 2; ++half) {
        if (level == 1) {
            readSource(frames, here.inPlanes.data());
        } else {
            halve(level - 1, frames, here.inPlanes.data());
        }
        for (float*& plane : here.inPlanes) {
            plane += frames;
        }
    }
    for (std::size_t channel = 0; channel < here.in.size(); ++channel) {
        here.inPlanes[channel] = here.in[channel].data();
        here.channels[channel].halve(frames, here.in[channel].data(), out[channel]);
    }
}

void SourceStream::readSource(UInt32 frames, float* const* out) noexcept {
    mHistory.extendTo(mNext + frames);
    mHistory.copy(mNext, frames, out, 0);
    mNext += frames;
    for (std::size_t channel = 0; channel < mOut.size(); ++channel) {
        std::transform(out[channel], out[channel] + frames, out[channel], computable);
    }
}

} // namespace braq
