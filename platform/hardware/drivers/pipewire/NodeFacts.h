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
    /// Takes the entries of `dictionary`, which may be null, in place of those before.
    void assign(const spa_dict* dictionary);
    void set(const std::string& key, std::string value) { mEntries[key] = std::move(value); }

    /// Empty: there is none.
    std::string get(const std::string& key) const;

  private:
    std::map<std::string, std::string> mEntries;
};

/// Positions of the channels of one direction of a node, as PipeWire numbers them; as many as there are channels.
using ChannelLayout = std::vector<UInt32>;

/// What the parameters of a node say of the channels of one direction, and which of them counts.
struct ChannelSources {
    ChannelLayout configured; ///< ports as the session manager has set them up
    ChannelLayout current;    ///< format that the device runs at
    ChannelLayout possible;   ///< format that it offers first
    bool operator==(const ChannelSources&) const = default;
};

/// What there is to know about a node that may be a device.
struct NodeFacts {
    Properties properties;
    ChannelSources sinkChannels;
    ChannelSources sourceChannels;
    bool isRunning = false;
    // Of what lies behind the ports of each kind. A monitor has ports of its own.
    spa_latency_info sinkLatency{};
    spa_latency_info sourceLatency{};
    spa_latency_info monitorLatency{};

    bool isSink() const;
    bool isSource() const;
    bool isDuplex() const;
    /// Channels of the node as a sink or a source: of the first of the sources that knows, else of the properties.
    ChannelLayout sinkLayout() const { return layout(sinkChannels); }
    ChannelLayout sourceLayout() const { return layout(sourceChannels); }

    /// Takes a parameter of the node.
    /// @param index of the parameter among those of the same id
    /// @param parameter null: there is none
    void take(UInt32 id, UInt32 index, const spa_pod* parameter);

  private:
    ChannelLayout layout(const ChannelSources& sources) const;
};

/// Whether a node of that media class is a device: a sink, a source or both.
bool isDeviceClass(const std::string& mediaClass);

} // namespace braq::pipewire
