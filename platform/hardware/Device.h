#pragma once

#include "platform/hardware/DeviceProcedures.h"
#include "platform/hardware/drivers/Driver.h"

#include <memory>
#include <vector>

namespace braq {

enum class Direction { playback, record };

/// The state of a device at one time, and the object ids of its streams.
struct DeviceState {
    DeviceDescription description;
    std::vector<AudioObjectID> playbackStreams; ///< as many as in the description
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

    /// Under Hardware's mutex.
    bool isRoute() const { return state->description.leadsTo.has_value(); }

    const AudioDeviceID id;
    const std::shared_ptr<DriverDevice> driverDevice;
    DeviceProcedures procedures;
    std::shared_ptr<const DeviceState> state; ///< under Hardware's mutex
};

/// Notified when a route leads to another device. It cannot be read; see `Hardware::endOf`.
constexpr UInt32 kRouteEnd = BRAQ_FOURCC('b', 'q', 'r', 'e');

/// Notified when frames were lost on a device. It cannot be read.
constexpr UInt32 kFramesWereLost = BRAQ_FOURCC('b', 'q', 'f', 'l');

/// The properties that differ between two descriptions of a device.
std::vector<AudioObjectPropertyAddress> changedDeviceProperties(const DeviceDescription& before,
                                                                const DeviceDescription& after);

/// The properties that differ between two descriptions of a stream.
std::vector<AudioObjectPropertyAddress> changedStreamProperties(const DeviceStream& before, const DeviceStream& after);

} // namespace braq
