#include "platform/files/libav/LibavChannels.h"

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace braq {
namespace {

ChannelPosition positionOf(AVChannel channel) {
    switch (channel) {
    case AV_CHAN_FRONT_LEFT: return ChannelPosition::frontLeft;
    case AV_CHAN_FRONT_RIGHT: return ChannelPosition::frontRight;
    case AV_CHAN_FRONT_CENTER: return ChannelPosition::frontCenter;
    case AV_CHAN_LOW_FREQUENCY: return ChannelPosition::lowFrequency;
    case AV_CHAN_BACK_LEFT: return ChannelPosition::rearLeft;
    case AV_CHAN_BACK_RIGHT: return ChannelPosition::rearRight;
    case AV_CHAN_BACK_CENTER: return ChannelPosition::rearCenter;
    case AV_CHAN_SIDE_LEFT: return ChannelPosition::sideLeft;
    case AV_CHAN_SIDE_RIGHT: return ChannelPosition::sideRight;
    case AV_CHAN_FRONT_LEFT_OF_CENTER: return ChannelPosition::frontLeftOfCenter;
    case AV_CHAN_FRONT_RIGHT_OF_CENTER: return ChannelPosition::frontRightOfCenter;
    default: return ChannelPosition::unknown;
    }
}

} // namespace

ChannelPositions positionsOf(const AVChannelLayout& layout) {
    ChannelPositions positions;
    if (layout.order == AV_CHANNEL_ORDER_NATIVE || layout.order == AV_CHANNEL_ORDER_CUSTOM) {
        for (int channel = 0; channel < layout.nb_channels; ++channel) {
            positions.push_back(
                positionOf(av_channel_layout_channel_from_index(&layout, static_cast<unsigned>(channel))));
        }
    }
    return positions;
}

// Same as libav's own, except for four channels, and for 24: what libav states for those in an AIFF file it cannot read.
void setUsualLayout(UInt32 channels, AVChannelLayout& layout) {
    constexpr UInt32 quadraphonic = 4;
    if (channels == quadraphonic) {
        av_channel_layout_from_mask(&layout, AV_CH_LAYOUT_QUAD);
        return;
    }
    constexpr UInt32 unreadable = 24;
    if (channels == unreadable) {
        layout.order = AV_CHANNEL_ORDER_UNSPEC;
        layout.nb_channels = static_cast<int>(channels);
        return;
    }
    av_channel_layout_default(&layout, static_cast<int>(channels));
}

ChannelPositions positionsOfMask(UInt64 mask) {
    AVChannelLayout layout{};
    return av_channel_layout_from_mask(&layout, mask) == 0 ? positionsOf(layout) : ChannelPositions();
}

} // namespace braq
