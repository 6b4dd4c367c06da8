#pragma once

#include "BRAQAudio/platform/channels.h"

#include <vector>

namespace braq {

using ChannelPosition = BRAQChannelPosition;
/// Positions of the channels, in order.
using ChannelPositions = std::vector<ChannelPosition>;

/// The default positions of a channel count (`BRAQChannelPosition` has the table).
/// @return unknown positions for a count without defaults
ChannelPositions usualPositions(UInt32 channels);

/// Whether each channel has its own loudspeaker: there is at least one, none is unknown, and all differ.
bool areKnown(const ChannelPositions& positions);

/// Whether it is a value of the enumeration.
bool isChannelPosition(ChannelPosition position);

} // namespace braq
