#include "platform/units/CallbackSource.h"

#include <algorithm>

namespace braq {
namespace {

void silence(float* const* planes, UInt32 channels, UInt32 frames) noexcept {
    for (UInt32 channel = 0; channel < channels; ++channel) {
        std::fill_n(planes[channel], frames, 0.0F);
    }
}

} // namespace

CallbackSource::CallbackSource(const AURenderCallbackStruct& callback, const AudioStreamBasicDescription& format,
                               UInt32 sliceLimit, std::atomic<OSStatus>& lastError)
    : mCallback(callback),
      mChannels(format.mChannelsPerFrame),
      mSliceLimit(sliceLimit),
      mLastError(lastError),
      mBuffers(format, sliceLimit) {}

UInt32 CallbackSource::pull(UInt32 frames, float* const* planes, const AudioTimeStamp& time, Asking asking) noexcept {
    if (asking == Asking::nobody) {
        silence(planes, mChannels, frames);
        return 0;
    }
    AudioBufferList* list = mBuffers.silentList(planes, frames);
    if (const OSStatus status = call(time, frames, list)) {
        mLastError.store(status, std::memory_order_relaxed);
        silence(planes, mChannels, frames);
    } else {
        mBuffers.takeFromList(planes, frames);
    }
    return frames;
}

OSStatus CallbackSource::call(const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) noexcept {
    constexpr UInt32 bus = 0;
    AudioUnitRenderActionFlags flags = 0;
    try {
        return mCallback.inputProc(mCallback.inputProcRefCon, &flags, &time, bus, frames, list);
    } catch (...) {
        // There may be a converter between here and the device's cycle, which reports it; exceptions cannot pass
        // through that.
        mThrown = std::current_exception();
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
}

} // namespace braq
