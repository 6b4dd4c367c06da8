#pragma once

#include "BRAQAudio/platform/types.h"

#include <string>
#include <vector>

namespace braq::pipewire {

/// What the server's settings say of the graph, which all devices are part of.
struct GraphSettings {
    UInt32 rate = 48000;
    UInt32 forcedRate = 0;            ///< 0: the graph runs at `rate` or what its streams ask for
    std::vector<UInt32> allowedRates; ///< none: only `rate`
    UInt32 quantum = 1024;            ///< frames of a cycle
    UInt32 forcedQuantum = 0;         ///< 0: `quantum` or what the streams ask for
    UInt32 smallestQuantum = 32;
    UInt32 largestQuantum = 2048;
    bool operator==(const GraphSettings&) const = default;

    /// Takes an entry of the server's settings; one that is unknown, or no number, changes nothing.
    /// @param value null: the entry was removed
    void set(const std::string& key, const char* value);

    UInt32 currentRate() const { return forcedRate != 0 ? forcedRate : rate; }
    UInt32 currentQuantum() const { return forcedQuantum != 0 ? forcedQuantum : quantum; }
    /// What the graph can be asked to run at, ascending.
    std::vector<UInt32> rates() const;
};

/// The node that an entry of the server's defaults names, as `{ "name": "…" }`.
/// @param value null: none
/// @return empty: none
std::string nodeNamedBy(const char* value);

} // namespace braq::pipewire
