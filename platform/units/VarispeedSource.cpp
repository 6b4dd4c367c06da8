#include "platform/units/VarispeedSource.h"

#include "platform/foundation/HostTime.h"

#include <algorithm>

namespace braq {
namespace {

constexpr Float64 fastestRate = 32.0;

} // namespace

VarispeedSource::VarispeedSource(std::shared_ptr<FrameSource> from, const AudioStreamBasicDescription& input,
                                 const AudioStreamBasicDescription& output, UInt32 sliceLimit,
                                 const std::atomic<float>& rate, const std::atomic<bool>& keepsPitch)
    : mFrom(std::move(from)),
      mChannels(input.mChannelsPerFrame),
      mSliceLimit(sliceLimit),
      mInputRate(input.mSampleRate),
      mOutputRate(output.mSampleRate),
      mRatioAtRateOne(input.mSampleRate / output.mSampleRate),
      mLargestPull(mFrom != nullptr ? std::min(sliceLimit, mFrom->sliceLimit()) : sliceLimit),
      mRate(rate),
      mKeepsPitch(keepsPitch),
      mConverter(mChannels, fastestRate * mRatioAtRateOne, mLargestPull, output.mSampleRate),
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

// Once there is one, everything goes through it: at tempo 1 unchanged.
void VarispeedSource::prepareToKeepPitch() {
    if (mOwnTempo == nullptr) {
        mOwnTempo = std::make_unique<TempoConverter>(mChannels, mInputRate, mLargestPull);
        mTempo.store(mOwnTempo.get(), std::memory_order_release);
    }
}

void VarispeedSource::pullTempo(void* self, UInt32 frames, float* const* planes) noexcept {
    auto& source = *static_cast<VarispeedSource*>(self);
    source.mTempo.load(std::memory_order_relaxed)->render(frames, planes, source.mSpeed, pullInput, self);
}

void VarispeedSource::drainTempo(void* self, UInt32 frames, float* const* planes) noexcept {
    auto& source = *static_cast<VarispeedSource*>(self);
    const UInt32 drained = source.mTempo.load(std::memory_order_relaxed)->drain(frames, planes, source.mSpeed);
    for (UInt32 channel = 0; channel < source.mChannels; ++channel) {
        std::fill_n(planes[channel] + drained, frames - drained, 0.0F);
    }
}

double VarispeedSource::heldByTempo() const noexcept {
    const TempoConverter* const tempo = mTempo.load(std::memory_order_relaxed);
    return tempo != nullptr ? tempo->heldFrames() : 0.0;
}

// Stretched frames can be played before the time at which they would be otherwise.
void VarispeedSource::passTime(Float64 inputFrames) noexcept {
    const Float64 passed = inputFrames * nanosecondsPerSecond / (mRatio * mSpeed * mOutputRate);
    mTime.mHostTime += static_cast<UInt64>(static_cast<SInt64>(passed));
}

UInt32 VarispeedSource::pull(UInt32 frames, float* const* planes, const AudioTimeStamp& time, Asking asking) noexcept {
    const Float64 sampleTime = mTime.mSampleTime;
    mTime = time;
    mTime.mSampleTime = sampleTime;
    mAsking = asking;
    const auto rate = static_cast<Float64>(mRate.load(std::memory_order_relaxed));
    const TempoConverter* const tempo = mTempo.load(std::memory_order_acquire);
    const bool keepsPitch = tempo != nullptr && mKeepsPitch.load(std::memory_order_relaxed);
    mSpeed = keepsPitch ? rate : 1.0;
    mRatio = keepsPitch ? mRatioAtRateOne : mRatioAtRateOne * rate;
    passTime(mConverter.heldFrames() * mSpeed +
             (tempo != nullptr ? tempo->framesAhead() : 0.0)); // held frames come before the next one that is pulled
    const auto from = tempo != nullptr ? pullTempo : pullInput;
    if (asking == Asking::procedures) {
        mFromIsUsedUp = false;
        mConverter.render(frames, planes, mRatio, from, this);
        return frames;
    }
    if (mFrom != nullptr && mFrom->holdsFrames() && !mFromIsUsedUp) {
        mConverter.render(frames, planes, mRatio, from, this);
        return frames;
    }
    if (heldByTempo() > 0.0) {
        mConverter.render(frames, planes, mRatio, drainTempo, this);
        return frames;
    }
    const UInt32 delivered = mConverter.drain(frames, planes, mRatio);
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        std::fill_n(planes[channel] + delivered, frames - delivered, 0.0F);
    }
    return delivered;
}

bool VarispeedSource::holdsFrames() const noexcept {
    return mConverter.heldFrames() > 0.0 || heldByTempo() > 0.0 || (mFrom != nullptr && mFrom->holdsFrames());
}

std::exception_ptr VarispeedSource::takeThrown() noexcept { return mFrom != nullptr ? mFrom->takeThrown() : nullptr; }

void VarispeedSource::reset() noexcept {
    mConverter.reset();
    if (TempoConverter* const tempo = mTempo.load(std::memory_order_acquire)) {
        tempo->reset();
    }
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
