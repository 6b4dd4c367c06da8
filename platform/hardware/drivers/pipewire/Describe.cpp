#include "platform/hardware/drivers/pipewire/Describe.h"

#include "BRAQAudio/platform/hardware.h"
#include "platform/hardware/drivers/pipewire/Headers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace braq::pipewire {
namespace {

ChannelPosition positionOf(UInt32 position) {
    switch (position) {
    case SPA_AUDIO_CHANNEL_MONO: return ChannelPosition::mono;
    case SPA_AUDIO_CHANNEL_FL: return ChannelPosition::frontLeft;
    case SPA_AUDIO_CHANNEL_FR: return ChannelPosition::frontRight;
    case SPA_AUDIO_CHANNEL_FC: return ChannelPosition::frontCenter;
    case SPA_AUDIO_CHANNEL_LFE: return ChannelPosition::lowFrequency;
    case SPA_AUDIO_CHANNEL_SL: return ChannelPosition::sideLeft;
    case SPA_AUDIO_CHANNEL_SR: return ChannelPosition::sideRight;
    case SPA_AUDIO_CHANNEL_RC: return ChannelPosition::rearCenter;
    case SPA_AUDIO_CHANNEL_RL: return ChannelPosition::rearLeft;
    case SPA_AUDIO_CHANNEL_RR: return ChannelPosition::rearRight;
    case SPA_AUDIO_CHANNEL_FLC: return ChannelPosition::frontLeftOfCenter;
    case SPA_AUDIO_CHANNEL_FRC: return ChannelPosition::frontRightOfCenter;
    default: return ChannelPosition::unknown;
    }
}

std::string firstOf(std::initializer_list<std::string> texts) {
    const auto* const found = std::ranges::find_if(texts, [](const std::string& text) { return !text.empty(); });
    return found != texts.end() ? *found : std::string();
}

DeviceDirection directionOf(const ChannelLayout& layout, UInt32 latencyFrames) {
    DeviceDirection direction;
    direction.streams = {{.channels = static_cast<UInt32>(layout.size())}};
    std::ranges::transform(layout, std::back_inserter(direction.positions), positionOf);
    direction.latencyFrames = latencyFrames;
    return direction;
}

// A sink that drives the graph takes the frames rendered in a cycle at the end of that cycle, and so plays them in the
// next one; its monitor delivers them then, too. The ports of hardware include that cycle, those of a sink without
// hardware do not.
spa_latency_info playbackLatency(const NodeFacts& node) {
    spa_latency_info latency = node.sinkLatency;
    if (node.properties.get(PW_KEY_NODE_DRIVER) == "true") {
        latency.max_quantum = std::max(latency.max_quantum, 1.0F);
    }
    return latency;
}

// The part that is the same for every device of a node.
DeviceDescription commonTo(const NodeFacts& node, const Properties& card, const GraphSettings& settings) {
    const Properties& properties = node.properties;
    DeviceDescription common;
    common.uid = properties.get(PW_KEY_NODE_NAME);
    common.name = firstOf({properties.get(PW_KEY_NODE_DESCRIPTION), properties.get(PW_KEY_NODE_NICK), common.uid});
    common.manufacturer = firstOf({card.get(PW_KEY_DEVICE_VENDOR_NAME), properties.get(PW_KEY_DEVICE_VENDOR_NAME)});
    common.transportType = transportTypeOf(properties, card);
    common.nominalRate = settings.currentRate();
    std::ranges::transform(settings.rates(), std::back_inserter(common.rates), [](UInt32 rate) {
        return AudioValueRange{static_cast<Float64>(rate), static_cast<Float64>(rate)};
    });
    common.bufferFrames = settings.currentQuantum();
    common.minimumBufferFrames = std::min(settings.smallestQuantum, common.bufferFrames);
    common.maximumBufferFrames = std::max(settings.largestQuantum, common.bufferFrames);
    common.isRunningSomewhere = node.isRunning;
    return common;
}

} // namespace

std::string monitorUID(const std::string& nodeName) { return nodeName + ".monitor"; }

UInt32 framesOf(const spa_latency_info& latency, UInt32 rate, UInt32 quantum) {
    const Float64 frames = static_cast<Float64>(latency.max_quantum) * quantum + latency.max_rate +
                           static_cast<Float64>(latency.max_ns) * rate / SPA_NSEC_PER_SEC;
    return static_cast<UInt32>(std::lround(std::clamp(frames, 0.0, 1e9)));
}

std::vector<FoundDevice> describe(const NodeFacts& node, const Properties& card,
                                  const std::function<GraphSettings(const DeviceKey&)>& settingsOf) {
    const std::string serial = node.properties.get(PW_KEY_OBJECT_SERIAL);
    std::vector<FoundDevice> found;
    const auto add = [&](Use use, const ChannelLayout& layout, const spa_latency_info& latency) {
        const DeviceKey key{serial, use};
        const GraphSettings settings = settingsOf(key);
        FoundDevice device{.key = key, .layout = layout, .description = commonTo(node, card, settings)};
        DeviceDescription& description = device.description;
        if (layout.empty() || description.uid.empty()) {
            return;
        }
        (use == Use::playback ? description.playback : description.record) =
            directionOf(layout, framesOf(latency, settings.currentRate(), settings.currentQuantum()));
        if (use == Use::monitor) {
            description.uid = monitorUID(description.uid);
            description.name = "Monitor of " + description.name;
            description.transportType = kAudioDeviceTransportTypeVirtual;
        }
        found.push_back(std::move(device));
    };
    if (node.isSink()) {
        add(Use::playback, node.sinkLayout(), playbackLatency(node));
        add(Use::monitor, node.sinkLayout(), node.monitorLatency);
    } else if (node.isSource()) {
        add(Use::record, node.sourceLayout(), node.sourceLatency);
    }
    return found;
}

UInt32 transportTypeOf(const Properties& node, const Properties& card) {
    const auto property = [&](const char* key) { return firstOf({node.get(key), card.get(key)}); };
    const auto mentions = [](const std::string& text, const char* word) {
        return text.find(word) != std::string::npos;
    };

    const std::string api = property(PW_KEY_DEVICE_API);
    const std::string bus = property(PW_KEY_DEVICE_BUS);
    if (mentions(api, "bluez") || bus == "bluetooth") {
        return kAudioDeviceTransportTypeBluetooth;
    }
    // A node without a hardware device is virtual.
    if (api.empty() && bus.empty()) {
        return kAudioDeviceTransportTypeVirtual;
    }
    for (const std::string& text :
         {property("device.profile.name"), property("api.alsa.path"), node.get(PW_KEY_NODE_NAME)}) {
        if (mentions(text, "hdmi")) {
            return kAudioDeviceTransportTypeHDMI;
        }
        if (mentions(text, "displayport")) {
            return kAudioDeviceTransportTypeDisplayPort;
        }
    }
    if (bus == "usb") {
        return kAudioDeviceTransportTypeUSB;
    }
    // Sound hardware on a mainboard is on the PCI bus just like cards in slots; only its form factor says that it is
    // built in.
    if (property(PW_KEY_DEVICE_FORM_FACTOR) == "internal") {
        return kAudioDeviceTransportTypeBuiltIn;
    }
    return bus == "pci" ? kAudioDeviceTransportTypePCI : kAudioDeviceTransportTypeUnknown;
}

} // namespace braq::pipewire
