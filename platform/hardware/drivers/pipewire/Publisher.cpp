#include "platform/hardware/drivers/pipewire/Publisher.h"

#include "BRAQAudio/platform/foundation/NSLog.h"

#include <algorithm>

namespace braq::pipewire {

Publisher::Publisher(Loop& loop, DeviceServer& server, DriverHost& host) : mLoop(loop), mServer(server), mHost(host) {}

void Publisher::publish(const std::vector<FoundDevice>& found) {
    takeBackMissing(found);
    // A device that is being set up can be away for a moment.
    std::erase_if(mRefused, [&](const auto& refused) {
        return !std::ranges::count(found, refused.first, &FoundDevice::key) && isFree(refused.second);
    });
    for (const FoundDevice& device : found) {
        const auto known = mPublished.find(device.key);
        if (known == mPublished.end()) {
            add(device);
        } else if (known->second.description != device.description) {
            known->second.description = device.description;
            mHost.deviceChanged(known->second.id, device.description);
        }
    }
}

// A device with another UID or other channels is another device for its users.
void Publisher::takeBackMissing(const std::vector<FoundDevice>& found) {
    const auto isAmong = [&](const auto& published) {
        return std::ranges::any_of(found, [&](const FoundDevice& device) {
            return device.key == published.first && device.layout == published.second.layout &&
                   device.description.uid == published.second.description.uid;
        });
    };
    for (auto published = mPublished.begin(); published != mPublished.end();) {
        if (isAmong(*published)) {
            ++published;
            continue;
        }
        const Published gone = std::move(published->second);
        published = mPublished.erase(published);
        gone.device->vanish();
        mHost.deviceVanished(gone.id);
    }
}

void Publisher::add(const FoundDevice& found) {
    const std::string& uid = found.description.uid;
    const auto device = std::make_shared<Device>(mLoop, mServer, found.key, found.layout);
    const AudioDeviceID id = isFree(uid) ? mHost.deviceAppeared(found.description, device) : 0;
    if (id != 0) {
        mRefused.erase(found.key);
        mPublished.emplace(found.key, Published{device, id, found.layout, found.description});
    } else if (mRefused.emplace(found.key, uid).second) {
        NSLog("PipeWire : another device is called " + uid +
              " as well; it is left out as long as the first one is there.");
    }
}

bool Publisher::isFree(const std::string& uid) const {
    return std::ranges::none_of(mPublished,
                                [&](const auto& published) { return published.second.description.uid == uid; });
}

Device* Publisher::find(const DeviceKey& key) const {
    const auto known = mPublished.find(key);
    return known != mPublished.end() ? known->second.device.get() : nullptr;
}

} // namespace braq::pipewire
