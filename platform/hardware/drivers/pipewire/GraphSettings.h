#pragma once

#include "BRAQAudio/platform/types.h"

#include <string>
#include <vector>

namespace braq::pipewire {

/// The server's settings of the graph, which all devices are part of.
struct GraphSettings {
    UInt32 rate = 48000;
    UInt32 forcedRate = 0;            ///< 0: the graph runs at `rate` or at what its streams request
    std::vector<UInt32> allowedRates; ///< empty: only `rate`
    UInt32 quantum = 1024;            ///< frames per cycle
    UInt32 forcedQuantum = 0;         ///< 0: `quantum` or what the streams request
    UInt32 smallestQuantum = 32;
    UInt32 largestQuantum = 2048;
    bool operator==(const GraphSettings&) const = default;

    /// Applies an entry of the server's settings. Unknown entries and values that are not numbers change nothing.
    /// @param value null: the entry was removed
    void set(const std::string& key, const char* value);

    UInt32 currentRate() const { return forcedRate != 0 ? forcedRate : rate; }
    UInt32 currentQuantum() const { return forcedQuantum != 0 ? forcedQuantum : quantum; }
    /// The rates that the graph can be requested to run at, ascending.
    std::vector<UInt32> rates() const;
};

/// The node named by an entry of the server's defaults, in the form `{ "name": "…" }`.
/// @param value null: none
/// @return empty: none
std::string nodeNamedBy(const char* value);

} // namespace braq::pipewire
