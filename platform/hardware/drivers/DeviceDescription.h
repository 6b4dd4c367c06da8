#pragma once

#include "BRAQAudio/platform/types.h"
#include "platform/samples/ChannelPositions.h"

#include <string>
#include <vector>

namespace braq {

/// Channels of a device that its hardware moves together.
struct DeviceStream {
    UInt32 channels = 0;
    UInt32 startingChannel = 1; ///< number of the first one among the channels of the direction, from 1
    UInt32 latencyFrames = 0;   ///< beyond that of the device
    bool operator==(const DeviceStream&) const = default;
};

/// One direction of a device.
struct DeviceDirection {
    std::vector<DeviceStream> streams; ///< none: the device has not got this direction
    ChannelPositions positions;        ///< of each channel in order; those beyond its end are unknown
    UInt32 latencyFrames = 0;
    UInt32 safetyOffsetFrames = 0;
    Float32 mixerLevel = 1.0F; ///< gain that the user's mixer gives this process, of the loudest channel; 0: muted
    bool operator==(const DeviceDirection&) const = default;

    /// All channels of all streams.
    UInt32 channels() const;
};

/// Everything that there is to know about a device at one time. A driver publishes a new one when something changes.
struct DeviceDescription {
    std::string uid; ///< names the device for good: the same one when it is plugged in again
    std::string name;
    std::string manufacturer;
    UInt32 transportType = 0;           ///< kAudioDeviceTransportType…
    Float64 nominalRate = 0.0;          ///< frames a second
    std::vector<AudioValueRange> rates; ///< that may be asked for
    UInt32 bufferFrames = 0;            ///< of one cycle
    UInt32 minimumBufferFrames = 0;
    UInt32 maximumBufferFrames = 0;  ///< of one cycle; longer ones are cut into slices of this size
    bool isRunningSomewhere = false; ///< whether any process uses it
    DeviceDirection playback;
    DeviceDirection record;
    bool operator==(const DeviceDescription&) const = default;
};

} // namespace braq
