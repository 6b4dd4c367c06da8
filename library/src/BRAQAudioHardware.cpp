#include "BRAQAudio/BRAQAudioHardware.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQAudioHardware_Listener.h"
#include "library/src/BRAQLiveObjects.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace {

constexpr const char* file = "src/BRAQAudioHardware";

constexpr AudioObjectPropertyAddress addressOf(UInt32 selector) {
    return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMain};
}

AudioDeviceID defaultDeviceID(UInt32 selector, const NSXCallSite& here, unsigned int line) {
    const auto address = addressOf(selector);
    AudioDeviceID deviceID = kAudioObjectUnknown;
    UInt32 size = sizeof(deviceID);
    NSXRaiseOnFailure(AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &deviceID),
                      "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size, &deviceID )",
                      here, line);
    return deviceID;
}

std::vector<std::shared_ptr<BRAQAudioDevice>> devicesThat(bool (BRAQAudioDevice::*can)() const) {
    auto devices = BRAQAudioHardware::allDevices();
    std::erase_if(devices, [can](const auto& device) { return !(*device.*can)(); });
    return devices;
}

using Entry = BRAQAudioHardwareDelegateEntry;

constexpr UInt32 defaultSelectors[] = {
    kAudioHardwarePropertyDefaultInputDevice,
    kAudioHardwarePropertyDefaultOutputDevice,
    kAudioHardwarePropertyDefaultSystemOutputDevice,
};

struct Handled {
    UInt32 selector;
    std::function<void()> Entry::*operation;
};
constexpr Handled handledSelectors[] = {
    {kAudioHardwarePropertyDevices, &Entry::audioHardwareDeviceListDidChange},
    {kAudioHardwarePropertyDefaultInputDevice, &Entry::audioHardwareDefaultInputDeviceDidChange},
    {kAudioHardwarePropertyDefaultOutputDevice, &Entry::audioHardwareDefaultOutputDeviceDidChange},
    {kAudioHardwarePropertyDefaultSystemOutputDevice, &Entry::audioHardwareDefaultSystemOutputDeviceDidChange},
};

} // namespace

std::shared_ptr<BRAQAudioHardware> BRAQAudioHardware::sharedInstance() {
    // Never destroyed: it listens as long as the process lives.
    static const auto& instance = *new auto(init());
    return instance;
}

AudioDeviceID BRAQAudioHardware::deviceIDForDeviceUID(const std::string& uid) {
    constexpr NSXCallSite here{file, "+[BRAQAudioHardware deviceIDForDeviceUID:]"};
    constexpr auto address = addressOf(kAudioHardwarePropertyDeviceForUID);
    if (uid.find('\0') != std::string::npos) {
        return kAudioObjectUnknown; // no UID contains a zero, and the part before it may be another device's UID
    }
    CFStringRef string = CFStringCreateWithCString(uid.c_str());
    const std::unique_ptr<const CFString, decltype(&CFRelease)> owned(string, &CFRelease);
    AudioDeviceID deviceID = kAudioObjectUnknown;
    AudioValueTranslation translation{&string, sizeof(string), &deviceID, sizeof(deviceID)};
    UInt32 size = sizeof(translation);
    NSXRaiseOnFailure(AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &translation),
                      "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size, &avt )", here,
                      58);
    return deviceID;
}

AudioDeviceID BRAQAudioHardware::defaultInputDeviceID() {
    return defaultDeviceID(kAudioHardwarePropertyDefaultInputDevice,
                           {file, "+[BRAQAudioHardware defaultInputDeviceID]"}, 74);
}

AudioDeviceID BRAQAudioHardware::defaultOutputDeviceID() {
    return defaultDeviceID(kAudioHardwarePropertyDefaultOutputDevice,
                           {file, "+[BRAQAudioHardware defaultOutputDeviceID]"}, 93);
}

std::shared_ptr<BRAQAudioDevice> BRAQAudioHardware::defaultInputDevice() {
    return BRAQAudioDevice::initWithDeviceID(defaultInputDeviceID());
}

std::shared_ptr<BRAQAudioDevice> BRAQAudioHardware::defaultOutputDevice() {
    return BRAQAudioDevice::initWithDeviceID(defaultOutputDeviceID());
}

