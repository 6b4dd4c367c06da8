#include "platform/samples/resampling/VariableRateConverter.h"

#include <algorithm>
#include <cmath>

namespace braq {

namespace {

/// Maximum frames of one pull of a render, if the source supports that.
constexpr UInt32 pulledAtOnce = 4096;

UInt32 framesToKeep(Route highest, UInt32 largestPull) {
    return static_cast<UInt32>(RateFilter::framesBehind(highest) + RateFilter::framesAhead(highest)) +
           std::min(largestPull, pulledAtOnce);
}

} // namespace

VariableRateConverter::VariableRateConverter(UInt32 channels, double largestRatio, UInt32 largestPull, double frameRate)
    : mLargestPull(largestPull),
      mPlanner(largestRatio, frameRate),
      mHistory(channels, framesToKeep(mPlanner.highestRoute(), largestPull), largestPull),
      mFilters{RateFilter(mHistory, channels, mPlanner.highestRoute()),
               RateFilter(mHistory, channels, mPlanner.highestRoute())},
      mOut(channels, blockFrames),
      mFadingOut(channels, blockFrames),
      mDestination(channels) {}

void VariableRateConverter::render(UInt32 frames, float* const* planes, double ratio, PullFrames pull,
                                   void* context) noexcept {
    mHistory.setSource(pull, context);
    run(frames, planes, ratio, false);
}

UInt32 VariableRateConverter::drain(UInt32 frames, float* const* planes, double ratio) noexcept {
    mHistory.setSource(nullptr, nullptr);
    return mHistory.soundEnd() == 0 ? 0 : run(frames, planes, ratio, true);
}

UInt32 VariableRateConverter::run(UInt32 frames, float* const* planes, double wish, bool isDraining) noexcept {
    const double ratio = mPlanner.nearest(wish);
    UInt32 done = 0;
    while (done < frames) {
        if (mState != State::converting) {
            enter(ratio);
        }
        if (mState == State::converting && mHeard == blockFrames) {
            if (!isDraining) {
                pullAhead(frames - done, ratio);
            }
            makeBlock(ratio);
            if (mState == State::passing) {
                continue; // the begin of a block, unless another ratio is requested by now
            }
        }
        const UInt32 delivered = mState == State::passing ? pass(frames, done, planes, isDraining)
                                                          : deliver(frames, done, planes, isDraining);
        done += delivered;
        if (isDraining && delivered == 0) {
            break;
        }
    }
    return done;
}

/// Starts converting, or stays with unchanged frames if the ratio is 1.
void VariableRateConverter::enter(double ratio) noexcept {
    if (ratio == 1) {
        mState = State::passing;
        return;
    }
    const bool isFresh = mState == State::fresh;
    mPlanner.begin(mPosition, isFresh ? ratio : 1);
    mState = State::converting;
    mHeard = blockFrames;
    mNextBlock = mPlanner.next(ratio);
    if (isFresh) {
        mFilters[mCurrent].begin(mNextBlock, mNextBlock.route);
    }
}

UInt32 VariableRateConverter::pass(UInt32 frames, UInt32 done, float* const* planes, bool isDraining) noexcept {
    const SInt64 there = (isDraining ? mHistory.soundEnd() : mHistory.end()) - mPosition.frame;
    UInt32 passed = static_cast<UInt32>(std::clamp<SInt64>(there, 0, frames - done));
    if (passed > 0) {
        mHistory.copy(mPosition.frame, passed, planes, done);
    } else if (!isDraining) {
        passed = frames - done;
        for (std::size_t channel = 0; channel < mDestination.size(); ++channel) {
            mDestination[channel] = planes[channel] + done;
        }
        mHistory.pullInto(passed, mDestination.data());
    }
    mPosition.frame += passed;
    return passed;
}

UInt32 VariableRateConverter::deliver(UInt32 frames, UInt32 done, float* const* planes, bool isDraining) noexcept {
    UInt32 count = std::min(frames - done, blockFrames - mHeard);
    if (isDraining) {
        const double left =
            static_cast<double>(mHistory.soundEnd() - mBlock.start.frame) - framesOf(mBlock.start.fraction);
        UInt32 sounding = mHeard;
        while (sounding < mHeard + count && mBlock.offsetOf(sounding) < left) {
            ++sounding;
        }
        count = sounding - mHeard;
    }
    for (std::size_t channel = 0; channel < mOut.channels(); ++channel) {
        std::copy_n(mOut.get()[channel] + mHeard, count, planes[channel] + done);
    }
    mHeard += count;
    return count;
}

void VariableRateConverter::makeBlock(double ratio) noexcept {
    mBlock = mNextBlock;
    if (mBlock.route == untouched && mBlock.fadeStep == 0) {
        mState = State::passing;
        mPosition = mBlock.start;
        return;
    }
    mNextBlock = mPlanner.next(ratio);
    if (mBlock.fadeStep == 1) {
        mCurrent = 1 - mCurrent;
        if (mBlock.route != untouched) {
            mFilters[mCurrent].begin(mBlock, mBlock.route);
        }
    }
    make(mBlock, mBlock.route, mFilters[mCurrent], mOut.get());
    if (mBlock.fadeStep > 0) {
        make(mBlock, mBlock.fadingRoute, mFilters[1 - mCurrent], mFadingOut.get());
        fade();
    }
    mHeard = 0;
}

void VariableRateConverter::make(const RateBlock& block, Route route, RateFilter& filter, float* const* out) noexcept {
    if (route == untouched) {
        mHistory.extendTo(block.start.frame + blockFrames);
        mHistory.copy(block.start.frame, blockFrames, out, 0);
        return;
    }
    filter.make(block, mNextBlock, out);
}

void VariableRateConverter::fade() noexcept {
    constexpr float step = 1.0F / (fadeBlocks * blockFrames);
    for (std::size_t channel = 0; channel < mOut.channels(); ++channel) {
        float share = step * static_cast<float>((mBlock.fadeStep - 1) * blockFrames);
        float* const out = mOut.get()[channel];
        const float* const fading = mFadingOut.get()[channel];
        for (UInt32 n = 0; n < blockFrames; ++n, share += step) {
            out[n] = fading[n] + share * (out[n] - fading[n]);
        }
    }
}

/// Pulls what the rest of a render needs at once rather than block by block, as far as that is certain.
void VariableRateConverter::pullAhead(UInt32 frames, double ratio) noexcept {
    const UInt32 blocks = (frames + blockFrames - 1) / blockFrames;
    const double way = blocks * blockFrames * std::min(ratio, mPlanner.smallestRatio());
    const auto atOnce = static_cast<SInt64>(std::ceil(std::min<double>(way, std::min(mLargestPull, pulledAtOnce))));
    mHistory.extendTo(std::min(mFilters[mCurrent].nextFrame(), mHistory.end()) + atOnce);
}

void VariableRateConverter::reset() noexcept {
    mHistory.clear();
    mState = State::fresh;
    mPosition = {};
    mHeard = blockFrames;
}

void VariableRateConverter::jump() noexcept {
    const FramePosition next = nextPosition().movedBy(oneFrame / 2);
    mPosition = {next.frame, 0};
    mState = State::fresh;
    mHeard = blockFrames;
}

double VariableRateConverter::heldFrames() const noexcept {
    const FramePosition next = nextPosition();
    return std::max(0.0, static_cast<double>(mHistory.soundEnd() - next.frame) - framesOf(next.fraction));
}

FramePosition VariableRateConverter::nextPosition() const noexcept {
    if (mState != State::converting) {
        return mPosition;
    }
    return mHeard < blockFrames ? mBlock.start.movedBy(fixedFrames(mBlock.offsetOf(mHeard))) : mNextBlock.start;
}

} // namespace braq
