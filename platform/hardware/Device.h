#pragma once

#include "platform/hardware/DeviceProcedures.h"
#include "platform/hardware/drivers/Driver.h"

#include <memory>
#include <vector>

namespace braq {

enum class Direction { playback, record };

/// What is known of a device at one time, and under which ids its streams are objects.
struct DeviceState {
    DeviceDescription description;
    std::vector<AudioObjectID> playbackStreams; ///< as many as the description has
    std::vector<AudioObjectID> recordStreams;
    bool isAlive = true;

    const DeviceDirection& direction(Direction which) const {
        return which == Direction::playback ? description.playback : description.record;
    }
    std::vector<AudioObjectID>& streams(Direction which) {
        return which == Direction::playback ? playbackStreams : recordStreams;
    }
    const std::vector<AudioObjectID>& streams(Direction which) const {
        return which == Direction::playback ? playbackStreams : recordStreams;
    }
};

/// A device as an object.
struct Device {
    Device(AudioDeviceID deviceID, std::shared_ptr<DriverDevice> of, const CycleShape& shape,
           DeviceProcedures::Events events)
        : id(deviceID), driverDevice(std::move(of)), procedures(driverDevice, shape, std::move(events)) {}

    const AudioDeviceID id;
    const std::shared_ptr<DriverDevice> driverDevice;
    DeviceProcedures procedures;
    std::shared_ptr<const DeviceState> state; ///< under the lock of `Hardware`
};

/// The properties in which two descriptions of a device differ.
std::vector<AudioObjectPropertyAddress> changedDeviceProperties(const DeviceDescription& before,
                                                                const DeviceDescription& after);

/// The properties in which two descriptions of a stream differ.
std::vector<AudioObjectPropertyAddress> changedStreamProperties(const DeviceStream& before, const DeviceStream& after);

} // namespace braq
