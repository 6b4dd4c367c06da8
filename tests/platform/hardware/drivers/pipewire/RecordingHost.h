#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace braq::tests {

/// A driver's host that keeps what it is told.
class RecordingHost final : public DriverHost {
  public:
    struct Told {
        DeviceDescription description;
        std::shared_ptr<DriverDevice> device;
        int changes = 0;
        int stops = 0; ///< that it told of by itself
    };

    /// A host and a PipeWire driver that is started with it. Neither is ever destroyed: the driver's threads use them as
    /// long as the process runs.
    static RecordingHost& withStartedDriver();

    /// Waits until `condition`, which is called with nothing changing, holds.
    /// @return whether it came to hold within half a minute
    bool waitUntil(const std::function<bool()>& condition);

    /// Waits until there is a device with that UID.
    /// @return null: there is none after half a minute
    std::shared_ptr<DriverDevice> waitForDevice(const std::string& uid);

    /// Waits until there is no device with that UID.
    bool waitUntilGone(const std::string& uid);

    /// What is known of a device now.
    std::optional<DeviceDescription> description(const std::string& uid);

    // The following: in a condition.

    /// Null: there is no such device.
    const Told* find(const std::string& uid) const;
    const std::string& outputUID() const { return mOutputUID; }
    const std::string& inputUID() const { return mInputUID; }
    /// None: the driver has not said yet.
    std::optional<bool> serverIsThere() const { return mServerIsThere; }
    /// Of all devices, without the routes.
    std::vector<std::string> uids() const;

  private:
    RecordingHost() = default;

    AudioDeviceID deviceAppeared(DeviceDescription description, std::shared_ptr<DriverDevice> device) override;
    void deviceChanged(AudioDeviceID device, DeviceDescription description) override;
    void propertiesChanged(AudioDeviceID device, const std::vector<AudioObjectPropertyAddress>& addresses) override;
    void deviceStopped(AudioDeviceID device) override;
    void deviceVanished(AudioDeviceID device) override;
    void defaultsChanged(const Driver& driver, std::string outputUID, std::string inputUID) override;
    void serverIsThere(const Driver& driver, bool isThere) override;

    template <class Change>
    void change(Change change);

    std::mutex mMutex;
    std::condition_variable mChanged;
    std::map<AudioDeviceID, Told> mDevices;
    AudioDeviceID mNextID = 1;
    std::string mOutputUID;
    std::string mInputUID;
    std::optional<bool> mServerIsThere;
};

} // namespace braq::tests
