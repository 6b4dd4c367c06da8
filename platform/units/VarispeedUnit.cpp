#include "platform/units/VarispeedUnit.h"

#include "platform/foundation/PropertyBytes.h"
#include "platform/samples/StreamFormat.h"
#include "platform/units/UnitSettings.h"
#include "platform/units/VarispeedSource.h"

#include <cstring>

namespace braq {
namespace {

constexpr Float64 usualSampleRate = 44100.0;
constexpr UInt32 initialSliceLimit = 1156; // a slice of 1,024 frames at 44.1 kHz, requested at 48 kHz, plus a margin

float slowestOf(bool keepsPitch) { return keepsPitch ? static_cast<float>(TimeStretcher::slowest) : 1.0F / 32.0F; }

float fastestOf(bool keepsPitch) { return keepsPitch ? static_cast<float>(TimeStretcher::fastest) : 32.0F; }

OSStatus checkVarispeedAddress(const UnitPropertyAddress& address) {
    bool isInScope = false;
    switch (address.property) {
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_SampleRate:
    case kAudioUnitProperty_ElementCount:
        isInScope = address.scope == kAudioUnitScope_Input || address.scope == kAudioUnitScope_Output;
        break;
    case kAudioUnitProperty_SetRenderCallback:
    case kAudioUnitProperty_MakeConnection: isInScope = address.scope == kAudioUnitScope_Input; break;
    case kAudioUnitProperty_MaximumFramesPerSlice:
    case kAudioUnitProperty_Latency:
    case kAudioUnitProperty_LastRenderError:
    case kBRAQVarispeedProperty_KeepsPitch: isInScope = address.scope == kAudioUnitScope_Global; break;
    default: return kAudioUnitErr_InvalidProperty;
    }
    if (!isInScope) {
        return kAudioUnitErr_InvalidScope;
    }
    return address.element == 0 ? 0 : kAudioUnitErr_InvalidElement;
}

} // namespace

VarispeedUnit::VarispeedUnit()
    : mInput(planarFloatFormat(usualSampleRate, 2)), mOutput(mInput), mSliceLimit(initialSliceLimit) {}

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
    const bool keepsPitch = mKeepsPitch.load(std::memory_order_relaxed);
    if (keepsPitch && mInput.mChannelsPerFrame > TimeStretcher::mostChannels) {
        return kAudioUnitErr_FormatNotSupported;
    }
    mSource = std::make_shared<VarispeedSource>(std::move(from), mInput, mOutput, mSliceLimit, mRate, mKeepsPitch);
    if (keepsPitch) {
        mSource->prepareToKeepPitch();
    }
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

AudioStreamBasicDescription& VarispeedUnit::format(AudioUnitScope scope) {
    return scope == kAudioUnitScope_Input ? mInput : mOutput;
}

OSStatus VarispeedUnit::property(const UnitPropertyAddress& address, void* data, UInt32* size) {
    if (const OSStatus status = checkVarispeedAddress(address)) {
        return status;
    }
    const std::lock_guard lock(mMutex);
    switch (address.property) {
    case kAudioUnitProperty_StreamFormat: return answer(format(address.scope), size, data, wrongUnitPropertySize);
    case kAudioUnitProperty_SampleRate:
        return answer(format(address.scope).mSampleRate, size, data, wrongUnitPropertySize);
    case kAudioUnitProperty_ElementCount: return answer(UInt32{1}, size, data, wrongUnitPropertySize);
    case kAudioUnitProperty_MaximumFramesPerSlice: return answer(mSliceLimit, size, data, wrongUnitPropertySize);
    // The filter's lookahead is pulled ahead, with matching time stamps.
    case kAudioUnitProperty_Latency: return answer(Float64{0.0}, size, data, wrongUnitPropertySize);
    case kAudioUnitProperty_LastRenderError: return answer(takeLastRenderError(), size, data, wrongUnitPropertySize);
    case kAudioUnitProperty_SetRenderCallback: return answer(mSettings.callback(), size, data, wrongUnitPropertySize);
    case kBRAQVarispeedProperty_KeepsPitch:
        return answer(UInt32{mKeepsPitch.load(std::memory_order_relaxed)}, size, data, wrongUnitPropertySize);
    default: return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus VarispeedUnit::setProperty(const UnitPropertyAddress& address, const void* data, UInt32 size) {
    if (const OSStatus status = checkVarispeedAddress(address)) {
        return status;
    }
    const std::lock_guard lock(mMutex);
    switch (address.property) {
    case kAudioUnitProperty_ElementCount:
    case kAudioUnitProperty_Latency:
    case kAudioUnitProperty_LastRenderError: return kAudioUnitErr_PropertyNotWritable;
    case kBRAQVarispeedProperty_KeepsPitch: return setKeepsPitch(data, size);
    default: break;
    }
    if (mSource != nullptr) {
        return kAudioUnitErr_Initialized;
    }
    switch (address.property) {
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_SampleRate: return setFormat(address, data, size);
    case kAudioUnitProperty_MaximumFramesPerSlice: return takeSliceLimit(mSliceLimit, data, size);
    case kAudioUnitProperty_SetRenderCallback: return mSettings.setCallback(data, size);
    case kAudioUnitProperty_MakeConnection: return mSettings.setConnection(data, size, *this);
    default: return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus VarispeedUnit::setFormat(const UnitPropertyAddress& address, const void* data, UInt32 size) {
    return takeUnitFormat(format(address.scope), address.property, data, size);
}

OSStatus VarispeedUnit::setKeepsPitch(const void* data, UInt32 size) {
    UInt32 keeps = 0;
    if (size != sizeof(keeps)) {
        return wrongUnitPropertySize;
    }
    std::memcpy(&keeps, data, size);
    const float rate = mRate.load(std::memory_order_relaxed);
    if (keeps != 0) {
        if (rate < slowestOf(true) || rate > fastestOf(true)) {
            return kAudioUnitErr_InvalidPropertyValue;
        }
        if (mInput.mChannelsPerFrame > TimeStretcher::mostChannels) {
            return kAudioUnitErr_FormatNotSupported;
        }
        if (mSource != nullptr) {
            mSource->prepareToKeepPitch();
        }
    }
    mKeepsPitch.store(keeps != 0, std::memory_order_relaxed);
    return 0;
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
    const bool keepsPitch = mKeepsPitch.load(std::memory_order_relaxed);
    if (!(value >= slowestOf(keepsPitch) && value <= fastestOf(keepsPitch))) {
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
