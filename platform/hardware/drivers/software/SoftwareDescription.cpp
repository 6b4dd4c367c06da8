#include "platform/hardware/drivers/software/SoftwareDescription.h"

#include <algorithm>
#include <cmath>

namespace {

bool hasEmptyStream(const BRAQSoftwareDirection& direction) {
    return std::ranges::any_of(direction.streams, [](const auto& stream) { return stream.channels == 0; });
}

std::vector<braq::ChannelPosition> usualPositions(UInt32 channels) {
    using enum braq::ChannelPosition;
    switch (channels) {
    case 1: return {mono};
    case 2: return {frontLeft, frontRight};
    case 4: return {frontLeft, frontRight, rearLeft, rearRight};
    case 6: return {frontLeft, frontRight, frontCenter, lowFrequency, rearLeft, rearRight};
    case 8: return {frontLeft, frontRight, frontCenter, lowFrequency, rearLeft, rearRight, sideLeft, sideRight};
    default: return {};
    }
}

braq::DeviceDirection directionOf(const BRAQSoftwareDirection& options) {
    braq::DeviceDirection direction;
    UInt32 next = 1;
    for (const BRAQSoftwareStream& stream : options.streams) {
        const UInt32 starting = stream.startingChannel != 0 ? stream.startingChannel : next;
        direction.streams.push_back({stream.channels, starting, stream.latencyFrames});
        next = starting + stream.channels;
    }
    direction.positions = usualPositions(direction.channels());
    direction.latencyFrames = options.latencyFrames;
    direction.safetyOffsetFrames = options.safetyOffsetFrames;
    return direction;
}

} // namespace

const char* braq::faultOf(const BRAQSoftwareDeviceOptions& options) {
    if (options.uid.empty()) {
        return "it has no UID";
    }
    if (!std::isfinite(options.sampleRate) || options.sampleRate <= 0.0) {
        return "its rate is no rate";
    }
    if (std::ranges::find(options.sampleRates, options.sampleRate) == options.sampleRates.end()) {
        return "its rate is not one of those that it offers";
    }
    if (options.minimumBufferFrames == 0 || options.bufferFrames < options.minimumBufferFrames ||
        options.bufferFrames > options.maximumBufferFrames) {
        return "its buffer size is outside its range";
    }
    if (hasEmptyStream(options.playback) || hasEmptyStream(options.record)) {
        return "a stream has no channels";
    }
    return nullptr;
}

braq::DeviceDescription braq::descriptionOf(const BRAQSoftwareDeviceOptions& options) {
    DeviceDescription description;
    description.uid = options.uid;
    description.name = options.name;
    description.manufacturer = options.manufacturer;
    description.transportType = options.transportType;
    description.nominalRate = options.sampleRate;
    for (const Float64 rate : options.sampleRates) {
        description.rates.push_back({rate, rate});
    }
    description.bufferFrames = options.bufferFrames;
    description.minimumBufferFrames = options.minimumBufferFrames;
    description.maximumBufferFrames = options.maximumBufferFrames;
    description.playback = directionOf(options.playback);
    description.record = directionOf(options.record);
    return description;
}
