#pragma once

#include "platform/samples/ChannelPositions.h"

struct AVChannelLayout;

namespace braq {

/// What libav says of the positions of channels.
/// @return none when it does not know them; unknown ones among them for those that have no name here
ChannelPositions positionsOf(const AVChannelLayout& layout);

/// The usual layout of so many channels, as `usualPositions` where that has one.
void setUsualLayout(UInt32 channels, AVChannelLayout& layout);

/// The positions of a mask as WAVE files have it: one bit a channel, in ascending order.
ChannelPositions positionsOfMask(UInt64 mask);

} // namespace braq
