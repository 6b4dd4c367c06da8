#pragma once

#include "platform/hardware/drivers/DeviceDescription.h"
#include "platform/hardware/drivers/pipewire/GraphSettings.h"
#include "platform/hardware/drivers/pipewire/NodeFacts.h"

#include <functional>
#include <string>
#include <tuple>
#include <vector>

namespace braq::pipewire {

/// The uses of a node. Each is a device.
enum class Use { playback, record, monitor };

/// Identifies a device as long as its node lives: a server does not reuse serial numbers.
struct DeviceKey {
    std::string serial; ///< empty: no device, but where the session manager and the user lead a stream without a target
    Use use = Use::playback;
    bool operator==(const DeviceKey&) const = default;
    bool operator<(const DeviceKey& other) const { return std::tie(serial, use) < std::tie(other.serial, other.use); }
};

/// A device of a node, and what it takes to stream to or from it.
struct FoundDevice {
    DeviceKey key;
    ChannelLayout layout;
    DeviceDescription description;
};

/// The devices of a node: a sink, its monitor, a source. A node that is both a sink and a source is a sink whose
/// monitor is the source. A node without channels or without a name is not a device.
/// @param card properties of the hardware device that the node belongs to; empty if there is none
/// @param settingsOf the settings that apply to a device
std::vector<FoundDevice> describe(const NodeFacts& node, const Properties& card,
                                  const std::function<GraphSettings(const DeviceKey&)>& settingsOf);

/// kAudioDeviceTransportType… of a node.
UInt32 transportTypeOf(const Properties& node, const Properties& card);

/// UID of the device that records what a sink plays.
std::string monitorUID(const std::string& nodeName);

/// A latency of the graph in frames.
UInt32 framesOf(const spa_latency_info& latency, UInt32 rate, UInt32 quantum);

} // namespace braq::pipewire
