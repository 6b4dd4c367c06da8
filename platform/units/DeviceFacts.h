#pragma once

#include "BRAQAudio/platform/hardware.h"

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
    std::array<UInt32, 2> stereo{1, 2}; ///< numbers of the preferred playback channels
    bool operator==(const DeviceFacts&) const = default;
};

/// @param device 0: the default one
/// @param records which default
/// @return nothing when there is no such device, or it is gone. Any thread but an I/O thread.
std::optional<DeviceFacts> findDeviceFacts(AudioDeviceID device, bool records);

} // namespace braq
