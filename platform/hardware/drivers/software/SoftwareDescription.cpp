#include "platform/hardware/drivers/software/SoftwareDescription.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace braq {
namespace {

bool hasEmptyStream(const BRAQSoftwareDirection& direction) {
    return std::ranges::any_of(direction.streams, [](const auto& stream) { return stream.channels == 0; });
}

// Three, five and seven channels are ambiguous, so nothing must be moved or mixed there.
ChannelPositions positionsByCount(UInt32 channels) {
    constexpr std::array counts{1U, 2U, 4U, 6U, 8U};
    const bool isTelling = std::ranges::find(counts, channels) != counts.end();
    return isTelling ? usualPositions(channels) : ChannelPositions();
}

bool hasWrongPositions(const BRAQSoftwareDirection& direction) {
    UInt64 channels = 0;
    for (const BRAQSoftwareStream& stream : direction.streams) {
        channels += stream.channels;
    }
    return !direction.positions.empty() &&
           (direction.positions.size() != channels || !std::ranges::all_of(direction.positions, isChannelPosition));
}

DeviceDirection directionOf(const BRAQSoftwareDirection& options) {
    DeviceDirection direction;
    UInt32 next = 1;
    for (const BRAQSoftwareStream& stream : options.streams) {
        const UInt32 starting = stream.startingChannel != 0 ? stream.startingChannel : next;
        direction.streams.push_back({stream.channels, starting, stream.latencyFrames});
        next = starting + stream.channels;
    }
    direction.positions = options.positions.empty() ? positionsByCount(direction.channels()) : options.positions;
    direction.latencyFrames = options.latencyFrames;
    direction.safetyOffsetFrames = options.safetyOffsetFrames;
    return direction;
}

} // namespace

const char* faultOf(const BRAQSoftwareDeviceOptions& options) {
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
    if (hasWrongPositions(options.playback) || hasWrongPositions(options.record)) {
        return "it has not one position for each channel";
    }
    return nullptr;
}

DeviceDescription descriptionOf(const BRAQSoftwareDeviceOptions& options) {
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

} // namespace braq