std::vector<AudioDeviceID> BRAQAudioHardware::allDeviceIDs() {
    constexpr NSXCallSite here{file, "+[BRAQAudioHardware allDeviceIDs]"};
    constexpr auto address = addressOf(kAudioHardwarePropertyDevices);
    UInt32 size = 0;
    NSXRaiseOnFailure(AudioObjectGetPropertyDataSize(kAudioObjectSystemObject, &address, 0, nullptr, &size),
                      "AudioObjectGetPropertyDataSize( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size )", here,
                      112);
    std::vector<AudioDeviceID> ids(size / sizeof(AudioDeviceID));
    NSXRaiseOnFailure(
        AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, ids.data()),
        "AudioObjectGetPropertyData( kAudioObjectSystemObject, &aopa, 0, ((void*)0), &size, deviceIDArray )", here,
        115);
    ids.resize(size / sizeof(AudioDeviceID)); // fewer if devices were removed since the size was read
    return ids;
}

std::vector<std::shared_ptr<BRAQAudioDevice>> BRAQAudioHardware::allDevices() {
    const auto ids = allDeviceIDs();
    std::vector<std::shared_ptr<BRAQAudioDevice>> devices;
    devices.reserve(ids.size());
    std::ranges::transform(ids, std::back_inserter(devices), BRAQAudioDevice::initWithDeviceID);
    return devices;
}

std::vector<std::shared_ptr<BRAQAudioDevice>> BRAQAudioHardware::playbackDevices() {
    return devicesThat(&BRAQAudioDevice::canPlayback);
}

std::vector<std::shared_ptr<BRAQAudioDevice>> BRAQAudioHardware::recordingDevices() {
    return devicesThat(&BRAQAudioDevice::canRecord);
}

std::vector<std::shared_ptr<BRAQAudioDevice>> BRAQAudioHardware::stereoRecordingDevices() {
    return devicesThat(&BRAQAudioDevice::canRecordStereo);
}

std::shared_ptr<BRAQAudioHardware> BRAQAudioHardware::init() { return handOut(new BRAQAudioHardware()); }

BRAQAudioHardware::BRAQAudioHardware() {
    constexpr NSXCallSite here{file, "-[BRAQAudioHardware init]"};
    constexpr auto address = addressOf(kAudioHardwarePropertyDevices);
    NSXRaiseOnFailure(
        AudioObjectAddPropertyListener(kAudioObjectSystemObject, &address, AudioHardwarePropertyListener, this),
        "AudioObjectAddPropertyListener( kAudioObjectSystemObject, &aopa, AudioHardwarePropertyListener, (__bridge "
        "void "
        "*)self )",
        here, 168);
}

void BRAQAudioHardware::makeFindable(const std::shared_ptr<BRAQAudioHardware>& hardware) {
    braq::LiveObjects<BRAQAudioHardware>::all().add(hardware);
}

// The listener stays, deliberately: from now on it finds no object.
BRAQAudioHardware::~BRAQAudioHardware() { braq::LiveObjects<BRAQAudioHardware>::all().remove(this); }

void BRAQAudioHardware::watchDefaultDevices() {
    const std::lock_guard lock(mWatchMutex);
    for (; mWatchedDefaults < std::size(defaultSelectors); ++mWatchedDefaults) {
        const auto address = addressOf(defaultSelectors[mWatchedDefaults]);
        NSXRaiseOnFailure(
            AudioObjectAddPropertyListener(kAudioObjectSystemObject, &address, AudioHardwarePropertyListener, this),
            "AudioObjectAddPropertyListener( kAudioObjectSystemObject, &aopa, AudioHardwarePropertyListener, this )",
            {file, "-[BRAQAudioHardware watchDefaultDevices]"});
    }
}

void BRAQAudioHardware::addDelegate(const BRAQAudioHardwareDelegateEntry& delegate) {
    if (delegate.object() == nullptr) {
        throw NSException(NSInvalidArgumentException, "-[BRAQAudioHardware addDelegate:]: there is no delegate");
    }
    mDelegates.push_back(delegate);
}

void BRAQAudioHardware::removeDelegate(const BRAQDelegateEntry& delegate) { std::erase(mDelegates, delegate); }

OSStatus AudioHardwarePropertyListener(AudioObjectID /*object*/, UInt32 addressCount,
                                       const AudioObjectPropertyAddress* addresses, void* clientData) {
    const auto hardware = braq::LiveObjects<BRAQAudioHardware>::all().find(clientData);
    if (hardware == nullptr) {
        return 0;
    }
    for (const auto& address : std::span(addresses, addressCount)) {
        const auto* const handled = std::ranges::find(handledSelectors, address.mSelector, &Handled::selector);
        if (handled != std::end(handledSelectors)) {
            BRAQMainQueue::mainQueue().submit([hardware, operation = handled->operation] {
                const auto delegates = hardware->delegates(); // a delegate may change the array
                for (const auto& delegate : delegates) {
                    if (const auto& call = delegate.*operation) {
                        call();
                    }
                }
            });
        }
    }
    return 0;
}
