#pragma once

#include "platform/hardware/drivers/pipewire/NodeFacts.h"
#include "platform/hardware/drivers/pipewire/Proxy.h"

#include <functional>
#include <string>

// The server's objects that the driver watches. Each calls back when something has changed. All with the loop's lock.

namespace braq::pipewire {

/// A node that is a device.
class WatchedNode {
  public:
    WatchedNode(pw_registry* registry, UInt32 id, std::function<void()> changed);

    const NodeFacts& facts() const { return mFacts; }

  private:
    static const pw_node_events kEvents;

    void take(const pw_node_info& info);

    const std::function<void()> mChanged;
    NodeFacts mFacts;
    Proxy mProxy;
};

/// A port that represents all ports of its kind of a node, for the latency behind it.
class WatchedPort {
  public:
    enum class Kind { sink, source, monitor };

    WatchedPort(pw_registry* registry, UInt32 id, UInt32 nodeId, Kind kind, std::function<void()> changed);

    UInt32 nodeId() const { return mNodeId; }
    Kind kind() const { return mKind; }
    const spa_latency_info& latency() const { return mLatency; }

  private:
    static const pw_port_events kEvents;

    void take(const spa_pod* parameter);

    const UInt32 mNodeId;
    const Kind mKind;
    const std::function<void()> mChanged;
    spa_latency_info mLatency{};
    Proxy mProxy;
};

/// A link between a port of a stream of this process and a port of a device.
class WatchedLink {
  public:
    /// @param node of the stream
    /// @param device node at the other end
    WatchedLink(pw_registry* registry, UInt32 id, UInt32 node, UInt32 device, std::function<void()> changed);

    UInt32 node() const { return mNode; }
    UInt32 device() const { return mDevice; }
    /// Whether samples flow.
    bool isActive() const { return mIsActive; }

  private:
    static const pw_link_events kEvents;

    const UInt32 mNode;
    const UInt32 mDevice;
    const std::function<void()> mChanged;
    bool mIsActive = false;
    Proxy mProxy;
};

/// A hardware device that has nodes.
class WatchedCard {
  public:
    WatchedCard(pw_registry* registry, UInt32 id, std::function<void()> changed);

    const Properties& properties() const { return mProperties; }

  private:
    static const pw_device_events kEvents;

    const std::function<void()> mChanged;
    Properties mProperties;
    Proxy mProxy;
};

/// A metadata object of the server.
class WatchedMetadata {
  public:
    /// Receives an entry about the server as a whole. Null key: all entries were removed. Null value: this one was.
    using Changed = std::function<void(const char* key, const char* value)>;

    WatchedMetadata(pw_registry* registry, UInt32 id, Changed changed);

  private:
    static const pw_metadata_events kEvents;

    const Changed mChanged;
    Proxy mProxy;
};

} // namespace braq::pipewire
