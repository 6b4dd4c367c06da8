#include "platform/units/DeviceFacts.h"

#include "platform/hardware/Hardware.h"

#include <algorithm>

namespace braq {
namespace {

/// The device as it is now, and its id, or that of the route to it, if the default was requested.
std::optional<Hardware::Object> findDevice(AudioDeviceID& device, bool records) {
    const Hardware& hardware = Hardware::instance();
    if (device == kAudioObjectUnknown) {
        const Direction direction = records ? Direction::record : Direction::playback;
        device = hardware.route(direction);
        device = device != kAudioObjectUnknown ? device : hardware.defaultDevice(direction);
    }
    auto object = hardware.find(device);
    const bool isThere = object && object->device != nullptr && !object->direction && object->state->isAlive;
    return isThere ? std::move(object) : std::nullopt;
}

} // namespace

std::optional<DeviceFacts> findDeviceFacts(AudioDeviceID device, bool records) {
    const auto object = findDevice(device, records);
    if (!object) {
        return std::nullopt;
    }
    const DeviceDescription& description = object->state->description;
    DeviceFacts facts;
    facts.id = device;
    facts.device = Hardware::instance().endOf(device);
    facts.sampleRate = description.nominalRate;
    facts.bufferFrames = description.bufferFrames;
    facts.playbackChannels = description.playback.channels();
    facts.recordChannels = description.record.channels();
    facts.playbackPositions = description.playback.positions;
    const AudioObjectPropertyAddress stereo{kAudioDevicePropertyPreferredChannelsForStereo,
                                            kAudioDevicePropertyScopeOutput, kAudioObjectPropertyElementMain};
    UInt32 size = sizeof(facts.stereo);
    AudioObjectGetPropertyData(device, &stereo, 0, nullptr, &size, facts.stereo.data()); // else the first two
    return facts;
}

Float64 findDeviceLatency(AudioDeviceID device, bool records) {
    const auto object = findDevice(device, records);
    if (!object) {
        return 0.0;
    }
    const DeviceDescription& description = object->state->description;
    const DeviceDirection& direction = records ? description.record : description.playback;
    UInt32 ofStreams = 0;
    for (const DeviceStream& stream : direction.streams) {
        ofStreams = std::max(ofStreams, stream.latencyFrames);
    }
    const Float64 frames = static_cast<Float64>(direction.latencyFrames) + direction.safetyOffsetFrames + ofStreams;
    return frames / description.nominalRate;
}

} // namespace braq
