#pragma once

#include "platform/hardware/Device.h"
#include "platform/hardware/LoopbackFallback.h"
#include "platform/hardware/Notifications.h"

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace braq {

/// The devices published by the drivers, as objects. Any thread but an I/O thread.
class Hardware final : public DriverHost {
  public:
    /// The instance of the process, never destroyed. The first use starts the drivers and waits for them.
    static Hardware& instance();

    /// An object that exists.
    struct Object {
        std::shared_ptr<Device> device;           // null: the system object
        std::shared_ptr<const DeviceState> state; // of the device
        std::optional<Direction> direction;       // of a stream
        std::size_t stream = 0;                   // index of a stream in its direction
    };
    std::optional<Object> find(AudioObjectID object) const;
    /// Null unless the device exists.
    std::shared_ptr<Device> findDevice(AudioDeviceID device) const;
    /// Whether an object has or had this id.
    bool wasThere(AudioObjectID object) const;

    std::vector<AudioDeviceID> devices() const;               ///< in order of appearance
    AudioDeviceID defaultDevice(Direction direction) const;   ///< 0: none
    AudioDeviceID deviceForUID(const std::string& uid) const; ///< 0: none
    /// The route (see Driver.h) for what names no device: the one that leads to the default device or to where the user
    /// has moved it. 0: there is none, or it leads nowhere now.
    AudioDeviceID route(Direction direction) const;
    /// The device that a route leads to now, 0 if there is none; for a device, itself.
    AudioDeviceID endOf(AudioDeviceID routeOrDevice) const;
    /// What runs the cycles of a device in this process: the device, or a route that leads to it; null if none does.
    std::shared_ptr<Device> findRunning(AudioDeviceID id) const;
    Notifications& notifications() { return mNotifications; }

    AudioDeviceID deviceAppeared(DeviceDescription description, std::shared_ptr<DriverDevice> of) override;
    void deviceChanged(AudioDeviceID id, DeviceDescription description) override;
    void propertiesChanged(AudioDeviceID device, const std::vector<AudioObjectPropertyAddress>& addresses) override;
    void deviceStopped(AudioDeviceID id) override;
    void deviceVanished(AudioDeviceID id) override;
    void defaultsChanged(const Driver& driver, std::string outputUID, std::string inputUID) override;
    void serverIsThere(const Driver& driver, bool isThere) override;

  private:
    struct Place {
        std::shared_ptr<Device> device;
        std::optional<Direction> direction;
        std::size_t stream = 0;
    };
    struct DriverEntry {
        std::unique_ptr<Driver> driver;
        std::string outputUID;
        std::string inputUID;
        bool hasServer = false;
    };
    struct Defaults {
        AudioDeviceID output = kAudioObjectUnknown;
        AudioDeviceID input = kAudioObjectUnknown;
    };

    Hardware();
    void startDrivers();
    void fallBackIfThereIsNoServer();
    void lookAtProcedures();
    void postRunning(AudioDeviceID device);
    /// The last step of removing a device. Notification thread.
    void forget(const std::shared_ptr<Device>& device);

    // All of these: under mMutex.
    AudioObjectID newID() { return mNextID++; }
    void assignStreams(DeviceState& state, const std::shared_ptr<Device>& device, Direction direction);
    AudioDeviceID withUID(const std::string& uid) const;
    Defaults defaults() const;

    /// Runs `change` under the lock and posts the changes that it returns; also posts the defaults for the system
    /// object if they changed.
    template <class Change>
    void changeSystem(Change change);

    Notifications mNotifications;
    std::mutex mFallbackMutex;
    LoopbackFallback mFallback; // under mFallbackMutex
    bool mHasFallback = true;   // constant once the drivers were started

    mutable std::mutex mMutex; // held for lookups and changes only, never during callbacks
    std::vector<DriverEntry> mDrivers;
    std::map<AudioObjectID, Place> mObjects;
    std::vector<std::shared_ptr<Device>> mDevices; // that are alive, in order
    AudioObjectID mNextID = kAudioObjectSystemObject + 1;
};

} // namespace braq
