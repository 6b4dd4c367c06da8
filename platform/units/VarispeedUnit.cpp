#include "platform/units/VarispeedUnit.h"

#include "platform/foundation/PropertyBytes.h"
#include "platform/units/StreamFormat.h"
#include "platform/units/VarispeedSource.h"

#include <cmath>

namespace braq {
namespace {

constexpr Float64 usualSampleRate = 44100.0;
constexpr UInt32 usualSliceLimit = 1156; // a slice of 1,024 frames at 44.1 kHz, asked for at 48 kHz, and some more
constexpr UInt32 largestSliceLimit = 1U << 20;
constexpr OSStatus wrongSize = kAudioUnitErr_InvalidPropertyValue;
constexpr float slowest = 1.0F / 32.0F;
constexpr float fastest = 32.0F;

} // namespace

VarispeedUnit::VarispeedUnit()
    : mInput(planarFloatFormat(usualSampleRate, 2)), mOutput(mInput), mSliceLimit(usualSliceLimit) {}

VarispeedUnit::~VarispeedUnit() = default;

OSStatus VarispeedUnit::initialize() {
    const std::lock_guard lock(mMutex);
    if (mSource != nullptr) {
        return 0;
    }
    if (mInput.mChannelsPerFrame != mOutput.mChannelsPerFrame) {
        return kAudioUnitErr_FormatNotSupported;
    }
    OSStatus status = 0;
    auto from = mSettings.make(mInput, mSliceLimit, lastRenderError(), status);
    if (status != 0) {
        return status;
    }
    mSource = std::make_shared<VarispeedSource>(std::move(from), mInput, mOutput, mSliceLimit, mRate);
    mRendered.store(mSource.get(), std::memory_order_release);
    return 0;
}

OSStatus VarispeedUnit::uninitialize() {
    const std::lock_guard lock(mMutex);
    mRendered.store(nullptr, std::memory_order_release);
    mSource.reset();
    return 0;
}

std::shared_ptr<FrameSource> VarispeedUnit::output() {
    const std::lock_guard lock(mMutex);
    return mSource;
}

AudioStreamBasicDescription* VarispeedUnit::format(const UnitPropertyAddress& address) {
    switch (address.scope) {
    case kAudioUnitScope_Input: return &mInput;
    case kAudioUnitScope_Output: return &mOutput;
    default: return nullptr;
    }
}

OSStatus VarispeedUnit::property(const UnitPropertyAddress& address, void* data, UInt32* size) {
    const std::lock_guard lock(mMutex);
    if (address.element != 0) {
        return kAudioUnitErr_InvalidElement;
    }
    const AudioStreamBasicDescription* side = format(address);
    const bool isGlobal = address.scope == kAudioUnitScope_Global;
    switch (address.property) {
    case kAudioUnitProperty_StreamFormat:
        return side != nullptr ? answer(*side, size, data, wrongSize) : kAudioUnitErr_InvalidScope;
    case kAudioUnitProperty_SampleRate:
        return side != nullptr ? answer(side->mSampleRate, size, data, wrongSize) : kAudioUnitErr_InvalidScope;
    case kAudioUnitProperty_ElementCount:
        return side != nullptr ? answer(UInt32{1}, size, data, wrongSize) : kAudioUnitErr_InvalidScope;
    case kAudioUnitProperty_MaximumFramesPerSlice:
        return isGlobal ? answer(mSliceLimit, size, data, wrongSize) : kAudioUnitErr_InvalidScope;
    // What the filter needs to look ahead is pulled ahead.
    case kAudioUnitProperty_Latency:
        return isGlobal ? answer(Float64{0.0}, size, data, wrongSize) : kAudioUnitErr_InvalidScope;
    case kAudioUnitProperty_LastRenderError:
        return isGlobal ? answer(takeLastRenderError(), size, data, wrongSize) : kAudioUnitErr_InvalidScope;
    case kAudioUnitProperty_SetRenderCallback:
        return address.scope == kAudioUnitScope_Input ? answer(mSettings.callback(), size, data, wrongSize)
                                                      : kAudioUnitErr_InvalidScope;
    default: return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus VarispeedUnit::setFormat(AudioUnitScope scope, const AudioStreamBasicDescription& format) {
    if (!isUnitFormat(format)) {
        return kAudioUnitErr_FormatNotSupported;
    }
    (scope == kAudioUnitScope_Input ? mInput : mOutput) = format;
    return 0;
}

OSStatus VarispeedUnit::setProperty(const UnitPropertyAddress& address, const void* data, UInt32 size) {
    const std::lock_guard lock(mMutex);
    if (address.element != 0) {
        return kAudioUnitErr_InvalidElement;
    }
    if (mSource != nullptr) {
        return kAudioUnitErr_Initialized;
    }
    const AudioStreamBasicDescription* side = format(address);
    switch (address.property) {
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_SampleRate: {
        if (side == nullptr) {
            return kAudioUnitErr_InvalidScope;
        }
        AudioStreamBasicDescription format = *side;
        const OSStatus status = address.property == kAudioUnitProperty_StreamFormat
                                    ? take(format, size, data, wrongSize)
                                    : take(format.mSampleRate, size, data, wrongSize);
        return status == 0 ? setFormat(address.scope, format) : status;
    }
    case kAudioUnitProperty_MaximumFramesPerSlice: {
        UInt32 limit = 0;
        if (address.scope != kAudioUnitScope_Global) {
            return kAudioUnitErr_InvalidScope;
        }
        if (const OSStatus status = take(limit, size, data, wrongSize)) {
            return status;
        }
        if (limit == 0 || limit > largestSliceLimit) {
            return kAudioUnitErr_InvalidPropertyValue;
        }
        mSliceLimit = limit;
        return 0;
    }
    case kAudioUnitProperty_SetRenderCallback:
        return address.scope == kAudioUnitScope_Input ? mSettings.setCallback(data, size) : kAudioUnitErr_InvalidScope;
    case kAudioUnitProperty_MakeConnection:
        return address.scope == kAudioUnitScope_Input ? mSettings.setConnection(data, size, *this)
                                                      : kAudioUnitErr_InvalidScope;
    case kAudioUnitProperty_ElementCount:
    case kAudioUnitProperty_Latency:
    case kAudioUnitProperty_LastRenderError: return kAudioUnitErr_PropertyNotWritable;
    default: return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus VarispeedUnit::parameter(AudioUnitParameterID parameter, AudioUnitScope scope, AudioUnitElement element,
                                  AudioUnitParameterValue* value) const noexcept {
    const OSStatus status = checkParameter(parameter, kVarispeedParam_PlaybackRate, scope, element);
    if (status == 0) {
        *value = mRate.load(std::memory_order_relaxed);
    }
    return status;
}

OSStatus VarispeedUnit::setParameter(AudioUnitParameterID parameter, AudioUnitScope scope, AudioUnitElement element,
                                     AudioUnitParameterValue value) noexcept {
    if (const OSStatus status = checkParameter(parameter, kVarispeedParam_PlaybackRate, scope, element)) {
        return status;
    }
    if (!(value >= slowest && value <= fastest)) {
        return kAudioUnitErr_InvalidPropertyValue;
    }
    mRate.store(value, std::memory_order_relaxed);
    return 0;
}

OSStatus VarispeedUnit::render(const AudioTimeStamp& time, AudioUnitElement element, UInt32 frames,
                               AudioBufferList* list) noexcept {
    VarispeedSource* source = mRendered.load(std::memory_order_acquire);
    if (source == nullptr) {
        return kAudioUnitErr_Uninitialized;
    }
    return element == 0 ? source->render(time, frames, list) : kAudioUnitErr_InvalidElement;
}

} // namespace braq
