#include "platform/hardware/drivers/pipewire/WatchedObjects.h"

#include <array>
#include <utility>

namespace braq::pipewire {

// ---- nodes

WatchedNode::WatchedNode(pw_registry* registry, UInt32 id, std::function<void()> changed)
    : mChanged(std::move(changed)), mProxy(registry, id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, kEvents, this) {
    std::array<uint32_t, 3> watched{SPA_PARAM_EnumFormat, SPA_PARAM_Format, SPA_PARAM_PortConfig};
    if (auto* const node = mProxy.as<pw_node>(); node != nullptr) {
        pw_node_subscribe_params(node, watched.data(), watched.size());
    }
}

const pw_node_events WatchedNode::kEvents = {
    .version = PW_VERSION_NODE_EVENTS,
    .info = [](void* self, const pw_node_info* info) { static_cast<WatchedNode*>(self)->take(*info); },
    .param =
        [](void* self, int /*sequence*/, uint32_t id, uint32_t index, uint32_t /*next*/, const spa_pod* parameter) {
            auto& node = *static_cast<WatchedNode*>(self);
            node.mFacts.take(id, index, parameter);
            node.mChanged();
        },
};

void WatchedNode::take(const pw_node_info& info) {
    if ((info.change_mask & PW_NODE_CHANGE_MASK_PROPS) != 0) {
        mFacts.properties.assign(info.props);
    }
    if ((info.change_mask & PW_NODE_CHANGE_MASK_STATE) != 0) {
        mFacts.isRunning = info.state == PW_NODE_STATE_RUNNING;
    }
    mChanged();
}

// ---- ports

WatchedPort::WatchedPort(pw_registry* registry, UInt32 id, UInt32 nodeId, Kind kind, std::function<void()> changed)
    : mNodeId(nodeId),
      mKind(kind),
      mChanged(std::move(changed)),
      mProxy(registry, id, PW_TYPE_INTERFACE_Port, PW_VERSION_PORT, kEvents, this) {
    uint32_t watched = SPA_PARAM_Latency;
    if (auto* const port = mProxy.as<pw_port>(); port != nullptr) {
        pw_port_subscribe_params(port, &watched, 1);
    }
}

const pw_port_events WatchedPort::kEvents = {
    .version = PW_VERSION_PORT_EVENTS,
    .info = nullptr,
    .param =
        [](void* self, int /*sequence*/, uint32_t id, uint32_t /*index*/, uint32_t /*next*/, const spa_pod* parameter) {
            if (id == SPA_PARAM_Latency && parameter != nullptr) {
                static_cast<WatchedPort*>(self)->take(parameter);
            }
        },
};

void WatchedPort::take(const spa_pod* parameter) {
    // A port has a latency for each direction. The relevant one is that of the further, or earlier, way of its samples.
    const spa_direction direction = mKind == Kind::sink ? SPA_DIRECTION_INPUT : SPA_DIRECTION_OUTPUT;
    spa_latency_info latency{};
    if (spa_latency_parse(parameter, &latency) >= 0 && latency.direction == direction) {
        mLatency = latency;
        mChanged();
    }
}

// ---- links

WatchedLink::WatchedLink(pw_registry* registry, UInt32 id, UInt32 node, UInt32 device, std::function<void()> changed)
    : mNode(node),
      mDevice(device),
      mChanged(std::move(changed)),
      mProxy(registry, id, PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, kEvents, this) {}

const pw_link_events WatchedLink::kEvents = {
    .version = PW_VERSION_LINK_EVENTS,
    .info =
        [](void* self, const pw_link_info* info) {
            auto& link = *static_cast<WatchedLink*>(self);
            if ((info->change_mask & PW_LINK_CHANGE_MASK_STATE) != 0) {
                link.mIsActive = info->state == PW_LINK_STATE_ACTIVE;
                link.mChanged();
            }
        },
};

// ---- cards

WatchedCard::WatchedCard(pw_registry* registry, UInt32 id, std::function<void()> changed)
    : mChanged(std::move(changed)), mProxy(registry, id, PW_TYPE_INTERFACE_Device, PW_VERSION_DEVICE, kEvents, this) {}

const pw_device_events WatchedCard::kEvents = {
    .version = PW_VERSION_DEVICE_EVENTS,
    .info =
        [](void* self, const pw_device_info* info) {
            auto& card = *static_cast<WatchedCard*>(self);
            if ((info->change_mask & PW_DEVICE_CHANGE_MASK_PROPS) != 0) {
                card.mProperties.assign(info->props);
                card.mChanged();
            }
        },
    .param = nullptr,
};

// ---- tables

WatchedMetadata::WatchedMetadata(pw_registry* registry, UInt32 id, Changed changed)
    : mChanged(std::move(changed)),
      mProxy(registry, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, kEvents, this) {}

const pw_metadata_events WatchedMetadata::kEvents = {
    .version = PW_VERSION_METADATA_EVENTS,
    .property =
        [](void* self, uint32_t subject, const char* key, const char* /*type*/, const char* value) {
            if (subject == PW_ID_CORE) {
                static_cast<WatchedMetadata*>(self)->mChanged(key, value);
            }
            return 0;
        },
};

} // namespace braq::pipewire
