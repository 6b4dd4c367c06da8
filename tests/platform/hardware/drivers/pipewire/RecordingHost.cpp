#include "tests/platform/hardware/drivers/pipewire/RecordingHost.h"

#include "platform/hardware/drivers/pipewire/PipeWireDriver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace braq::tests {

RecordingHost& RecordingHost::withStartedDriver() {
    struct Started {
        RecordingHost* host;
        Driver* driver;
    };
    static auto& all = *new std::vector<Started>();
    all.push_back({new RecordingHost(), makePipeWireDriver().release()});
    all.back().driver->start(*all.back().host);
    return *all.back().host;
}

bool RecordingHost::waitUntil(const std::function<bool()>& condition) {
    std::unique_lock lock(mMutex);
    return mChanged.wait_for(lock, std::chrono::seconds(30), condition);
}

std::shared_ptr<DriverDevice> RecordingHost::waitForDevice(const std::string& uid) {
    std::shared_ptr<DriverDevice> found;
    waitUntil([&] {
        const Told* const told = find(uid);
        found = told != nullptr ? told->device : nullptr;
        return told != nullptr;
    });
    return found;
}

bool RecordingHost::waitUntilGone(const std::string& uid) {
    return waitUntil([&] { return find(uid) == nullptr; });
}

std::optional<DeviceDescription> RecordingHost::description(const std::string& uid) {
    const std::lock_guard lock(mMutex);
    const Told* const told = find(uid);
    return told != nullptr ? std::optional(told->description) : std::nullopt;
}

const RecordingHost::Told* RecordingHost::find(const std::string& uid) const {
    const auto found =
        std::ranges::find_if(mDevices, [&](const auto& device) { return device.second.description.uid == uid; });
    return found != mDevices.end() ? &found->second : nullptr;
}

std::vector<std::string> RecordingHost::uids() const {
    std::vector<std::string> all;
    for (const auto& [id, device] : mDevices) {
        if (!device.description.leadsTo) {
            all.push_back(device.description.uid);
        }
    }
    return all;
}

template <class Change>
void RecordingHost::change(Change change) {
    const std::lock_guard lock(mMutex);
    change();
    mChanged.notify_all();
}

AudioDeviceID RecordingHost::deviceAppeared(DeviceDescription description, std::shared_ptr<DriverDevice> device) {
    AudioDeviceID id = 0;
    change([&] {
        EXPECT_FALSE(description.uid.empty());
        EXPECT_EQ(find(description.uid), nullptr) << description.uid << " is there already";
        id = mNextID++;
        mDevices[id] = {std::move(description), std::move(device)};
    });
    return id;
}

void RecordingHost::deviceChanged(AudioDeviceID device, DeviceDescription description) {
    change([&] {
        ASSERT_TRUE(mDevices.contains(device));
        EXPECT_EQ(mDevices[device].description.uid, description.uid);
        mDevices[device].description = std::move(description);
        ++mDevices[device].changes;
    });
}

void RecordingHost::propertiesChanged(AudioDeviceID /*device*/,
                                      const std::vector<AudioObjectPropertyAddress>& /*addresses*/) {
    ADD_FAILURE() << "nothing that is not described changes";
}

void RecordingHost::deviceStopped(AudioDeviceID device) {
    change([&] {
        ASSERT_TRUE(mDevices.contains(device));
        ++mDevices[device].stops;
    });
}

void RecordingHost::deviceVanished(AudioDeviceID device) {
    // Let go of outside the lock, as the driver holds its own.
    std::shared_ptr<DriverDevice> gone;
    change([&] {
        ASSERT_TRUE(mDevices.contains(device));
        gone = std::move(mDevices[device].device);
        mDevices.erase(device);
    });
}

void RecordingHost::defaultsChanged(const Driver& /*driver*/, std::string outputUID, std::string inputUID) {
    change([&] {
        mOutputUID = std::move(outputUID);
        mInputUID = std::move(inputUID);
    });
}

void RecordingHost::serverIsThere(const Driver& /*driver*/, bool isThere) {
    change([&] { mServerIsThere = isThere; });
}

} // namespace braq::tests
