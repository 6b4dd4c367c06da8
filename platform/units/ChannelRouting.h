#pragma once

#include "BRAQAudio/platform/types.h"

#include <optional>
#include <span>
#include <vector>

namespace braq {

/// Which channels of one side become which of the other. Made on control threads, then not changed.
class ChannelRouting {
  public:
    /// From a client's channels to a device's: one channel to the preferred stereo pair; more than the device has are mixed
    /// down (ITU-R BS.775 for the usual layouts); otherwise channel to channel.
    /// @param stereo numbers, from 1, of the device's left and right channel
    static ChannelRouting forPlayback(UInt32 clientChannels, UInt32 deviceChannels, std::span<const UInt32, 2> stereo);
    /// From a client's channels to those of the device that the map names, from 0; -1, and beyond the map: to none.
    static ChannelRouting forPlayback(std::span<const SInt32> map, UInt32 clientChannels, UInt32 deviceChannels);
    /// From a device's channels to a client's: channel to channel, or those that the map names.
    static ChannelRouting forRecording(UInt32 clientChannels, UInt32 deviceChannels,
                                       const std::optional<std::vector<SInt32>>& map);

    /// Whether channel i becomes channel i, each of the first side.
    bool isDirect() const noexcept { return mIsDirect; }

    /// Leaves alone the channels that nothing comes to.
    /// @param from, to planes of `frames` samples, none of them on both sides
    /// @realtime
    void route(const float* const* from, float* const* to, UInt32 frames) const noexcept;

  private:
    struct Route {
        UInt32 from;
        UInt32 to;
        float gain;
        bool isFirst = false; ///< of those that come to the channel: it is written, not added to
    };

    ChannelRouting(std::vector<Route> routes, UInt32 fromChannels, UInt32 toChannels);

    std::vector<Route> mRoutes;
    bool mIsDirect = true;
};

} // namespace braq
