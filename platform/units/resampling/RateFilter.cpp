#include "platform/units/resampling/RateFilter.h"

#include <algorithm>

namespace braq {

static_assert(halfband::reach <= blockFrames, "the blocks before and after must do");
static_assert(2 * blockFrames <= Interpolator::largestBlock);

RateFilter::RateFilter(FrameHistory& history, UInt32 channels, int levels)
    : mStream(history, channels, levels),
      mInterpolator(channels),
      mOdd(channels, std::vector<float>(std::size_t{3} * blockFrames)),
      mEven(mOdd),
      mDoubled(channels, std::vector<float>(doubledFrames)) {
    for (auto& plane : mDoubled) {
        mDoubledPlanes.push_back(plane.data());
    }
}

SInt64 RateFilter::framesBehind(Route route) noexcept {
    const SInt64 spread = SInt64{1} << std::max(route, 0);
    constexpr SInt64 block = SInt64{2} * blockFrames;
    return spread * (Interpolator::reach + HalfBandStream::memory + block) + 1;
}

SInt64 RateFilter::framesAhead(Route route) noexcept {
    const SInt64 spread = SInt64{1} << std::max(route, 0);
    constexpr SInt64 blocks = SInt64{2} * 2 * blockFrames;
    return spread *
           (Interpolator::lookahead + HalfBandStream::delay + blocks + SInt64{2} * HalfBandStream::largestOutput);
}

void RateFilter::begin(const RateBlock& block, Route route) noexcept {
    mRoute = route;
    const bool isDoubled = route >= 0;
    const FixedFrames ratio = block.firstRatio;
    const FramePosition start = isDoubled ? block.start.movedBy(-FixedFrames{blockFrames} * ratio) : block.start;
    mInterpolator.moveInto(mStream.begin(std::max(route, 0), start, Interpolator::reach), mStream);
    mIsAhead = false;
    if (isDoubled) {
        readDoubled(ratio, ratio);
    }
}

void RateFilter::make(const RateBlock& block, const RateBlock& next, float* const* out) noexcept {
    if (mRoute == between) {
        mInterpolator.read(blockFrames, block.firstRatio, block.lastRatio, out, mStream);
        return;
    }
    if (!mIsAhead) {
        readDoubled(block.firstRatio, block.lastRatio);
        mIsAhead = true;
    }
    readDoubled(next.firstRatio, next.lastRatio);
    for (std::size_t channel = 0; channel < mOdd.size(); ++channel) {
        halfband::filter(blockFrames, &mOdd[channel][blockFrames], &mEven[channel][blockFrames], out[channel]);
    }
}

void RateFilter::readDoubled(FixedFrames first, FixedFrames last) noexcept {
    const int level = mRoute + 1;
    mInterpolator.read(doubledFrames, first >> level, last >> level, mDoubledPlanes.data(), mStream);
    for (std::size_t channel = 0; channel < mOdd.size(); ++channel) {
        float* const odd = mOdd[channel].data();
        float* const even = mEven[channel].data();
        std::copy_n(odd + blockFrames, 2 * blockFrames, odd);
        std::copy_n(even + blockFrames, 2 * blockFrames, even);
        constexpr std::size_t behind = std::size_t{2} * blockFrames;
        for (std::size_t n = 0; n < blockFrames; ++n) {
            even[behind + n] = mDoubled[channel][2 * n];
            odd[behind + n] = mDoubled[channel][2 * n + 1];
        }
    }
}

} // namespace braq
