#pragma once

#include "platform/samples/ChannelPositions.h"

struct AVChannelLayout;

namespace braq {

/// The channel positions of a libav layout.
/// @return empty if it does not state them; unknown for positions without a name here
ChannelPositions positionsOf(const AVChannelLayout& layout);

/// The default layout of a channel count, like `usualPositions` if that has one.
void setUsualLayout(UInt32 channels, AVChannelLayout& layout);

/// The positions of a mask in WAVE files: one bit per channel, in ascending order.
ChannelPositions positionsOfMask(UInt64 mask);

} // namespace braq
