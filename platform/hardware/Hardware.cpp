#include "platform/hardware/Hardware.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "platform/hardware/drivers/Drivers.h"
#include "platform/hardware/drivers/PropertyAddress.h"

#include <algorithm>
#include <utility>

namespace braq {
namespace {

std::function<std::vector<std::unique_ptr<Driver>>()>& replacementDrivers() {
    static std::function<std::vector<std::unique_ptr<Driver>>()> make;
    return make;
}

} // namespace

void replaceDrivers(std::function<std::vector<std::unique_ptr<Driver>>()> make) {
    replacementDrivers() = std::move(make);
}

Hardware& Hardware::instance() {
    // Never destroyed: threads of drivers use it as long as the process runs.
    static auto* const hardware = new Hardware();
    static std::once_flag isStarted;
    std::call_once(isStarted, [] { hardware->startDrivers(); });
    return *hardware;
}

Hardware::Hardware() : mNotifications([this] { lookAtProcedures(); }) {}

void Hardware::startDrivers() {
    mHasFallback = !replacementDrivers();
    for (auto& driver : mHasFallback ? makeDrivers() : replacementDrivers()()) {
        mDrivers.push_back({std::move(driver), {}, {}});
    }
    for (const DriverEntry& entry : mDrivers) {
        entry.driver->start(*this);
    }
    fallBackIfThereIsNoServer();
}

void Hardware::fallBackIfThereIsNoServer() {
    const std::lock_guard fallbackLock(mFallbackMutex);
    bool hasServer = false;
    {
        const std::lock_guard lock(mMutex);
        hasServer = std::ranges::any_of(mDrivers, &DriverEntry::hasServer);
    }
    mFallback.setIsNeeded(mHasFallback && !hasServer);
}

std::optional<Hardware::Object> Hardware::find(AudioObjectID object) const {
    if (object == kAudioObjectSystemObject) {
        return Object{};
    }
    const std::lock_guard lock(mMutex);
    const auto found = mObjects.find(object);
    if (found == mObjects.end()) {
        return std::nullopt;
    }
    const Place& place = found->second;
    return Object{place.device, place.device->state, place.direction, place.stream};
}

std::shared_ptr<Device> Hardware::findDevice(AudioDeviceID device) const {
    const auto object = find(device);
    return object && !object->direction ? object->device : nullptr;
}

bool Hardware::wasThere(AudioObjectID object) const {
    const std::lock_guard lock(mMutex);
    return object != kAudioObjectUnknown && object < mNextID;
}

std::vector<AudioDeviceID> Hardware::devices() const {
    const std::lock_guard lock(mMutex);
    std::vector<AudioDeviceID> ids;
    for (const auto& device : mDevices) {
        if (!device->isRoute()) {
            ids.push_back(device->id);
        }
    }
    return ids;
}

AudioDeviceID Hardware::defaultDevice(Direction direction) const {
    const std::lock_guard lock(mMutex);
    const Defaults now = defaults();
    return direction == Direction::playback ? now.output : now.input;
}

AudioDeviceID Hardware::deviceForUID(const std::string& uid) const {
    const std::lock_guard lock(mMutex);
    return withUID(uid);
}

AudioDeviceID Hardware::route(Direction direction) const {
    const std::lock_guard lock(mMutex);
    const auto found = std::ranges::find_if(mDevices, [&](const auto& device) {
        return device->isRoute() && device->state->direction(direction).channels() != 0 &&
               withUID(*device->state->description.leadsTo) != kAudioObjectUnknown;
    });
    return found == mDevices.end() ? kAudioObjectUnknown : (*found)->id;
}

AudioDeviceID Hardware::endOf(AudioDeviceID routeOrDevice) const {
    const std::lock_guard lock(mMutex);
    const auto found = std::ranges::find(mDevices, routeOrDevice, &Device::id);
    return found != mDevices.end() && (*found)->isRoute() ? withUID(*(*found)->state->description.leadsTo)
                                                          : routeOrDevice;
}

std::shared_ptr<Device> Hardware::findRunning(AudioDeviceID id) const {
    auto device = findDevice(id);
    if (device == nullptr || device->procedures.isRunning()) {
        return device;
    }
    const std::lock_guard lock(mMutex);
    const auto found = std::ranges::find_if(mDevices, [&](const auto& route) {
        return route->isRoute() && route->procedures.isRunning() &&
               route->state->description.leadsTo == device->state->description.uid;
    });
    return found == mDevices.end() ? nullptr : *found;
}

AudioDeviceID Hardware::withUID(const std::string& uid) const {
    const auto found = std::ranges::find_if(
        mDevices, [&](const auto& device) { return !device->isRoute() && device->state->description.uid == uid; });
    return found == mDevices.end() ? kAudioObjectUnknown : (*found)->id;
}

// The first driver with a default device that exists takes precedence; the loopback fallback comes last.
Hardware::Defaults Hardware::defaults() const {
    Defaults now;
    for (const DriverEntry& entry : mDrivers) {
        if (now.output == kAudioObjectUnknown && !entry.outputUID.empty()) {
            now.output = withUID(entry.outputUID);
        }
        if (now.input == kAudioObjectUnknown && !entry.inputUID.empty()) {
            now.input = withUID(entry.inputUID);
        }
    }
    const AudioDeviceID fallback = withUID(LoopbackFallback::uid);
    now.output = now.output == kAudioObjectUnknown ? fallback : now.output;
    now.input = now.input == kAudioObjectUnknown ? fallback : now.input;
    return now;
}

template <class Change>
void Hardware::changeSystem(Change change) {
    std::vector<AudioObjectPropertyAddress> changes;
    {
        const std::lock_guard lock(mMutex);
        const Defaults before = defaults();
        changes = change();
        const Defaults after = defaults();
        if (before.input != after.input) {
            changes.push_back(globalAddress(kAudioHardwarePropertyDefaultInputDevice));
        }
        if (before.output != after.output) {
            changes.push_back(globalAddress(kAudioHardwarePropertyDefaultOutputDevice));
            changes.push_back(globalAddress(kAudioHardwarePropertyDefaultSystemOutputDevice));
        }
    }
    if (!changes.empty()) {
        mNotifications.post(kAudioObjectSystemObject, std::move(changes));
    }
}

AudioDeviceID Hardware::deviceAppeared(DeviceDescription description, std::shared_ptr<DriverDevice> of) {
    AudioDeviceID id = kAudioObjectUnknown;
    changeSystem([&]() -> std::vector<AudioObjectPropertyAddress> {
        if (description.uid.empty() || withUID(description.uid) != kAudioObjectUnknown) {
            return {};
        }
        id = newID();
        const DeviceProcedures::Events events{[this, id] {
                                                  postRunning(id);
                                                  if (const AudioDeviceID end = endOf(id); end != id) {
                                                      postRunning(end);
                                                  }
                                              },
                                              [this] { mNotifications.nudge(); }};
        auto device = std::make_shared<Device>(id, std::move(of), CycleShape::of(description), events);
        DeviceState state{std::move(description), {}, {}};
        assignStreams(state, device, Direction::playback);
        assignStreams(state, device, Direction::record);
        device->state = std::make_shared<const DeviceState>(std::move(state));
        mObjects.insert({id, {device, std::nullopt}});
        mDevices.push_back(device);
        return device->isRoute() ? std::vector<AudioObjectPropertyAddress>{}
                                 : std::vector{globalAddress(kAudioHardwarePropertyDevices)};
    });
    return id;
}

// A stream keeps its id as long as there is one at its index.
void Hardware::assignStreams(DeviceState& state, const std::shared_ptr<Device>& device, Direction direction) {
    std::vector<AudioObjectID>& ids = state.streams(direction);
    const std::size_t count = state.direction(direction).streams.size();
    while (ids.size() > count) {
        mObjects.erase(ids.back());
        ids.pop_back();
    }
    while (ids.size() < count) {
        ids.push_back(newID());
        mObjects.insert({ids.back(), {device, direction, ids.size() - 1}});
    }
}

void Hardware::deviceChanged(AudioDeviceID id, DeviceDescription description) {
    std::shared_ptr<Device> device;
    std::shared_ptr<const DeviceState> before;
    std::shared_ptr<const DeviceState> after;
    {
        const std::lock_guard lock(mMutex);
        const auto found = std::ranges::find(mDevices, id, &Device::id);
        if (found == mDevices.end()) {
            return;
        }
        device = *found;
        before = device->state;
        DeviceState state{std::move(description), before->playbackStreams, before->recordStreams};
        state.description.uid = before->description.uid;
        assignStreams(state, device, Direction::playback);
        assignStreams(state, device, Direction::record);
        after = std::make_shared<const DeviceState>(std::move(state));
        device->state = after;
    }
    // A driver may hold its locks here, and preparing for other cycles may wait for one of the driver's threads.
    const CycleShape shape = CycleShape::of(after->description);
    if (shape != CycleShape::of(before->description)) {
        mNotifications.run([device, shape] { device->procedures.setShape(shape); });
    }
    if (before->description.leadsTo != after->description.leadsTo && device->procedures.isRunning()) {
        postRunning(deviceForUID(before->description.leadsTo.value_or(std::string())));
        postRunning(deviceForUID(after->description.leadsTo.value_or(std::string())));
    }
    auto changes = changedDeviceProperties(before->description, after->description);
    if (!changes.empty()) {
        mNotifications.post(id, std::move(changes));
    }
    for (const Direction direction : {Direction::playback, Direction::record}) {
        const auto& old = before->direction(direction).streams;
        const auto& now = after->direction(direction).streams;
        for (std::size_t i = 0; i < std::min(old.size(), now.size()); ++i) {
            auto streamChanges = changedStreamProperties(old[i], now[i]);
            if (!streamChanges.empty()) {
                mNotifications.post(after->streams(direction)[i], std::move(streamChanges));
            }
        }
    }
}

void Hardware::postRunning(AudioDeviceID device) {
    if (device != kAudioObjectUnknown) {
        mNotifications.post(device, {globalAddress(kAudioDevicePropertyDeviceIsRunning)});
    }
}

void Hardware::propertiesChanged(AudioDeviceID device, const std::vector<AudioObjectPropertyAddress>& addresses) {
    mNotifications.post(device, addresses);
}

void Hardware::deviceStopped(AudioDeviceID id) {
    if (const auto device = findDevice(id)) {
        // A driver may hold its locks here.
        mNotifications.run([device] { device->procedures.stopAll(); });
    }
}

void Hardware::deviceVanished(AudioDeviceID id) {
    std::shared_ptr<Device> device;
    changeSystem([&]() -> std::vector<AudioObjectPropertyAddress> {
        const auto found = std::ranges::find(mDevices, id, &Device::id);
        if (found == mDevices.end()) {
            return {};
        }
        device = *found;
        mDevices.erase(found);
        auto state = std::make_shared<DeviceState>(*device->state);
        state->isAlive = false;
        device->state = std::move(state);
        return {globalAddress(kAudioHardwarePropertyDevices)};
    });
    if (device == nullptr) {
        return;
    }
    mNotifications.run([device] { device->procedures.deviceIsGone(); });
    mNotifications.post(id, {globalAddress(kAudioDevicePropertyDeviceIsAlive)});
    mNotifications.run([this, device] { forget(device); });
}

void Hardware::forget(const std::shared_ptr<Device>& device) {
    std::vector<AudioObjectID> objects;
    {
        const std::lock_guard lock(mMutex);
        std::erase_if(mObjects, [&](const auto& object) {
            const bool isPartOfIt = object.second.device == device;
            if (isPartOfIt) {
                objects.push_back(object.first);
            }
            return isPartOfIt;
        });
    }
    for (const AudioObjectID object : objects) {
        mNotifications.removeListenersOf(object);
    }
}

void Hardware::defaultsChanged(const Driver& driver, std::string outputUID, std::string inputUID) {
    changeSystem([&]() -> std::vector<AudioObjectPropertyAddress> {
        for (DriverEntry& entry : mDrivers) {
            if (entry.driver.get() == &driver) {
                entry.outputUID = std::move(outputUID);
                entry.inputUID = std::move(inputUID);
                break;
            }
        }
        return {};
    });
}

void Hardware::serverIsThere(const Driver& driver, bool isThere) {
    {
        const std::lock_guard lock(mMutex);
        for (DriverEntry& entry : mDrivers) {
            if (entry.driver.get() == &driver) {
                entry.hasServer = isThere;
            }
        }
    }
    mNotifications.run([this] { fallBackIfThereIsNoServer(); });
}

void Hardware::lookAtProcedures() {
    std::vector<std::pair<std::shared_ptr<Device>, std::string>> devices;
    {
        const std::lock_guard lock(mMutex);
        for (const auto& device : mDevices) {
            devices.emplace_back(device, device->state->description.name);
        }
    }
    for (const auto& [device, name] : devices) {
        device->procedures.logThrown(name);
        if (device->procedures.hasLostMore()) {
            mNotifications.post(device->id, {globalAddress(kFramesWereLost)});
        }
    }
}

} // namespace braq
