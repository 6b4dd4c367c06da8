#include "platform/units/ChannelRouting.h"

#include <algorithm>
#include <cstddef>

namespace braq {
namespace {

void copyPlane(const float* from, float* to, UInt32 frames, float gain) noexcept {
    if (gain == 1.0F) {
        std::copy_n(from, frames, to);
        return;
    }
    std::transform(from, from + frames, to, [gain](float sample) { return gain * sample; });
}

void addPlane(const float* from, float* to, UInt32 frames, float gain) noexcept {
    for (UInt32 frame = 0; frame < frames; ++frame) {
        to[frame] += gain * from[frame];
    }
}

} // namespace

ChannelRouting::ChannelRouting(std::vector<Route> routes, UInt32 fromChannels, UInt32 toChannels)
    : mRoutes(std::move(routes)) {
    std::vector<bool> isReached(toChannels);
    for (Route& route : mRoutes) {
        route.isFirst = !isReached[route.to];
        isReached[route.to] = true;
        mIsDirect = mIsDirect && route.from == route.to && route.gain == 1.0F;
    }
    mIsDirect = mIsDirect && mRoutes.size() == fromChannels && fromChannels <= toChannels;
}

ChannelRouting ChannelRouting::forPlayback(const PlaybackChannels& channels) {
    const bool isMono = channels.client == 1 && channels.device > 1;
    return {isMono ? monoRoutes(channels) : routesByPosition(channels), channels.client, channels.device};
}

std::vector<ChannelRouting::Route> ChannelRouting::monoRoutes(const PlaybackChannels& channels) {
    std::vector<Route> routes;
    for (const UInt32 number : channels.stereo) {
        const UInt32 channel = number - 1;
        const bool isThere = std::ranges::any_of(routes, [channel](const Route& one) { return one.to == channel; });
        if (number >= 1 && number <= channels.device && !isThere) {
            routes.push_back({0, channel, 1.0F});
        }
    }
    return routes;
}

std::vector<ChannelRouting::Route> ChannelRouting::routesByPosition(const PlaybackChannels& channels) {
    const bool hasRoom = channels.client <= channels.device;
    const bool isTold = channels.clientPositions.size() == channels.client && areKnown(channels.clientPositions);
    ChannelPositions devicePositions = channels.devicePositions;
    devicePositions.resize(channels.device, ChannelPosition::unknown);
    if (!hasRoom && !areKnown(devicePositions)) {
        devicePositions = usualPositions(channels.device);
    }
    const ChannelMatrix matrix(isTold ? channels.clientPositions : usualPositions(channels.client), devicePositions,
                               channels.downmix);
    std::vector<Route> routes;
    if (hasRoom && (matrix.isByNumber() || !(isTold || matrix.isPermutation()))) {
        for (UInt32 channel = 0; channel < channels.client; ++channel) {
            routes.push_back({channel, channel, 1.0F});
        }
        return routes;
    }
    for (UInt32 to = 0; to < channels.device; ++to) {
        for (UInt32 from = 0; from < channels.client; ++from) {
            if (const float gain = matrix.gain(from, to); gain != 0.0F) {
                routes.push_back({from, to, gain});
            }
        }
    }
    return routes;
}

ChannelRouting ChannelRouting::forPlayback(std::span<const SInt32> map, UInt32 clientChannels, UInt32 deviceChannels) {
    std::vector<Route> routes;
    for (std::size_t from = 0; from < std::min<std::size_t>(map.size(), clientChannels); ++from) {
        if (map[from] >= 0 && static_cast<UInt32>(map[from]) < deviceChannels) {
            routes.push_back({static_cast<UInt32>(from), static_cast<UInt32>(map[from]), 1.0F});
        }
    }
    return {std::move(routes), clientChannels, deviceChannels};
}

ChannelRouting ChannelRouting::forRecording(UInt32 clientChannels, UInt32 deviceChannels,
                                            const std::optional<std::vector<SInt32>>& map) {
    std::vector<Route> routes;
    for (UInt32 to = 0; to < clientChannels; ++to) {
        const SInt32 from = !map ? static_cast<SInt32>(to) : to < map->size() ? (*map)[to] : -1;
        if (from >= 0 && static_cast<UInt32>(from) < deviceChannels) {
            routes.push_back({static_cast<UInt32>(from), to, 1.0F});
        }
    }
    return {std::move(routes), deviceChannels, clientChannels};
}

void ChannelRouting::route(const float* const* from, float* const* to, UInt32 frames) const noexcept {
    for (const Route& route : mRoutes) {
        const auto apply = route.isFirst ? copyPlane : addPlane;
        apply(from[route.from], to[route.to], frames, route.gain);
    }
}

} // namespace braq
