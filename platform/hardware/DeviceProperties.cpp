#include "platform/hardware/Properties.h"

#include "platform/hardware/Hardware.h"

#include <algorithm>
#include <array>

namespace braq {
namespace {

std::optional<Direction> directionOf(UInt32 scope) {
    switch (scope) {
    case kAudioDevicePropertyScopeInput: return Direction::record;
    case kAudioDevicePropertyScopeOutput: return Direction::playback;
    default: return std::nullopt;
    }
}

UInt32 channelAt(const DeviceDirection& direction, ChannelPosition position, UInt32 otherwise) {
    const auto found = std::ranges::find(direction.positions, position);
    return found == direction.positions.end() ? otherwise
                                              : static_cast<UInt32>(found - direction.positions.begin()) + 1;
}

std::vector<UInt32> preferredStereoChannels(const DeviceDirection& direction) {
    const UInt32 second = direction.channels() > 1 ? 2 : 1;
    return {channelAt(direction, ChannelPosition::frontLeft, 1),
            channelAt(direction, ChannelPosition::frontRight, second)};
}

std::vector<UInt32> channelsOfStreams(const DeviceDirection& direction) {
    std::vector<UInt32> channels;
    std::ranges::transform(direction.streams, std::back_inserter(channels), &DeviceStream::channels);
    return channels;
}

/// Properties that each direction has separately.
std::optional<PropertyValue> directionProperty(const DeviceState& state, Direction which, UInt32 selector) {
    const DeviceDirection& direction = state.direction(which);
    switch (selector) {
    case kAudioDevicePropertyStreamConfiguration: return PropertyValue::bufferList(channelsOfStreams(direction));
    case kAudioDevicePropertyStreams: return PropertyValue::list(state.streams(which));
    case kAudioDevicePropertyLatency: return PropertyValue::scalar(direction.latencyFrames);
    case kAudioDevicePropertySafetyOffset: return PropertyValue::scalar(direction.safetyOffsetFrames);
    case kBRAQAudioDevicePropertyMixerLevel:
        return direction.channels() == 0 ? std::nullopt : std::optional(PropertyValue::scalar(direction.mixerLevel));
    case kAudioDevicePropertyPreferredChannelsForStereo:
        return direction.channels() == 0 ? std::nullopt
                                         : std::optional(PropertyValue::list(preferredStereoChannels(direction)));
    default: return std::nullopt;
    }
}

/// Whether it runs in this process, also by way of a route.
bool isRunning(const Device& device) {
    const auto running = Hardware::instance().findRunning(device.id);
    return running != nullptr && running->procedures.isRunning();
}

/// Properties of the whole device, which are also in each direction's scope.
std::optional<PropertyValue> wholeProperty(const Device& device, const DeviceState& state, UInt32 selector) {
    const DeviceDescription& description = state.description;
    const auto flag = [](bool is) { return PropertyValue::scalar(UInt32{is}); };
    switch (selector) {
    case kAudioDevicePropertyDeviceUID: return PropertyValue::text(description.uid);
    case kAudioObjectPropertyName: return PropertyValue::text(description.name);
    case kAudioObjectPropertyManufacturer: return PropertyValue::text(description.manufacturer);
    case kAudioDevicePropertyTransportType: return PropertyValue::scalar(description.transportType);
    case kAudioDevicePropertyNominalSampleRate: return PropertyValue::scalar(description.nominalRate);
    case kAudioDevicePropertyAvailableNominalSampleRates: return PropertyValue::list(description.rates);
    case kAudioDevicePropertyBufferFrameSize: return PropertyValue::scalar(description.bufferFrames);
    case kAudioDevicePropertyBufferFrameSizeRange:
        return PropertyValue::scalar(AudioValueRange{static_cast<Float64>(description.minimumBufferFrames),
                                                     static_cast<Float64>(description.maximumBufferFrames)});
    case kAudioDevicePropertyDeviceIsAlive: return flag(state.isAlive);
    case kAudioDevicePropertyDeviceIsRunning: return flag(isRunning(device));
    case kAudioDevicePropertyDeviceIsRunningSomewhere: return flag(description.isRunningSomewhere || isRunning(device));
    default: return std::nullopt;
    }
}

} // namespace

std::optional<PropertyValue> deviceProperty(const Device& device, const DeviceState& state,
                                            const AudioObjectPropertyAddress& address) {
    const auto direction = directionOf(address.mScope);
    if (!direction && address.mScope != kAudioObjectPropertyScopeGlobal) {
        return std::nullopt;
    }
    auto value = direction ? directionProperty(state, *direction, address.mSelector) : std::nullopt;
    return value ? std::move(value) : wholeProperty(device, state, address.mSelector);
}

} // namespace braq
