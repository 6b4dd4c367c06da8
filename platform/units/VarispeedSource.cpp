#include "platform/units/VarispeedSource.h"

#include "platform/foundation/HostTime.h"

#include <algorithm>

namespace braq {
namespace {

constexpr Float64 fastestRate = 32.0;

} // namespace

VarispeedSource::VarispeedSource(std::shared_ptr<FrameSource> from, const AudioStreamBasicDescription& input,
                                 const AudioStreamBasicDescription& output, UInt32 sliceLimit,
                                 const std::atomic<float>& rate)
    : mFrom(std::move(from)),
      mChannels(input.mChannelsPerFrame),
      mSliceLimit(sliceLimit),
      mOutputRate(output.mSampleRate),
      mRatioAtRateOne(input.mSampleRate / output.mSampleRate),
      mRate(rate),
      mConverter(mChannels, fastestRate * mRatioAtRateOne,
                 mFrom != nullptr ? std::min(sliceLimit, mFrom->sliceLimit()) : sliceLimit, output.mSampleRate),
      mPlanes(mChannels, sliceLimit),
      mList(output, sliceLimit) {}

void VarispeedSource::pullInput(void* self, UInt32 frames, float* const* planes) noexcept {
    auto& source = *static_cast<VarispeedSource*>(self);
    if (source.mFrom == nullptr) {
        for (UInt32 channel = 0; channel < source.mChannels; ++channel) {
            std::fill_n(planes[channel], frames, 0.0F);
        }
        source.mFromIsUsedUp = true;
        return;
    }
    source.mFromIsUsedUp |= source.mFrom->pull(frames, planes, source.mTime, source.mAsking) < frames;
    source.mTime.mSampleTime += frames;
    source.passTime(frames);
}

void VarispeedSource::passTime(Float64 inputFrames) noexcept {
    mTime.mHostTime += static_cast<UInt64>(inputFrames * nanosecondsPerSecond / (mRatio * mOutputRate));
}

UInt32 VarispeedSource::pull(UInt32 frames, float* const* planes, const AudioTimeStamp& time, Asking asking) noexcept {
    const Float64 sampleTime = mTime.mSampleTime;
    mTime = time;
    mTime.mSampleTime = sampleTime;
    mAsking = asking;
    mRatio = mRatioAtRateOne * static_cast<Float64>(mRate.load(std::memory_order_relaxed));
    passTime(mConverter.heldFrames()); // held frames come before the next one that is pulled
    if (asking == Asking::procedures) {
        mFromIsUsedUp = false;
        mConverter.render(frames, planes, mRatio, pullInput, this);
        return frames;
    }
    if (mFrom != nullptr && mFrom->holdsFrames() && !mFromIsUsedUp) {
        mConverter.render(frames, planes, mRatio, pullInput, this);
        return frames;
    }
    const UInt32 delivered = mConverter.drain(frames, planes, mRatio);
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        std::fill_n(planes[channel] + delivered, frames - delivered, 0.0F);
    }
    return delivered;
}

bool VarispeedSource::holdsFrames() const noexcept {
    return mConverter.heldFrames() > 0.0 || (mFrom != nullptr && mFrom->holdsFrames());
}

std::exception_ptr VarispeedSource::takeThrown() noexcept { return mFrom != nullptr ? mFrom->takeThrown() : nullptr; }

void VarispeedSource::reset() noexcept {
    mConverter.reset();
    mTime = {};
    mFromIsUsedUp = false;
    if (mFrom != nullptr) {
        mFrom->reset();
    }
}

OSStatus VarispeedSource::render(const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) noexcept {
    if (frames > mSliceLimit) {
        return kAudioUnitErr_TooManyFramesToProcess;
    }
    if (list == nullptr || !mList.isOfShape(*list)) { // before pulling frames that would be lost
        return kAudio_ParamError;
    }
    pull(frames, mPlanes.get(), time, Asking::procedures);
    takeThrown(); // the slice is silent, which is all that can be reported
    return mList.putIntoList(mPlanes.get(), frames, list);
}

} // namespace braq
