#pragma once

#include "BRAQAudio/platform/types.h"

namespace braq::pipewire {

/// The rate that this process requests for a node. It is a property of the streams, so the server drops it together
/// with the last of them, however the process ends.
struct RateWish {
    UInt32 forced = 0;    ///< in any case, even if others use the node; 0: none
    UInt32 preferred = 0; ///< only if nobody else uses the node; 0: none
    bool operator==(const RateWish&) const = default;

    /// 0: any rate.
    UInt32 rate() const { return forced != 0 ? forced : preferred; }
};

} // namespace braq::pipewire
