#pragma once

#include "BRAQAudio/platform/types.h"

namespace braq::pipewire {

/// The rate that this process asks the graph of a node for. It goes with the streams, so that the server forgets it with the
/// last of them, however the process ends.
struct RateWish {
    UInt32 forced = 0;    ///< to be had at any cost, also to others; 0: none
    UInt32 preferred = 0; ///< to be had where nobody else is using the node; 0: none
    bool operator==(const RateWish&) const = default;

    /// 0: any will do.
    UInt32 rate() const { return forced != 0 ? forced : preferred; }
};

} // namespace braq::pipewire
