#pragma once

#include "BRAQAudio/platform/types.h"

#include <spa/param/latency.h>

#include <map>
#include <string>
#include <vector>

struct spa_dict;
struct spa_pod;

namespace braq::pipewire {

/// Properties of an object of the server.
class Properties {
  public:
    /// Replaces all entries with those of `dictionary`, which may be null.
    void assign(const spa_dict* dictionary);
    void set(const std::string& key, std::string value) { mEntries[key] = std::move(value); }

    /// Empty if there is none.
    std::string get(const std::string& key) const;

  private:
    std::map<std::string, std::string> mEntries;
};

/// Channel positions of one direction of a node, in PipeWire's numbers; one per channel.
using ChannelLayout = std::vector<UInt32>;

/// The sources for the channels of one direction of a node, in order of precedence.
struct ChannelSources {
    ChannelLayout configured; ///< ports as the session manager has configured them
    ChannelLayout current;    ///< current format of the device
    ChannelLayout possible;   ///< the first format that the device offers
    bool operator==(const ChannelSources&) const = default;
};

/// Everything known about a node that may be a device.
struct NodeFacts {
    Properties properties;
    ChannelSources sinkChannels;
    ChannelSources sourceChannels;
    bool isRunning = false;
    // Latencies behind the ports of each kind. A monitor has its own ports.
    spa_latency_info sinkLatency{};
    spa_latency_info sourceLatency{};
    spa_latency_info monitorLatency{};

    bool isSink() const;
    bool isSource() const;
    bool isDuplex() const;
    /// Channels of the node as a sink or a source: from the first source that knows them, else from the properties.
    ChannelLayout sinkLayout() const { return layout(sinkChannels); }
    ChannelLayout sourceLayout() const { return layout(sourceChannels); }

    /// Stores a parameter of the node.
    /// @param index of the parameter among those with the same id
    /// @param parameter null: there is none
    void take(UInt32 id, UInt32 index, const spa_pod* parameter);

  private:
    ChannelLayout layout(const ChannelSources& sources) const;
};

/// Whether a node with that media class is a device: a sink, a source or both.
bool isDeviceClass(const std::string& mediaClass);

} // namespace braq::pipewire
