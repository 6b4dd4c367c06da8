#pragma once

#include "BRAQAudio/platform/hardware.h"
#include "platform/samples/ChannelPositions.h"

#include <array>
#include <optional>

namespace braq {

/// The device that a unit plays on or records from, as it was when the unit was made ready for it.
struct DeviceFacts {
    AudioDeviceID id = kAudioObjectUnknown;
    Float64 sampleRate = 0.0;
    UInt32 bufferFrames = 0;
    UInt32 playbackChannels = 0;
    UInt32 recordChannels = 0;
    ChannelPositions playbackPositions{}; ///< as far as they are known
    std::array<UInt32, 2> stereo{1, 2};   ///< numbers of the preferred playback channels
    bool operator==(const DeviceFacts&) const = default;
};

/// @param device 0: the default one
/// @param records which default
/// @return nothing when there is no such device, or it is gone. Any thread but an I/O thread.
std::optional<DeviceFacts> findDeviceFacts(AudioDeviceID device, bool records);

/// Seconds from the host time of a frame in a device's cycle to when it is heard, or, for a frame that is recorded, from when
/// it reached the device to its host time: latency, safety offset and the largest latency of a stream, as the device has them
/// now. It is not part of the facts, because a unit that was made ready need not be made ready again when it changes.
/// @param device 0: the default one
/// @param records which direction, and which default
/// @return 0 when there is no such device, or it is gone. Any thread but an I/O thread.
Float64 findDeviceLatency(AudioDeviceID device, bool records);

} // namespace braq
