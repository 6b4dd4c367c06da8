#pragma once

#include "platform/hardware/drivers/pipewire/Device.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace braq::pipewire {

/// The server's devices as published to the driver's host. All with the loop's lock.
class Publisher {
  public:
    Publisher(Loop& loop, DeviceServer& server, DriverHost& host);

    /// Publishes exactly these devices. If two have the same UID, the one already published stays, else the first is
    /// taken; this is logged once.
    void publish(const std::vector<FoundDevice>& found);

    /// Null if it is not published.
    Device* find(const DeviceKey& key) const;

    /// Calls `action` with each published device and its id.
    template <class Action>
    void forEach(Action action) const {
        for (const auto& [key, published] : mPublished) {
            action(*published.device, published.id);
        }
    }

  private:
    struct Published {
        std::shared_ptr<Device> device;
        AudioDeviceID id;
        ChannelLayout layout;
        DeviceDescription description;
    };

    void takeBackMissing(const std::vector<FoundDevice>& found);
    void add(const FoundDevice& found);
    bool isFree(const std::string& uid) const;

    Loop& mLoop;
    DeviceServer& mServer;
    DriverHost& mHost;
    std::map<DeviceKey, Published> mPublished;
    std::map<DeviceKey, std::string> mRefused; // because of their UIDs
};

} // namespace braq::pipewire
