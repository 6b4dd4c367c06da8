#pragma once

#include "platform/samples/ChannelMatrix.h"

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace braq {

/// What a client plays and the channels that a device has for it.
struct PlaybackChannels {
    UInt32 client = 0;
    ChannelPositions clientPositions{}; ///< empty: the client has not told any
    UInt32 device = 0;
    ChannelPositions devicePositions{};
    std::array<UInt32, 2> stereo{1, 2}; ///< numbers, from 1, of the device's left and right channel
    Downmix downmix = Downmix::scaled;
};

/// Which channels of one side become which of the other. Made on control threads, then not changed.
class ChannelRouting {
  public:
    /// From a client's channels to a device's: one channel to the preferred stereo pair, several to those of their positions, and
    /// what has none there is mixed into others as `ChannelMatrix` does.
    ///
    /// Positions that the client has not told are the usual ones of so many channels. A guess mixes nothing that has room: then,
    /// and where the device does not tell its positions, it is channel to channel if the device has as many.
    static ChannelRouting forPlayback(const PlaybackChannels& channels);
    /// From a client's channels to those of the device that the map names, from 0; -1, and beyond the map: to none.
    static ChannelRouting forPlayback(std::span<const SInt32> map, UInt32 clientChannels, UInt32 deviceChannels);
    /// From a device's channels to a client's: channel to channel, whatever their positions, or those that the map names.
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
    static std::vector<Route> monoRoutes(const PlaybackChannels& channels);
    static std::vector<Route> routesByPosition(const PlaybackChannels& channels);

    std::vector<Route> mRoutes;
    bool mIsDirect = true;
};

} // namespace braq
