#include "BRAQAudio/BRAQAudioDevice.h"

#include "BRAQAudio/BRAQAudioHardware.h"
#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/BRAQAudioDevice_Listener.h"
#include "library/src/BRAQLiveObjects.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <span>

namespace {

constexpr const char* file = "BRAQAudioDevice";

constexpr AudioObjectPropertyAddress everyGlobalProperty{
    kAudioObjectPropertySelectorWildcard, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};

std::shared_ptr<BRAQAudioDevice> defaultDevice(UInt32 selector, const NSXCallSite& here, unsigned int line) {
    const AudioObjectPropertyAddress address{selector, kAudioObjectPropertyScopeGlobal,
                                             kAudioObjectPropertyElementMain};
    AudioDeviceID deviceID = kAudioObjectUnknown;
    UInt32 size = sizeof(deviceID);
    NSXRaiseOnFailure(
        AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &deviceID),
        "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &deviceIDSize, &deviceID )", here,
        line);
    return BRAQAudioDevice::initWithDeviceID(deviceID);
}

} // namespace

std::shared_ptr<BRAQAudioDevice> BRAQAudioDevice::deviceWithUID(const std::string& uid) {
    return initWithDeviceUID(uid);
}

std::shared_ptr<BRAQAudioDevice> BRAQAudioDevice::defaultRecordDevice() {
    return defaultDevice(kAudioHardwarePropertyDefaultInputDevice, {file, "+[BRAQAudioDevice defaultRecordDevice]"},
                         39);
}

std::shared_ptr<BRAQAudioDevice> BRAQAudioDevice::defaultPlaybackDevice() {
    return defaultDevice(kAudioHardwarePropertyDefaultOutputDevice, {file, "+[BRAQAudioDevice defaultPlaybackDevice]"},
                         53);
}

std::vector<std::shared_ptr<BRAQAudioDevice>> BRAQAudioDevice::allDevices() {
    constexpr NSXCallSite here{file, "+[BRAQAudioDevice allDevices]"};
    constexpr AudioObjectPropertyAddress address{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal,
                                                 kAudioObjectPropertyElementMain};
    UInt32 size = 0;
    NSXRaiseOnFailure(
        AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &address, 0, nullptr, &size),
        "AudioObjectGetPropertyDataSize( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &deviceListSize )", here, 66);
    std::vector<AudioDeviceID> ids(size / sizeof(AudioDeviceID));
    NSXRaiseOnFailure(
        AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, ids.data()),
        "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &deviceListSize, deviceList )",
        here, 70);
    ids.resize(size / sizeof(AudioDeviceID)); // fewer if devices were removed since the size was read
    std::vector<std::shared_ptr<BRAQAudioDevice>> devices;
    devices.reserve(ids.size());
    std::ranges::transform(ids, std::back_inserter(devices), initWithDeviceID);
    return devices;
}

std::shared_ptr<BRAQAudioDevice> BRAQAudioDevice::initWithDeviceID(AudioDeviceID deviceID) {
    return handOut(new BRAQAudioDevice(deviceID));
}

std::shared_ptr<BRAQAudioDevice> BRAQAudioDevice::initWithDeviceUID(const std::string& uid) {
    const AudioDeviceID deviceID = BRAQAudioHardware::deviceIDForDeviceUID(uid);
    return deviceID != kAudioObjectUnknown ? initWithDeviceID(deviceID) : nullptr;
}

BRAQAudioDevice::BRAQAudioDevice(AudioDeviceID deviceID) : mDeviceID(deviceID) {}

void BRAQAudioDevice::makeFindable(const std::shared_ptr<BRAQAudioDevice>& device) {
    braq::LiveObjects<BRAQAudioDevice>::all().add(device);
}

BRAQAudioDevice::~BRAQAudioDevice() {
    if (mHasPropertyListener) {
        try {
            teardownPropertyListenerForDevice();
        } catch (...) {
            NSXLogError(file, NSXErrorFromException(std::current_exception())->localizedDescription());
        }
    }
    braq::LiveObjects<BRAQAudioDevice>::all().remove(this);
}

std::shared_ptr<BRAQAudioDevice> BRAQAudioDevice::copy() const { return initWithDeviceID(mDeviceID); }

bool BRAQAudioDevice::isEqual(const BRAQAudioDevice& other) const {
    const auto uid = deviceUID();
    return uid.has_value() && uid == other.deviceUID();
}

std::size_t BRAQAudioDevice::hash() const {
    const auto uid = deviceUID();
    return uid.has_value() ? std::hash<std::string>()(*uid) : 0;
}

void BRAQAudioDevice::addDelegate(const BRAQAudioDeviceDelegateEntry& delegate) {
    if (delegate.object() == nullptr) {
        throw NSException(NSInvalidArgumentException, "-[BRAQAudioDevice addDelegate:]: there is no delegate");
    }
    mDelegates.push_back(delegate);
    if (!mHasPropertyListener) {
        setupPropertyListenerForDevice();
        mHasPropertyListener = true;
    }
}

void BRAQAudioDevice::removeDelegate(const BRAQDelegateEntry& delegate) {
    std::erase(mDelegates, delegate);
    if (mDelegates.empty() && mHasPropertyListener) {
        teardownPropertyListenerForDevice();
        mHasPropertyListener = false;
    }
}

void BRAQAudioDevice::setupPropertyListenerForDevice() {
    constexpr NSXCallSite here{file, "-[BRAQAudioDevice setupPropertyListenerForDevice]"};
    NSXRaiseOnFailure(
        AudioObjectAddPropertyListener(mDeviceID, &everyGlobalProperty, BRAQAudioDevicePropertyListenerProc, this),
        "AudioObjectAddPropertyListener( _deviceID, &aopa, BRAQAudioDevicePropertyListenerProc, (__bridge void *)self "
        ")",
        here, 86);
}

void BRAQAudioDevice::teardownPropertyListenerForDevice() {
    constexpr NSXCallSite here{file, "-[BRAQAudioDevice teardownPropertyListenerForDevice]"};
    NSXRaiseOnFailure(
        AudioObjectRemovePropertyListener(mDeviceID, &everyGlobalProperty, BRAQAudioDevicePropertyListenerProc, this),
        "AudioObjectRemovePropertyListener( _deviceID, &aopa, BRAQAudioDevicePropertyListenerProc, (__bridge void "
        "*)self )",
        here, 94);
}

OSStatus BRAQAudioDevicePropertyListenerProc(AudioObjectID object, UInt32 addressCount,
                                             const AudioObjectPropertyAddress* addresses, void* clientData) {
    const auto device = braq::LiveObjects<BRAQAudioDevice>::all().find(clientData);
    if (device == nullptr || object != device->deviceID()) {
        return 0;
    }
    for (const auto& address : std::span(addresses, addressCount)) {
        if (address.mSelector == kAudioDevicePropertyNominalSampleRate) {
            BRAQMainQueue::mainQueue().submit([device] {
                const auto delegates = device->delegates(); // a delegate may change the array
                for (const auto& delegate : delegates) {
                    if (delegate.audioDeviceNominalSampleRateDidChange) {
                        delegate.audioDeviceNominalSampleRateDidChange(device);
                    }
                }
            });
        }
    }
    return 0;
}
