#include "platform/foundation/PropertyBytes.h"
#include "platform/samples/StreamFormat.h"
#include "platform/units/DeviceUnit.h"
#include "platform/units/UnitSettings.h"

#include <algorithm>
#include <cstring>

namespace braq {
namespace {

constexpr UInt32 sliceLimitWithoutDevice = 512;

// Inside a listener the property reads as the state after the change being notified.
struct NotifiedValue {
    const Unit* unit = nullptr;
    AudioUnitPropertyID property = 0;
    UInt32 value = 0;
};
thread_local NotifiedValue notified;

/// Input 0 and output 1 are the client's side; the other two are the device's.
bool isClientSide(const UnitPropertyAddress& address) {
    return (address.scope == kAudioUnitScope_Input) == (address.element == 0);
}

OSStatus checkSideAddress(const UnitPropertyAddress& address) {
    if (address.scope != kAudioUnitScope_Input && address.scope != kAudioUnitScope_Output) {
        return kAudioUnitErr_InvalidScope;
    }
    return address.element <= 1 ? 0 : kAudioUnitErr_InvalidElement;
}

/// Whether it addresses a whole direction: output 0 or input 1.
OSStatus checkDirectionAddress(const UnitPropertyAddress& address) {
    const OSStatus status = checkSideAddress(address);
    return status != 0 ? status : isClientSide(address) ? kAudioUnitErr_InvalidElement : 0;
}

OSStatus checkGlobalAddress(const UnitPropertyAddress& address) {
    if (address.scope != kAudioUnitScope_Global) {
        return kAudioUnitErr_InvalidScope;
    }
    return address.element == 0 ? 0 : kAudioUnitErr_InvalidElement;
}

/// The check for a property; nothing for an unknown property.
std::optional<OSStatus> checkDeviceAddress(const UnitPropertyAddress& address) {
    switch (address.property) {
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_SampleRate: return checkSideAddress(address);
    case kAudioOutputUnitProperty_EnableIO:
    case kAudioOutputUnitProperty_HasIO:
    case kAudioOutputUnitProperty_ChannelMap: return checkDirectionAddress(address);
    case kAudioUnitProperty_SetRenderCallback:
    case kAudioUnitProperty_MakeConnection:
    case kBRAQOutputUnitProperty_ChannelPositions:
    case kBRAQOutputUnitProperty_UnscaledDownmix:
        if (address.scope != kAudioUnitScope_Input) {
            return kAudioUnitErr_InvalidScope;
        }
        return address.element == 0 ? 0 : kAudioUnitErr_InvalidElement;
    case kAudioUnitProperty_ElementCount:
        if (address.scope > kAudioUnitScope_Output) {
            return kAudioUnitErr_InvalidScope;
        }
        return address.element == 0 ? 0 : kAudioUnitErr_InvalidElement;
    case kAudioUnitProperty_Latency:
    case kAudioUnitProperty_MaximumFramesPerSlice:
    case kAudioUnitProperty_LastRenderError:
    case kAudioOutputUnitProperty_CurrentDevice:
    case kAudioOutputUnitProperty_IsRunning:
    case kAudioOutputUnitProperty_SetInputCallback:
    case kAudioOutputUnitProperty_StartTimestampsAtZero:
    case kBRAQOutputUnitProperty_PresentDevice:
    case kBRAQOutputUnitProperty_LostFrames:
    case kAudioDevicePropertyBufferFrameSize: return checkGlobalAddress(address);
    default: return std::nullopt;
    }
}

bool isReadOnly(const UnitPropertyAddress& address) {
    switch (address.property) {
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_SampleRate: return !isClientSide(address);
    case kAudioOutputUnitProperty_IsRunning:
    case kAudioOutputUnitProperty_HasIO:
    case kAudioUnitProperty_ElementCount:
    case kAudioUnitProperty_Latency:
    case kAudioUnitProperty_LastRenderError:
    case kBRAQOutputUnitProperty_PresentDevice:
    case kBRAQOutputUnitProperty_LostFrames:
    case kAudioDevicePropertyBufferFrameSize: return true;
    default: return false;
    }
}

} // namespace

void DeviceUnit::deliver(AudioUnitPropertyID property, UInt32 value, UInt64 round) {
    const NotifiedValue outer = notified;
    notified = {this, property, value};
    listeners().deliver(round, reference(), property);
    notified = outer;
}

void DeviceUnit::rememberDevice() {
    mKnownDevice = findDeviceFacts(mDevice, mSides[1].isEnabled);
    mSliceLimit =
        mKnownDevice && mKnownDevice->bufferFrames != 0 ? mKnownDevice->bufferFrames : sliceLimitWithoutDevice;
}

UInt32 DeviceUnit::deviceChannels(AudioUnitElement element) const {
    if (!mKnownDevice) {
        return 0;
    }
    return element == 0 ? mKnownDevice->playbackChannels : mKnownDevice->recordChannels;
}

std::optional<AudioStreamBasicDescription> DeviceUnit::format(const UnitPropertyAddress& address) const {
    if (isClientSide(address)) {
        return mSides[address.element].client;
    }
    const auto facts = findDeviceFacts(mIsInitialized ? mFacts.id : mDevice, mSides[1].isEnabled);
    if (!facts) {
        return std::nullopt;
    }
    return planarFloatFormat(facts->sampleRate, address.element == 0 ? facts->playbackChannels : facts->recordChannels);
}

OSStatus DeviceUnit::property(const UnitPropertyAddress& address, void* data, UInt32* size) {
    if (const OSStatus status = checkDeviceAddress(address).value_or(kAudioUnitErr_InvalidProperty)) {
        return status;
    }
    // Without the lock: stopping holds it until the last frame was heard.
    const bool isNotified = notified.unit == this && notified.property == address.property;
    if (address.property == kAudioOutputUnitProperty_IsRunning) {
        const UInt32 isRunning = isNotified ? notified.value : UInt32{mIsRunning.load(std::memory_order_acquire)};
        return answer(isRunning, size, data, wrongUnitPropertySize);
    }
    if (address.property == kBRAQOutputUnitProperty_PresentDevice) {
        const AudioDeviceID device = isNotified ? notified.value : mPresentDevice.load(std::memory_order_acquire);
        return answer(device, size, data, wrongUnitPropertySize);
    }
    if (address.property == kBRAQOutputUnitProperty_LostFrames) {
        return answer(mLostFrames.load(std::memory_order_relaxed), size, data, wrongUnitPropertySize);
    }
    const std::lock_guard lock(mControl);
    switch (address.property) {
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_SampleRate: {
        const auto known = format(address);
        if (!known) {
            return kAudioUnitErr_PropertyNotInUse;
        }
        return address.property == kAudioUnitProperty_StreamFormat
                   ? answer(*known, size, data, wrongUnitPropertySize)
                   : answer(known->mSampleRate, size, data, wrongUnitPropertySize);
    }
    case kAudioOutputUnitProperty_EnableIO:
        return answer(UInt32{mSides[address.element].isEnabled}, size, data, wrongUnitPropertySize);
    case kAudioOutputUnitProperty_HasIO:
        return answer(UInt32{deviceChannels(address.element) != 0}, size, data, wrongUnitPropertySize);
    case kAudioOutputUnitProperty_ChannelMap: return channelMap(address, data, size);
    case kBRAQOutputUnitProperty_ChannelPositions: return positions(data, size);
    case kBRAQOutputUnitProperty_UnscaledDownmix:
        return answer(UInt32{mSides[0].downmix == Downmix::unscaled}, size, data, wrongUnitPropertySize);
    case kAudioUnitProperty_SetRenderCallback: return answer(mSource.callback(), size, data, wrongUnitPropertySize);
    case kAudioOutputUnitProperty_SetInputCallback: return answer(mInputCallback, size, data, wrongUnitPropertySize);
    case kAudioUnitProperty_ElementCount: {
        constexpr UInt32 directions = 2;
        return answer(address.scope == kAudioUnitScope_Global ? UInt32{1} : directions, size, data,
                      wrongUnitPropertySize);
    }
    case kAudioUnitProperty_Latency:
        return answer(findDeviceLatency(mIsInitialized ? mFacts.id : mDevice, !mSides[0].isEnabled), size, data,
                      wrongUnitPropertySize);
    case kAudioUnitProperty_MaximumFramesPerSlice: return answer(mSliceLimit, size, data, wrongUnitPropertySize);
    case kAudioUnitProperty_LastRenderError: return answer(takeLastRenderError(), size, data, wrongUnitPropertySize);
    case kAudioOutputUnitProperty_StartTimestampsAtZero:
        return answer(UInt32{mStartsAtZero}, size, data, wrongUnitPropertySize);
    case kAudioOutputUnitProperty_CurrentDevice: {
        const AudioDeviceID known = mKnownDevice ? mKnownDevice->device : kAudioObjectUnknown;
        return answer(mIsInitialized                   ? mFacts.device
                      : mDevice != kAudioObjectUnknown ? mDevice
                                                       : known,
                      size, data, wrongUnitPropertySize);
    }
    case kAudioDevicePropertyBufferFrameSize: return answer(mSliceLimit, size, data, wrongUnitPropertySize);
    default: return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus DeviceUnit::setProperty(const UnitPropertyAddress& address, const void* data, UInt32 size) {
    if (const OSStatus status = checkDeviceAddress(address).value_or(kAudioUnitErr_InvalidProperty)) {
        return status;
    }
    if (isReadOnly(address)) {
        return kAudioUnitErr_PropertyNotWritable;
    }
    const std::lock_guard lock(mControl);
    if (mRuns) {
        return kAudioUnitErr_CannotDoInCurrentContext;
    }
    switch (address.property) {
    case kBRAQOutputUnitProperty_ChannelPositions: return setPositions(data, size);
    case kBRAQOutputUnitProperty_UnscaledDownmix: return setDownmix(data, size);
    default: break;
    }
    if (mIsInitialized) {
        return kAudioUnitErr_Initialized;
    }
    switch (address.property) {
    case kAudioUnitProperty_StreamFormat:
    case kAudioUnitProperty_SampleRate: return setStreamFormat(address, data, size);
    case kAudioOutputUnitProperty_EnableIO: return setEnabled(address, data, size);
    case kAudioOutputUnitProperty_ChannelMap: return setChannelMap(address, data, size);
    case kAudioUnitProperty_SetRenderCallback: return mSource.setCallback(data, size);
    case kAudioUnitProperty_MakeConnection: return mSource.setConnection(data, size, *this);
    case kAudioOutputUnitProperty_SetInputCallback: return take(mInputCallback, size, data, wrongUnitPropertySize);
    case kAudioUnitProperty_MaximumFramesPerSlice: return takeSliceLimit(mSliceLimit, data, size);
    case kAudioOutputUnitProperty_CurrentDevice: return setDevice(data, size);
    case kAudioOutputUnitProperty_StartTimestampsAtZero: {
        UInt32 value = 0;
        const OSStatus status = take(value, size, data, wrongUnitPropertySize);
        mStartsAtZero = status == 0 ? value != 0 : mStartsAtZero;
        return status;
    }
    default: return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus DeviceUnit::setDevice(const void* data, UInt32 size) {
    AudioDeviceID device = kAudioObjectUnknown;
    if (const OSStatus status = take(device, size, data, wrongUnitPropertySize)) {
        return status;
    }
    if (device != kAudioObjectUnknown && !findDeviceFacts(device, false)) {
        return kAudioUnitErr_InvalidPropertyValue;
    }
    mDevice = device;
    rememberDevice();
    return 0;
}

OSStatus DeviceUnit::setStreamFormat(const UnitPropertyAddress& address, const void* data, UInt32 size) {
    AudioStreamBasicDescription format = mSides[address.element].client;
    if (const OSStatus status = takeUnitFormat(format, address.property, data, size)) {
        return status;
    }
    Side& side = mSides[address.element];
    if (format.mChannelsPerFrame != side.client.mChannelsPerFrame) {
        side.positions.clear();
    }
    side.client = format;
    return 0;
}

OSStatus DeviceUnit::setEnabled(const UnitPropertyAddress& address, const void* data, UInt32 size) {
    UInt32 value = 0;
    const OSStatus status = take(value, size, data, wrongUnitPropertySize);
    if (status == 0) {
        mSides[address.element].isEnabled = value != 0;
        rememberDevice(); // the default device may have changed
    }
    return status;
}

OSStatus DeviceUnit::setChannelMap(const UnitPropertyAddress& address, const void* data, UInt32 size) {
    if (size % sizeof(SInt32) != 0 || (data == nullptr && size != 0)) {
        return wrongUnitPropertySize;
    }
    std::vector<SInt32> map(size / sizeof(SInt32));
    if (!map.empty()) {
        std::memcpy(map.data(), data, size);
    }
    const auto channels = static_cast<SInt32>(deviceChannels(address.element));
    if (std::ranges::any_of(map, [channels](SInt32 channel) { return channel < -1 || channel >= channels; })) {
        return kAudioUnitErr_InvalidPropertyValue;
    }
    mSides[address.element].channelMap = map.empty() ? std::nullopt : std::optional(std::move(map));
    return 0;
}

OSStatus DeviceUnit::setPositions(const void* data, UInt32 size) {
    Side& side = mSides[0];
    if (size % sizeof(ChannelPosition) != 0 || (data == nullptr && size != 0)) {
        return wrongUnitPropertySize;
    }
    ChannelPositions positions(size / sizeof(ChannelPosition));
    if (!positions.empty()) {
        std::memcpy(positions.data(), data, size);
    }
    const bool isForEach = positions.empty() || positions.size() == side.client.mChannelsPerFrame;
    if (!isForEach || !std::ranges::all_of(positions, isChannelPosition)) {
        return kAudioUnitErr_InvalidPropertyValue;
    }
    side.positions = std::move(positions);
    return prepareAgain();
}

OSStatus DeviceUnit::setDownmix(const void* data, UInt32 size) {
    UInt32 value = 0;
    if (const OSStatus status = take(value, size, data, wrongUnitPropertySize)) {
        return status;
    }
    mSides[0].downmix = value != 0 ? Downmix::unscaled : Downmix::scaled;
    return prepareAgain();
}

// Routing is set up together with everything else for the device.
OSStatus DeviceUnit::prepareAgain() {
    if (mIsInitialized) {
        mPrepared = prepare();
    }
    return mPrepared;
}

OSStatus DeviceUnit::positions(void* data, UInt32* size) const {
    const ChannelPositions& told = mSides[0].positions;
    const ChannelPositions known = told.empty() ? usualPositions(mSides[0].client.mChannelsPerFrame) : told;
    const std::size_t bytes = known.size() * sizeof(ChannelPosition);
    if (data == nullptr || size == nullptr || *size < bytes) {
        return wrongUnitPropertySize;
    }
    std::memcpy(data, known.data(), bytes);
    *size = static_cast<UInt32>(bytes);
    return 0;
}

OSStatus DeviceUnit::channelMap(const UnitPropertyAddress& address, void* data, UInt32* size) const {
    const auto& map = mSides[address.element].channelMap;
    if (!map) {
        return kAudioUnitErr_PropertyNotInUse;
    }
    const std::size_t bytes = map->size() * sizeof(SInt32);
    if (data == nullptr || size == nullptr || *size < bytes) {
        return wrongUnitPropertySize;
    }
    std::memcpy(data, map->data(), bytes);
    *size = static_cast<UInt32>(bytes);
    return 0;
}

} // namespace braq
