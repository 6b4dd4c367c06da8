#pragma once

#include "platform/hardware/drivers/DeviceDescription.h"
#include "platform/hardware/drivers/pipewire/GraphSettings.h"
#include "platform/hardware/drivers/pipewire/NodeFacts.h"

#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace braq::pipewire {

/// What a node can be used as. Each is a device.
enum class Use { playback, record, monitor };

/// Names a device for as long as its node lives: a serial number is not used again by a server.
struct DeviceKey {
    std::string serial;
    Use use = Use::playback;
    bool operator==(const DeviceKey&) const = default;
    bool operator<(const DeviceKey& other) const { return std::tie(serial, use) < std::tie(other.serial, other.use); }
};

/// A device that a node is, and what it takes to stream to it or from it.
struct FoundDevice {
    DeviceKey key;
    ChannelLayout layout;
    DeviceDescription description;
};

/// The devices that a node is: a sink, its monitor, a source. A node that is a sink and a source at once is a sink whose
/// monitor is the source. One without channels or without a name is none.
/// @param card properties of the device that the node is part of; none when it is not part of one
/// @param settingsOf the settings that hold for a device
std::vector<FoundDevice> describe(const NodeFacts& node, const Properties& card,
                                  const std::function<GraphSettings(const DeviceKey&)>& settingsOf);

/// kAudioDeviceTransportType… of a node.
UInt32 transportTypeOf(const Properties& node, const Properties& card);

/// UID of the device that records what a sink plays.
std::string monitorUID(const std::string& nodeName);

/// Frames of a latency in the graph.
UInt32 framesOf(const spa_latency_info& latency, UInt32 rate, UInt32 quantum);

} // namespace braq::pipewire
