#pragma once

#include "BRAQAudio/platform/channels.h"

#include <vector>

namespace braq {

using ChannelPosition = BRAQChannelPosition;
/// Of each channel, in order.
using ChannelPositions = std::vector<ChannelPosition>;

/// What is taken for the positions of so many channels that come without any (`BRAQChannelPosition` has the table).
/// @return unknown ones for a count that has no usual positions
ChannelPositions usualPositions(UInt32 channels);

/// Whether each channel has a loudspeaker of its own: there is at least one, none is unknown, and no two are the same.
bool areKnown(const ChannelPositions& positions);

/// Whether it is a value of the enumeration.
bool isChannelPosition(ChannelPosition position);

} // namespace braq
