#include "platform/files/reading/BackwardReading.h"

#include <algorithm>

namespace braq {
namespace {

constexpr UInt32 heldFrames = 65536;

} // namespace

UInt32 BackwardReading::read(SInt64 first, UInt32 frames, float* const* planes) {
    const bool isStepBack = first < mLastFirst && first + frames >= mLastFirst && frames <= heldFrames / 2;
    mLastFirst = first;
    if (isStepBack && !holds(first, frames)) {
        fill(first + frames);
    }
    if (!mFrames || !holds(first, frames)) {
        return mSource->read(first, frames, planes);
    }
    for (UInt32 channel = 0; channel < mFrames->channels(); ++channel) {
        std::copy_n(mFrames->get()[channel] + (first - mBegin), frames, planes[channel]);
    }
    return frames;
}

void BackwardReading::fill(SInt64 end) {
    if (!mFrames) {
        mFrames = std::make_unique<Planes>(facts().format.mChannelsPerFrame, heldFrames);
    }
    mBegin = std::max<SInt64>(end - heldFrames, 0);
    mEnd = mBegin + mSource->read(mBegin, static_cast<UInt32>(end - mBegin), mFrames->get());
}

} // namespace braq
