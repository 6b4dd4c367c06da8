#include "platform/units/DevicePlayback.h"

#include "platform/foundation/HostTime.h"

#include <algorithm>

namespace braq {
namespace {

// A converter goes on when the device is replaced by one with another rate, such as a headset in a call.
constexpr Float64 lowestDeviceRate = 8000.0;

void silence(float* const* planes, UInt32 channels, UInt32 from, UInt32 to) noexcept {
    for (UInt32 channel = 0; channel < channels; ++channel) {
        std::fill(planes[channel] + from, planes[channel] + to, 0.0F);
    }
}

} // namespace

DevicePlayback::DevicePlayback(std::shared_ptr<FrameSource> source, Float64 sampleRate, UInt32 channels,
                               ChannelRouting routing, const DeviceFacts& device, UInt32 sliceFrames, bool startsAtZero)
    : mSource(std::move(source)),
      mSampleRate(sampleRate),
      mChannels(channels),
      mRouting(std::move(routing)),
      mDeviceRate(device.sampleRate),
      mLargestRatio(mSampleRate / std::min(mDeviceRate, lowestDeviceRate)),
      mSliceFrames(sliceFrames),
      mPullFrames(mSource != nullptr ? std::min(sliceFrames, mSource->sliceLimit()) : sliceFrames),
      mStartsAtZero(startsAtZero),
      mPlanes(channels, mRouting.isDirect() ? 0 : sliceFrames),
      mPartPlanes(channels),
      mDevicePlanes(device.playbackChannels) {
    if (mSampleRate != mDeviceRate) {
        mConverter = std::make_unique<VariableRateConverter>(mChannels, mLargestRatio, mPullFrames, mDeviceRate);
    }
}

void DevicePlayback::render(const IOSlice& slice, float volume) {
    const BRAQRealtimePassage passage(mSlice);
    mAsking = mIsAsking.load() ? Asking::procedures : Asking::nobody;
    const bool isFitting = fits(slice);
    if (isFitting) {
        if (!mHasTime) {
            mTime = slice.time;
            mTime.mSampleTime = mStartsAtZero ? 0.0 : slice.time.mSampleTime * mSampleRate / mDeviceRate;
            mHasTime = true;
        } else {
            mTime.mSampleTime += static_cast<Float64>(slice.passedOverFrames) * mSampleRate / mDeviceRate;
        }
        for (UInt32 offset = 0, frames = 0; offset < slice.frames; offset += frames) {
            frames = std::min(mSliceFrames, slice.frames - offset);
            renderPart(slice, offset, frames);
        }
        if (!mHasVolume) {
            mVolume = VolumeRamp(volume);
            mHasVolume = true;
        }
        mVolume.apply(*slice.output, slice.frames, volume, mDeviceRate);
    }
    // If the device has changed, held frames will not be played: nobody must wait for them.
    mHolds.store(isFitting && holdsFrames(), std::memory_order_relaxed);
    mSlices.fetch_add(1, std::memory_order_release);
    if (mSource != nullptr) {
        if (const auto thrown = mSource->takeThrown()) {
            std::rethrow_exception(thrown);
        }
    }
}

// If the device has changed, a notification is about to follow.
bool DevicePlayback::fits(const IOSlice& slice) const noexcept {
    const AudioBufferList& list = *slice.output;
    return slice.nominalRate == mDeviceRate && list.mNumberBuffers == mDevicePlanes.size() &&
           std::all_of(list.mBuffers, list.mBuffers + list.mNumberBuffers,
                       [](const AudioBuffer& buffer) { return buffer.mData != nullptr; });
}

void DevicePlayback::renderPart(const IOSlice& slice, UInt32 offset, UInt32 frames) noexcept {
    setHostTime(slice, offset);
    for (UInt32 channel = 0; channel < mDevicePlanes.size(); ++channel) {
        mDevicePlanes[channel] = static_cast<float*>(slice.output->mBuffers[channel].mData) + offset;
    }
    float* const* planes = mRouting.isDirect() ? mDevicePlanes.data() : mPlanes.get();
    if (mConverter) {
        convert(planes, frames);
    } else {
        for (UInt32 done = 0, part = 0; done < frames; done += part) {
            part = std::min(mPullFrames, frames - done);
            setHostTime(slice, offset + done);
            for (UInt32 channel = 0; channel < mChannels; ++channel) {
                mPartPlanes[channel] = planes[channel] + done;
            }
            pull(part, mPartPlanes.data());
        }
    }
    if (!mRouting.isDirect()) {
        mRouting.route(mPlanes.get(), mDevicePlanes.data(), frames);
    }
}

void DevicePlayback::setHostTime(const IOSlice& slice, UInt32 offset) noexcept {
    mTime.mHostTime = slice.time.mHostTime + static_cast<UInt64>(offset * nanosecondsPerSecond / mDeviceRate);
    mTime.mRateScalar = slice.time.mRateScalar;
}

void DevicePlayback::passTime(Float64 frames) noexcept {
    mTime.mHostTime += static_cast<UInt64>(frames * nanosecondsPerSecond / mSampleRate);
}

void DevicePlayback::convert(float* const* planes, UInt32 frames) noexcept {
    const Float64 ratio = mSampleRate / mDeviceRate;
    passTime(mConverter->heldFrames()); // held frames come before the next one that is pulled
    if (mAsking == Asking::procedures || !mSourceIsUsedUp) {
        mConverter->render(frames, planes, ratio, pullInput, this);
        return;
    }
    silence(planes, mChannels, mConverter->drain(frames, planes, ratio), frames);
}

void DevicePlayback::pullInput(void* self, UInt32 frames, float* const* planes) noexcept {
    static_cast<DevicePlayback*>(self)->pull(frames, planes);
}

void DevicePlayback::pull(UInt32 frames, float* const* planes) noexcept {
    if (mSource == nullptr) {
        silence(planes, mChannels, 0, frames);
        mSourceIsUsedUp = true;
        return;
    }
    const UInt32 delivered = mSource->pull(frames, planes, mTime, mAsking);
    mSourceIsUsedUp = mAsking == Asking::nobody && (mSourceIsUsedUp || delivered < frames);
    mTime.mSampleTime += frames;
    passTime(frames);
}

bool DevicePlayback::holdsFrames() const noexcept {
    return (mConverter && mConverter->heldFrames() > 0.0) || (mSource != nullptr && mSource->holdsFrames());
}

void DevicePlayback::endCallbacks() noexcept {
    mIsAsking.store(false);
    mSlice.waitUntilLeft();
}

void DevicePlayback::takeUp(DevicePlayback& before) noexcept {
    mTime = before.mTime;
    mHasTime = before.mHasTime;
    if (before.mConverter && before.mPullFrames == mPullFrames && mSampleRate / mDeviceRate <= before.mLargestRatio) {
        mConverter = std::move(before.mConverter);
        if (mDeviceRate != before.mDeviceRate) {
            mConverter->jump();
        }
    }
}

void DevicePlayback::reset() noexcept {
    if (mConverter) {
        mConverter->reset();
    }
    if (mSource != nullptr) {
        mSource->reset();
    }
    mHasVolume = false;
    mHasTime = false;
    mSourceIsUsedUp = false;
    mHolds.store(false, std::memory_order_relaxed);
    mIsAsking.store(true, std::memory_order_relaxed);
}

} // namespace braq
