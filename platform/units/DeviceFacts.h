#pragma once

#include "BRAQAudio/platform/hardware.h"
#include "platform/samples/ChannelPositions.h"

#include <array>
#include <optional>

namespace braq {

/// The device that a unit plays on or records from, as it was when the unit was prepared for it.
struct DeviceFacts {
    AudioDeviceID id = kAudioObjectUnknown;     ///< of the device, or of the route that leads to it
    AudioDeviceID device = kAudioObjectUnknown; ///< of the device itself; 0: the route leads nowhere now
    Float64 sampleRate = 0.0;
    UInt32 bufferFrames = 0;
    UInt32 playbackChannels = 0;
    UInt32 recordChannels = 0;
    ChannelPositions playbackPositions{}; ///< as far as they are known
    std::array<UInt32, 2> stereo{1, 2};   ///< numbers of the preferred playback channels
    bool operator==(const DeviceFacts&) const = default;
};

/// @param device 0: the route to the default device, or the default device if its system has no routes
/// @param records which default
/// @return nothing if there is no such device, or it was removed. Any thread but an I/O thread.
std::optional<DeviceFacts> findDeviceFacts(AudioDeviceID device, bool records);

/// Seconds from the host time of a frame in a device's cycle to when it is heard; for a recorded frame, from when it
/// reached the device to its host time. The sum of latency, safety offset and the largest latency of a stream, as the
/// device states them now. Not part of the facts, because a change does not require the unit to be prepared again.
/// @param device 0: the default device
/// @param records the direction, and which default
/// @return 0 if there is no such device, or it was removed. Any thread but an I/O thread.
Float64 findDeviceLatency(AudioDeviceID device, bool records);

} // namespace braq
