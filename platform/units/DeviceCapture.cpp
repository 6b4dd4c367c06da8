#include "platform/units/DeviceCapture.h"

#include <algorithm>

namespace braq {
namespace {

constexpr UInt32 recordBus = 1;
constexpr Float64 nanosecondsPerSecond = 1e9;

void makePlanes(std::vector<float>& samples, std::vector<float*>& planes, UInt32 channels, UInt32 frames) {
    samples.resize(std::size_t{channels} * frames);
    for (UInt32 channel = 0; channel < channels; ++channel) {
        planes.push_back(samples.data() + std::size_t{channel} * frames);
    }
}

/// While it lives, a slice can be fetched.
class Fetchable {
  public:
    Fetchable(UInt32& frames, UInt32 now) noexcept : mFrames(frames) { mFrames = now; }
    ~Fetchable() { mFrames = 0; }
    Fetchable(const Fetchable&) = delete;
    Fetchable& operator=(const Fetchable&) = delete;

  private:
    UInt32& mFrames;
};

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
      mCurrent(mChannels) {
    makePlanes(mRouted, mRoutedPlanes, mChannels, sliceFrames);
    if (mSampleRate != mDeviceRate) {
        mConverter.emplace(mChannels, mDeviceRate, mSampleRate);
        makePlanes(mConverted, mConvertedPlanes, mChannels, mConverter->mostFrames(sliceFrames));
    }
}

void DeviceCapture::capture(const IOSlice& slice, std::atomic<OSStatus>& lastError) {
    if (slice.nominalRate != mDeviceRate || slice.input->mNumberBuffers != mDevicePlanes.size()) {
        return;
    }
    if (!mHasTime) {
        mTime.mSampleTime = mStartsAtZero ? 0.0 : slice.time.mSampleTime * mSampleRate / mDeviceRate;
        mTime.mFlags = slice.time.mFlags;
        mHasTime = true;
    }
    for (UInt32 offset = 0, frames = 0; offset < slice.frames; offset += frames) {
        frames = std::min(mSliceFrames, slice.frames - offset);
        mTime.mHostTime = slice.time.mHostTime + static_cast<UInt64>(offset * nanosecondsPerSecond / mDeviceRate);
        mTime.mRateScalar = slice.time.mRateScalar;
        if (!collect(slice, offset, frames)) {
            return; // the device has fewer channels than it said: it is about to say so
        }
        if (!mConverter) {
            deliver(mRoutedPlanes.data(), frames, lastError);
            continue;
        }
        const UInt32 converted = mConverter->convert(mRoutedPlanes.data(), frames, mConvertedPlanes.data(),
                                                     mConverter->mostFrames(mSliceFrames));
        deliver(mConvertedPlanes.data(), converted, lastError);
    }
}

bool DeviceCapture::collect(const IOSlice& slice, UInt32 offset, UInt32 frames) noexcept {
    for (UInt32 channel = 0; channel < mDevicePlanes.size(); ++channel) {
        const auto* samples = static_cast<const float*>(slice.input->mBuffers[channel].mData);
        if (samples == nullptr) {
            return false;
        }
        mDevicePlanes[channel] = samples + offset;
    }
    mRouting.route(mDevicePlanes.data(), mRoutedPlanes.data(), frames);
    return true;
}

void DeviceCapture::deliver(const float* const* planes, UInt32 frames, std::atomic<OSStatus>& lastError) {
    const AudioTimeStamp first = mTime;
    for (UInt32 offset = 0, part = 0; offset < frames; offset += part) {
        part = std::min(mSliceFrames, frames - offset);
        mTime.mHostTime = first.mHostTime + static_cast<UInt64>(offset * nanosecondsPerSecond / mSampleRate);
        for (UInt32 channel = 0; channel < mChannels; ++channel) {
            mCurrent[channel] = planes[channel] + offset;
        }
        const Fetchable now(mCurrentFrames, part);
        AudioUnitRenderActionFlags flags = 0;
        const AudioTimeStamp time = mTime;
        mTime.mSampleTime += part; // also when what follows throws
        if (const OSStatus status =
                mCallback.inputProc(mCallback.inputProcRefCon, &flags, &time, recordBus, part, nullptr)) {
            lastError.store(status, std::memory_order_relaxed);
        }
    }
}

OSStatus DeviceCapture::fetch(UInt32 frames, AudioBufferList* list) noexcept {
    if (mCurrentFrames == 0) {
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
    if (frames > mCurrentFrames) {
        return kAudioUnitErr_TooManyFramesToProcess;
    }
    return mBuffers.putIntoList(mCurrent.data(), frames, list);
}

void DeviceCapture::reset() {
    if (mConverter) {
        mConverter->reset();
    }
    mHasTime = false;
}

} // namespace braq
