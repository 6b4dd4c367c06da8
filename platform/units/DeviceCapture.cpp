#include "platform/units/DeviceCapture.h"

#include "platform/foundation/HostTime.h"

#include <algorithm>
#include <utility>

namespace braq {
namespace {

constexpr UInt32 recordBus = 1;

} // namespace

DeviceCapture::DeviceCapture(const AURenderCallbackStruct& callback, const AudioStreamBasicDescription& format,
                             ChannelRouting routing, const DeviceFacts& device, UInt32 sliceFrames, bool startsAtZero)
    : mCallback(callback),
      mChannels(format.mChannelsPerFrame),
      mSampleRate(format.mSampleRate),
      mRouting(std::move(routing)),
      mDeviceRate(device.sampleRate),
      mSliceFrames(sliceFrames),
      mStartsAtZero(startsAtZero),
      mBuffers(format, sliceFrames),
      mDevicePlanes(device.recordChannels),
      mRouted(mChannels, sliceFrames),
      mRestPlanes(mChannels),
      mCurrent(mChannels) {
    if (mSampleRate != mDeviceRate) {
        mConverter = std::make_unique<CaptureConverter>(mChannels, mDeviceRate, mSampleRate);
        mConverted.emplace(mChannels, mConverter->mostFrames(sliceFrames));
    }
}

void DeviceCapture::capture(const IOSlice& slice, std::atomic<OSStatus>& lastError) {
    if (slice.nominalRate != mDeviceRate || slice.input->mNumberBuffers != mDevicePlanes.size()) {
        return;
    }
    deliverRest(lastError);
    if (!mHasTime) {
        mTime.mSampleTime = mStartsAtZero ? 0.0 : slice.time.mSampleTime * mSampleRate / mDeviceRate;
        mTime.mFlags = slice.time.mFlags;
        mHasTime = true;
    } else {
        mTime.mSampleTime += static_cast<Float64>(slice.passedOverFrames) * mSampleRate / mDeviceRate;
    }
    for (UInt32 offset = 0, frames = 0; offset < slice.frames; offset += frames) {
        frames = std::min(mSliceFrames, slice.frames - offset);
        mTime.mHostTime = slice.time.mHostTime + static_cast<UInt64>(offset * nanosecondsPerSecond / mDeviceRate);
        mTime.mRateScalar = slice.time.mRateScalar;
        if (!collect(slice, offset, frames)) {
            break; // the device has fewer channels than it stated: a notification is about to follow
        }
        if (!mConverter) {
            deliver(mRouted.get(), frames, lastError);
            continue;
        }
        // The first output frames are older than this slice.
        mTime.mHostTime -= static_cast<UInt64>(mConverter->heldFrames() * nanosecondsPerSecond / mDeviceRate);
        const UInt32 converted =
            mConverter->convert(mRouted.get(), frames, mConverted->get(), mConverter->mostFrames(mSliceFrames));
        deliver(mConverted->get(), converted, lastError);
    }
    mEnd = slice.time.mHostTime + static_cast<UInt64>(slice.frames * nanosecondsPerSecond / mDeviceRate);
    if (mThrown) {
        std::rethrow_exception(std::exchange(mThrown, nullptr));
    }
}

void DeviceCapture::deliverRest(std::atomic<OSStatus>& lastError) noexcept {
    if (mRestFrames == 0) {
        return;
    }
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        mRestPlanes[channel] = mRest[channel].data();
    }
    mTime.mHostTime = mEnd - static_cast<UInt64>(mRestFrames * nanosecondsPerSecond / mSampleRate);
    deliver(mRestPlanes.data(), mRestFrames, lastError);
    mRestFrames = 0;
}

bool DeviceCapture::collect(const IOSlice& slice, UInt32 offset, UInt32 frames) noexcept {
    for (UInt32 channel = 0; channel < mDevicePlanes.size(); ++channel) {
        const auto* samples = static_cast<const float*>(slice.input->mBuffers[channel].mData);
        if (samples == nullptr) {
            return false;
        }
        mDevicePlanes[channel] = samples + offset;
    }
    mRouting.route(mDevicePlanes.data(), mRouted.get(), frames);
    mRoutedFrames = frames;
    return true;
}

void DeviceCapture::deliver(const float* const* planes, UInt32 frames, std::atomic<OSStatus>& lastError) noexcept {
    const AudioTimeStamp first = mTime;
    for (UInt32 offset = 0, part = 0; offset < frames; offset += part) {
        part = std::min(mSliceFrames, frames - offset);
        mTime.mHostTime = first.mHostTime + static_cast<UInt64>(offset * nanosecondsPerSecond / mSampleRate);
        for (UInt32 channel = 0; channel < mChannels; ++channel) {
            mCurrent[channel] = planes[channel] + offset;
        }
        mCurrentFrames = part;
        if (const OSStatus status = call(part)) {
            lastError.store(status, std::memory_order_relaxed);
        }
        mTime.mSampleTime += part;
    }
}

OSStatus DeviceCapture::call(UInt32 frames) noexcept {
    AudioUnitRenderActionFlags flags = 0;
    const AudioTimeStamp time = mTime;
    try {
        return mCallback.inputProc(mCallback.inputProcRefCon, &flags, &time, recordBus, frames, nullptr);
    } catch (...) {
        mThrown = std::current_exception(); // until the rest of the slice was delivered
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
}

OSStatus DeviceCapture::fetch(UInt32 frames, AudioBufferList* list) noexcept {
    if (frames > mCurrentFrames) {
        return kAudioUnitErr_TooManyFramesToProcess;
    }
    return mBuffers.putIntoList(mCurrent.data(), frames, list);
}

void DeviceCapture::takeUp(DeviceCapture& before) {
    mTime = before.mTime;
    mHasTime = before.mHasTime;
    mEnd = before.mEnd;
    keepRest(before);
    if (mConverter && mHasTime && mDeviceRate != before.mDeviceRate) {
        mConverter->goOn();
    }
}

// At the same rate, the converter itself goes on.
void DeviceCapture::keepRest(DeviceCapture& before) {
    mRest = std::move(before.mRest);
    mRestFrames = before.mRestFrames;
    if (before.mConverter == nullptr) {
        return;
    }
    if (mDeviceRate == before.mDeviceRate) {
        mConverter = std::move(before.mConverter);
        return;
    }
    const auto held = before.mConverter->drain(before.mRouted.get(), before.mRoutedFrames);
    mRest.resize(mChannels);
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        mRest[channel].resize(mRestFrames);
        mRest[channel].insert(mRest[channel].end(), held[channel].begin(), held[channel].end());
    }
    mRestFrames = static_cast<UInt32>(mRest.front().size());
}

void DeviceCapture::reset() {
    if (mConverter) {
        mConverter->reset();
    }
    mRestFrames = 0;
    mHasTime = false;
}

} // namespace braq
