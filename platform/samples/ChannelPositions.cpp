#include "platform/samples/ChannelPositions.h"

#include <algorithm>
#include <set>

namespace braq {

ChannelPositions usualPositions(UInt32 channels) {
    using enum BRAQChannelPosition;
    switch (channels) {
    case 1: return {mono};
    case 2: return {frontLeft, frontRight};
    case 3: return {frontLeft, frontRight, lowFrequency};
    case 4: return {frontLeft, frontRight, rearLeft, rearRight};
    case 5: return {frontLeft, frontRight, frontCenter, rearLeft, rearRight};
    case 6: return {frontLeft, frontRight, frontCenter, lowFrequency, rearLeft, rearRight};
    case 7: return {frontLeft, frontRight, frontCenter, lowFrequency, rearCenter, sideLeft, sideRight};
    case 8: return {frontLeft, frontRight, frontCenter, lowFrequency, rearLeft, rearRight, sideLeft, sideRight};
    default: return ChannelPositions(channels, unknown);
    }
}

bool areKnown(const ChannelPositions& positions) {
    const std::set<ChannelPosition> different(positions.begin(), positions.end());
    return !positions.empty() && different.size() == positions.size() && !different.contains(ChannelPosition::unknown);
}

bool isChannelPosition(ChannelPosition position) {
    return position >= ChannelPosition::unknown && position <= ChannelPosition::frontRightOfCenter;
}

} // namespace braq
