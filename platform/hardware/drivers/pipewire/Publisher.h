#pragma once

#include "platform/hardware/drivers/pipewire/Device.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace braq::pipewire {

/// The devices of the server as the driver's host knows them. All with the loop's lock.
class Publisher {
  public:
    Publisher(Loop& loop, DeviceServer& server, DriverHost& host);

    /// Makes the host know these devices and no others. Of two that would have the same UID, the one that is published
    /// stays, or else the first is taken; the log says so once.
    void publish(const std::vector<FoundDevice>& found);

    /// Null: not published.
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

    Loop& mLoop;
    DeviceServer& mServer;
    DriverHost& mHost;
    std::map<DeviceKey, Published> mPublished;
    std::set<DeviceKey> mRefused; // for their UIDs
};

} // namespace braq::pipewire
