#include "platform/hardware/drivers/DeviceDescription.h"

#include <numeric>

namespace braq {

UInt32 DeviceDirection::channels() const {
    return std::accumulate(streams.begin(), streams.end(), UInt32{0},
                           [](UInt32 sum, const DeviceStream& stream) { return sum + stream.channels; });
}

} // namespace braq
