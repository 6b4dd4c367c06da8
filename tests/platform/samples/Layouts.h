#pragma once

#include "platform/samples/ChannelPositions.h"

#include <algorithm>
#include <string>
#include <vector>

// The layouts that files and devices have.
namespace braq::tests {

using enum BRAQChannelPosition;

struct Layout {
    std::string name;
    ChannelPositions positions;
    UInt32 channels() const { return static_cast<UInt32>(positions.size()); }
    bool has(ChannelPosition position) const { return std::ranges::find(positions, position) != positions.end(); }
};

inline const ChannelPositions stereo{frontLeft, frontRight};
inline const ChannelPositions surround51{frontLeft, frontRight, frontCenter, lowFrequency, rearLeft, rearRight};
inline const ChannelPositions surround51Side{frontLeft, frontRight, frontCenter, lowFrequency, sideLeft, sideRight};
inline const ChannelPositions surround71{frontLeft, frontRight, frontCenter, lowFrequency,
                                         rearLeft,  rearRight,  sideLeft,    sideRight};
inline const ChannelPositions surround51OfAlsa{frontLeft, frontRight, rearLeft, rearRight, frontCenter, lowFrequency};
inline const ChannelPositions surround71OfAlsa{frontLeft,   frontRight,   rearLeft, rearRight,
                                               frontCenter, lowFrequency, sideLeft, sideRight};

inline const std::vector<Layout>& usualLayouts() {
    static const std::vector<Layout> layouts{
        {"mono", {mono}},
        {"stereo", stereo},
        {"2.1", {frontLeft, frontRight, lowFrequency}},
        {"3.0", {frontLeft, frontRight, frontCenter}},
        {"3.1", {frontLeft, frontRight, frontCenter, lowFrequency}},
        {"quad", {frontLeft, frontRight, rearLeft, rearRight}},
        {"quad (side)", {frontLeft, frontRight, sideLeft, sideRight}},
        {"4.0", {frontLeft, frontRight, frontCenter, rearCenter}},
        {"4.1 of ALSA", {frontLeft, frontRight, rearLeft, rearRight, lowFrequency}},
        {"5.0", {frontLeft, frontRight, frontCenter, rearLeft, rearRight}},
        {"5.0 (side)", {frontLeft, frontRight, frontCenter, sideLeft, sideRight}},
        {"5.0 of ALSA", {frontLeft, frontRight, rearLeft, rearRight, frontCenter}},
        {"5.1", surround51},
        {"5.1 (side)", surround51Side},
        {"5.1 of ALSA", surround51OfAlsa},
        {"6.1", {frontLeft, frontRight, frontCenter, lowFrequency, rearCenter, sideLeft, sideRight}},
        {"7.1", surround71},
        {"7.1 of ALSA", surround71OfAlsa},
        {"7.1 (wide)",
         {frontLeft, frontRight, frontCenter, lowFrequency, rearLeft, rearRight, frontLeftOfCenter,
          frontRightOfCenter}},
    };
    return layouts;
}

/// -1 on the left, 1 on the right, 0 in the middle.
inline int sideOf(ChannelPosition position) {
    switch (position) {
    case frontLeft:
    case rearLeft:
    case sideLeft:
    case frontLeftOfCenter: return -1;
    case frontRight:
    case rearRight:
    case sideRight:
    case frontRightOfCenter: return 1;
    default: return 0;
    }
}

/// That of a pair of loudspeakers which stands for the other: the side for the rear.
inline ChannelPosition partnerOf(ChannelPosition position) {
    switch (position) {
    case rearLeft: return sideLeft;
    case rearRight: return sideRight;
    case sideLeft: return rearLeft;
    case sideRight: return rearRight;
    default: return unknown;
    }
}

/// Where a channel of one layout is heard from, alone and as it is, in another; unknown: nowhere so.
inline ChannelPosition ownSpeaker(ChannelPosition position, const Layout& from, const Layout& to) {
    const auto isFrontCenter = [](const Layout& layout) { return layout.has(mono); };
    if (to.has(position)) {
        return position;
    }
    if (position == frontCenter && isFrontCenter(to)) {
        return mono;
    }
    const ChannelPosition partner = partnerOf(position);
    return to.has(partner) && !from.has(partner) ? partner : unknown;
}

} // namespace braq::tests
