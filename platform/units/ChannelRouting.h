#pragma once

#include "platform/samples/ChannelMatrix.h"

#include <array>
#include <optional>
#include <span>
#include <vector>

namespace braq {

/// What a client plays and the device's channels for it.
struct PlaybackChannels {
    UInt32 client = 0;
    ChannelPositions clientPositions{}; ///< empty: the client has not set any
    UInt32 device = 0;
    ChannelPositions devicePositions{};
    std::array<UInt32, 2> stereo{1, 2}; ///< channel numbers, from 1, of the device's left and right
    Downmix downmix = Downmix::scaled;
};

/// Maps the channels of one side to those of the other. Created on control threads, then constant.
class ChannelRouting {
  public:
    /// From a client's channels to a device's: a single channel to the preferred stereo pair, several by their
    /// positions; channels without a counterpart are mixed into others by `ChannelMatrix`.
    ///
    /// If the client has not set positions, the defaults of its channel count are used. Such a guess mixes nothing that
    /// has room: then, and if the device does not state its positions, channels are mapped by number if the device has
    /// as many.
    static ChannelRouting forPlayback(const PlaybackChannels& channels);
    /// From a client's channels to the device channels in the map, from 0; to none for -1 and beyond the map.
    static ChannelRouting forPlayback(std::span<const SInt32> map, UInt32 clientChannels, UInt32 deviceChannels);
    /// From a device's channels to a client's: by number, whatever their positions, or by the map.
    static ChannelRouting forRecording(UInt32 clientChannels, UInt32 deviceChannels,
                                       const std::optional<std::vector<SInt32>>& map);

    /// Whether channel i maps to channel i, for each channel of the first side.
    bool isDirect() const noexcept { return mIsDirect; }

    /// Does not touch output channels without an input.
    /// @param from, to planes of `frames` samples, none of them on both sides
    /// @realtime
    void route(const float* const* from, float* const* to, UInt32 frames) const noexcept;

  private:
    struct Route {
        UInt32 from;
        UInt32 to;
        float gain;
        bool isFirst = false; ///< of the inputs of its output: it is written, not added
    };

    ChannelRouting(std::vector<Route> routes, UInt32 fromChannels, UInt32 toChannels);
    static std::vector<Route> monoRoutes(const PlaybackChannels& channels);
    static std::vector<Route> routesByPosition(const PlaybackChannels& channels);

    std::vector<Route> mRoutes;
    bool mIsDirect = true;
};

} // namespace braq
