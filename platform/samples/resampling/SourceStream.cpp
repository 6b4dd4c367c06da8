#include "platform/samples/resampling/SourceStream.h"

#include "platform/samples/resampling/Floats4.h"

#include <algorithm>

namespace braq {

namespace {

/// 400 dB below and above full scale.
constexpr float smallest = 1e-20F;
constexpr float largest = 1e20F;

Floats4 computable(Floats4 samples) noexcept {
    const Floats4 sizes = samples < 0 ? -samples : samples;
    const auto isComputable = (sizes > smallest) & (sizes < largest);
    return isComputable ? samples : Floats4{};
}

void makeComputable(UInt32 frames, float* samples) noexcept {
    UInt32 n = 0;
    for (; n + 4 <= frames; n += 4) {
        store4(computable(load4(samples + n)), samples + n);
    }
    for (; n < frames; ++n) {
        samples[n] = computable(fill4(samples[n]))[0];
    }
}

std::vector<float*> pointersTo(std::vector<std::vector<float>>& planes) {
    std::vector<float*> pointers(planes.size());
    std::transform(planes.begin(), planes.end(), pointers.begin(), [](auto& plane) { return plane.data(); });
    return pointers;
}

} // namespace

SourceStream::SourceStream(FrameHistory& history, UInt32 channels, int levels)
    : mHistory(history), mLevels(static_cast<std::size_t>(levels)), mDestination(channels) {
    for (Level& level : mLevels) {
        level.channels.resize(channels);
        level.in.assign(channels, std::vector<float>(std::size_t{2} * HalfBandStream::largestOutput));
        level.inPlanes = pointersTo(level.in);
    }
}

void SourceStream::begin(int level, FramePosition position, SInt64 lead) noexcept {
    // Sample m of a level is at frame first + 2^level m - delay (2^level - 1), first being the first frame read.
    const SInt64 spread = SInt64{1} << level;
    const SInt64 before = lead + (level > 0 ? HalfBandStream::memory : 0);
    mLevel = level;
    mOrigin = position.frame - before * spread;
    mNext = mOrigin + HalfBandStream::delay * (spread - 1);
}

FramePosition SourceStream::placeOf(FramePosition position) const noexcept {
    const SInt64 way = position.frame - mOrigin;
    const SInt64 rest = way & ((SInt64{1} << mLevel) - 1);
    return {way >> mLevel, (rest * oneFrame + position.fraction) >> mLevel};
}

void SourceStream::read(UInt32 frames, float* const* planes) noexcept {
    for (UInt32 done = 0; done < frames;) {
        const UInt32 piece = std::min(frames - done, HalfBandStream::largestOutput);
        for (std::size_t channel = 0; channel < mDestination.size(); ++channel) {
            mDestination[channel] = planes[channel] + done;
        }
        if (mLevel > 0) {
            halve(mLevel, piece, mDestination.data());
        } else {
            readSource(piece, mDestination.data());
        }
        done += piece;
    }
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
    const HalfBand kind = level == mLevel ? HalfBand::steep : HalfBand::gentle;
    for (std::size_t channel = 0; channel < here.in.size(); ++channel) {
        here.inPlanes[channel] = here.in[channel].data();
        here.channels[channel].halve(kind, frames, here.in[channel].data(), out[channel]);
    }
}

void SourceStream::readSource(UInt32 frames, float* const* out) noexcept {
    mHistory.extendTo(mNext + frames);
    mHistory.copy(mNext, frames, out, 0);
    mNext += frames;
    for (std::size_t channel = 0; channel < mDestination.size(); ++channel) {
        makeComputable(frames, out[channel]);
    }
}

} // namespace braq
