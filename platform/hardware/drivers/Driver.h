#pragma once

// How to write a driver, which adds a kind of audio device to the library.
//
// A driver finds devices, describes them, and runs their I/O cycles. It does not deal with objects, properties,
// listeners, procedures or mixing: the layers above make these from what it publishes. It is a folder below
// `platform/hardware/drivers` and one line in `drivers/Drivers.cpp`.
//
// A driver derives from `Driver`, each of its devices from `DriverDevice`. It gets two objects to call: the
// `DriverHost` for what it finds, and for each running device `DeviceCycles` for its I/O cycle.
//
// Threads. A driver has its own threads (started with `BRAQThreadStart`): usually one that watches, and one per running
// device that runs cycles, with `BRAQThreadMakeIO`. Every operation of `DriverHost` may be called on any of them except
// inside a cycle, even while holding the driver's own locks: the host never calls back into a driver from there.
// Operations of `DriverDevice` are called one at a time per device (except `propertyStatus`, at any time), on
// application threads and on the notification thread, without any lock that a driver's threads could wait for; they may
// wait for the driver's threads.
//
// A driver whose system moves streams between devices can publish one route per direction: a device that is in no list,
// and that leads to the default device, or to where the user moves it. What is told to play or record without a device
// runs on it. Its description is that of the device that it leads to, `leadsTo` aside.
//
// Never: call `DeviceCycles` for one device on two threads at once; run a cycle after `stopIO` has returned or before
// `startIO` was called; lock, allocate, log or throw on the thread that runs cycles; throw out of any operation; reuse
// a UID for another device; wait without a time limit for hardware or for a server.

#include "BRAQAudio/platform/hardware.h"
#include "platform/hardware/drivers/DeviceDescription.h"

#include <memory>

namespace braq {

/// One cycle of a device: a number of captured frames and the same number of frames to play.
struct DeviceCycle {
    UInt32 frames;
    Float64 sampleTime;  ///< frames since the device was started, of the cycle's first frame; passes over lost cycles
    UInt64 hostTime;     ///< of that frame, nanoseconds of CLOCK_MONOTONIC
    Float64 nominalRate; ///< frames per second
    Float64 rateScalar;  ///< host duration of a frame, relative to the nominal rate
    UInt32 inputChannels;
    const Float32* const* input; ///< a pointer to `frames` samples for each channel
    UInt32 outputChannels;
    Float32* const* output; ///< a pointer to room for `frames` samples for each channel; all of it is written
    /// Frames between the cycle before and this one, which ran in no cycle because the process or the device was held up.
    UInt64 passedOverFrames = 0;
    /// Frames of the cycle before that were rendered too late to be played.
    UInt64 lateFrames = 0;

    UInt64 lostFrames() const noexcept { return passedOverFrames + lateFrames; }
};

/// Receives the cycles of a running device.
class DeviceCycles {
  public:
    /// Delivers the captured frames and collects the frames to play.
    /// @realtime The device's I/O thread.
    virtual void runCycle(const DeviceCycle& cycle) noexcept = 0;

  protected:
    ~DeviceCycles() = default;
};

/// One device of a driver.
class DriverDevice {
  public:
    virtual ~DriverDevice() = default;
    DriverDevice() = default;
    DriverDevice(const DriverDevice&) = delete;
    DriverDevice& operator=(const DriverDevice&) = delete;

    /// Starts the cycles. Sample time counts from 0.
    /// @return 0; or why the device refuses, and then no cycle runs. `kAudioHardwareBadDeviceError` if it was removed.
    virtual OSStatus startIO(DeviceCycles& cycles) = 0;

    /// Ends the cycles: none is running when this returns. Frames already rendered are still played. Follows each
    /// successful `startIO`, also on a device that was removed.
    virtual void stopIO() = 0;

    /// States the rate at which the device is about to be used, before `startIO`. A device that can change to it
    /// without disturbing anybody reports it as its rate, with `DriverHost::deviceChanged`, before this returns. A rate
    /// that was set takes precedence.
    virtual void preferRate(Float64 /*rate*/) {}

    /// Begins to change the rate to one of `rates`; `DriverHost::deviceChanged` reports when it has changed. A running
    /// device changes between two cycles.
    /// @return 0, or why the rate stays
    virtual OSStatus setNominalRate(Float64 /*rate*/) { return kAudioHardwareUnsupportedOperationError; }

    /// Begins to change the cycle length, within the device's range; otherwise like `setNominalRate`.
    virtual OSStatus setBufferFrames(UInt32 /*frames*/) { return kAudioHardwareUnsupportedOperationError; }

    /// Whether a property can be read now, for hardware that can fail. The value then comes from the description.
    /// @param object the id of the device or of one of its streams
    /// @return 0, or the error for the reader of the property; `kAudioHardwareUnknownPropertyError` if the object does
    ///        not have the property
    virtual OSStatus propertyStatus(AudioObjectID /*object*/, const AudioObjectPropertyAddress& /*address*/) const {
        return kAudioHardwareNoError;
    }
};

class Driver;

/// What a driver reports to.
class DriverHost {
  public:
    /// Publishes a device.
    /// @param description its UID must not be that of another published device
    /// @return its id, for the operations below; 0 if the UID is taken
    virtual AudioDeviceID deviceAppeared(DeviceDescription description, std::shared_ptr<DriverDevice> device) = 0;

    /// Replaces the description of a published device; differences are notified. The UID stays.
    virtual void deviceChanged(AudioDeviceID device, DeviceDescription description) = 0;

    /// Notifies properties of a device as changed, whether they changed or not.
    virtual void propertiesChanged(AudioDeviceID device, const std::vector<AudioObjectPropertyAddress>& addresses) = 0;

    /// A running device has stopped by itself but still exists: its procedures are stopped, `stopIO` follows, and it
    /// may be started again.
    virtual void deviceStopped(AudioDeviceID device) = 0;

    /// Removes a device; it is gone or going. It runs no more cycles, or soon none: `stopIO` follows if it runs.
    virtual void deviceVanished(AudioDeviceID device) = 0;

    /// Names the default devices of the driver's system. A device that is named before it appears becomes the default
    /// when it does; until then there is no default.
    /// @param outputUID, inputUID empty: there is none
    virtual void defaultsChanged(const Driver& driver, std::string outputUID, std::string inputUID) = 0;

    /// Reports whether the sound server that the driver needs is there. Until a driver has reported that one is, the
    /// system has a loopback device.
    virtual void serverIsThere(const Driver& driver, bool isThere) = 0;

  protected:
    ~DriverHost() = default;
};

/// A kind of device. Created once and never destroyed; its threads run as long as the process.
class Driver {
  public:
    virtual ~Driver() = default;
    Driver() = default;
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;

    /// Starts finding devices. Returns when those present are published, but after a short time at most (a second);
    /// devices found later are published then.
    virtual void start(DriverHost& host) = 0;
};

} // namespace braq
