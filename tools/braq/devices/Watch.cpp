#include "tools/braq/devices/Watch.h"

#include "tools/braq/shared/Text.h"

#include <algorithm>
#include <utility>

struct Watch::Listener {
    void audioHardwareDeviceListDidChange() const { onChange(); }
    void audioDeviceNominalSampleRateDidChange(const std::shared_ptr<BRAQAudioDevice>& /*device*/) const { onChange(); }

    std::function<void()> onChange;
};

namespace {

std::string nameOf(const DeviceFacts& device) { return printable(device.name) + " (" + printable(device.uid) + ")"; }

// By id: a device that is plugged in again has the same UID but a new id.
const DeviceFacts* find(const std::vector<DeviceFacts>& devices, AudioDeviceID id) {
    const auto found = std::ranges::find(devices, id, &DeviceFacts::id);
    return found != devices.end() ? &*found : nullptr;
}

const DeviceFacts* findDefault(const std::vector<DeviceFacts>& devices, DirectionFacts DeviceFacts::*direction) {
    const auto found = std::ranges::find_if(devices, [&](const auto& device) { return (device.*direction).isDefault; });
    return found != devices.end() ? &*found : nullptr;
}

} // namespace

Watch::Watch(std::function<void(const std::string&)> tell)
    : mTell(std::move(tell)), mListener(new Listener{[this] { look(); }}) {
    BRAQAudioHardware::sharedInstance()->addDelegate(mListener);
    mDevices = lookAtDevices();
    listenTo(mDevices);
}

Watch::~Watch() {
    BRAQAudioHardware::sharedInstance()->removeDelegate(mListener);
    mListener->onChange = [] {}; // a queued call still holds its device, and so the listener
}

void Watch::look() {
    auto now = lookAtDevices();
    tellChangesTo(now);
    listenTo(now);
    mDevices = std::move(now);
}

void Watch::tellChangesTo(const std::vector<DeviceFacts>& now) const {
    for (const auto& device : mDevices) {
        if (find(now, device.id) == nullptr) {
            mTell("vanished: " + nameOf(device) + "\n");
        }
    }
    for (const auto& device : now) {
        const DeviceFacts* const before = find(mDevices, device.id);
        if (before == nullptr) {
            mTell("appeared: " + nameOf(device) + "\n");
        } else if (before->rate != device.rate) {
            mTell("rate: " + nameOf(device) + ": " + rateText(device.rate) + "\n");
        }
    }
    tellDefault("default for playback: ", &DeviceFacts::playback, now);
    tellDefault("default for recording: ", &DeviceFacts::recording, now);
}

void Watch::tellDefault(const char* of, DirectionFacts DeviceFacts::*direction,
                        const std::vector<DeviceFacts>& now) const {
    const DeviceFacts* const before = findDefault(mDevices, direction);
    const DeviceFacts* const after = findDefault(now, direction);
    if ((before != nullptr ? before->id : 0) != (after != nullptr ? after->id : 0)) {
        mTell(of + (after != nullptr ? nameOf(*after) : "none") + "\n");
    }
}

void Watch::listenTo(const std::vector<DeviceFacts>& now) {
    std::erase_if(mListenedTo, [&](const auto& listenedTo) { return find(now, listenedTo.first) == nullptr; });
    for (const auto& facts : now) {
        auto& device = mListenedTo[facts.id];
        if (device == nullptr) {
            device = BRAQAudioDevice::initWithDeviceID(facts.id);
            try {
                device->addDelegate(mListener);
            } catch (const NSException&) {
                // It was removed already; the next look, which the removal triggers, reports that.
            }
        }
    }
}
