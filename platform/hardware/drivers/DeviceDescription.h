#pragma once

#include "BRAQAudio/platform/types.h"
#include "platform/samples/ChannelPositions.h"

#include <optional>
#include <string>
#include <vector>

namespace braq {

/// Channels of a device that its hardware transfers together.
struct DeviceStream {
    UInt32 channels = 0;
    UInt32 startingChannel = 1; ///< number of its first channel in this direction, from 1
    UInt32 latencyFrames = 0;   ///< in addition to the device's
    bool operator==(const DeviceStream&) const = default;
};

/// One direction of a device.
struct DeviceDirection {
    std::vector<DeviceStream> streams; ///< empty: the device does not have this direction
    ChannelPositions positions;        ///< in channel order; channels beyond its end are unknown
    UInt32 latencyFrames = 0;
    UInt32 safetyOffsetFrames = 0;
    Float32 mixerLevel = 1.0F; ///< gain of the user's mixer for this process, of the loudest channel; 0: muted
    bool operator==(const DeviceDirection&) const = default;

    /// Channels of all streams.
    UInt32 channels() const;
};

/// The complete state of a device at one time. A driver publishes a new one when something changes.
struct DeviceDescription {
    std::string uid; ///< persistent: the same when it is plugged in again
    std::string name;
    std::string manufacturer;
    UInt32 transportType = 0;           ///< kAudioDeviceTransportType…
    Float64 nominalRate = 0.0;          ///< frames per second
    std::vector<AudioValueRange> rates; ///< supported
    UInt32 bufferFrames = 0;            ///< per cycle
    UInt32 minimumBufferFrames = 0;
    UInt32 maximumBufferFrames = 0;  ///< per cycle; longer cycles are split into slices of this size
    bool isRunningSomewhere = false; ///< whether any process uses it
    DeviceDirection playback;
    DeviceDirection record;
    /// Of a route: the UID of the device that it leads to now; empty while there is none, and then the rest is as it
    /// was. Without a value it is a device of its own.
    std::optional<std::string> leadsTo{};
    bool operator==(const DeviceDescription&) const = default;
};

} // namespace braq
