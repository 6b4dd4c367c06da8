#pragma once

// What it takes to bring a kind of audio device to the library: how to write a driver.
//
// A driver finds devices, says what they are, and runs their I/O cycles. It knows nothing of objects, properties, listeners,
// procedures or mixing: these are made of what it publishes. It is a folder below `platform/hardware/drivers` and one
// line in `drivers/Drivers.cpp`.
//
// A driver derives from `Driver`, one device of it from `DriverDevice`. It is given two objects to call: the `DriverHost`
// for what it finds, and for each running device `DeviceCycles` for its I/O cycle.
//
// Threads. A driver has threads of its own (started with `BRAQThreadStart`): usually one that watches, and one a running
// device that cycles and is put under `BRAQThreadMakeIO`. Every operation of `DriverHost` may be called from any of them
// except from inside a cycle, with the driver's own locks held: the host never calls back into a driver from there.
// Operations of `DriverDevice` are called one at a time a device (but `propertyStatus` at any time), on application
// threads and on the notification thread, with no lock that a driver's threads could be waiting for; they may wait for
// the driver's threads.
//
// Never: call `DeviceCycles` for one device on two threads at once; run a cycle after `stopIO` has returned or before
// `startIO` was called; lock, allocate, log or throw on the thread that cycles; throw out of any operation; reuse a UID for
// another device; wait without a bound for hardware or for a server.

#include "BRAQAudio/platform/hardware.h"
#include "platform/hardware/drivers/DeviceDescription.h"

#include <memory>

namespace braq {

/// One cycle of a device: a number of frames captured and the same number to be played.
struct DeviceCycle {
    UInt32 frames;
    Float64 sampleTime;  ///< frames since the device was started, of the cycle's first one
    UInt64 hostTime;     ///< of that frame, nanoseconds of CLOCK_MONOTONIC
    Float64 nominalRate; ///< frames a second
    Float64 rateScalar;  ///< host time that a frame takes, relative to what the nominal rate says
    UInt32 inputChannels;
    const Float32* const* input; ///< a pointer to `frames` samples for each channel
    UInt32 outputChannels;
    Float32* const* output; ///< a pointer to room for `frames` samples for each channel; all of it is written
};

/// Where a running device takes its cycles.
class DeviceCycles {
  public:
    /// Hands out what was captured and collects what is to be played.
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

    /// Begins to run cycles. Sample time counts from 0.
    /// @return 0; or why the device refuses, and then no cycle runs. `kAudioHardwareBadDeviceError` when it is gone.
    virtual OSStatus startIO(DeviceCycles& cycles) = 0;

    /// Ends the cycles: none is running when this returns. What was rendered is still to be heard. Follows each successful
    /// `startIO`, also on a device that is gone.
    virtual void stopIO() = 0;

    /// Says at which rate the device is about to be used, before `startIO`. A device that can run at it without disturbing
    /// anybody reports it as its rate, with `DriverHost::deviceChanged`, before this returns. A rate that was set counts for
    /// more.
    virtual void preferRate(Float64 /*rate*/) {}

    /// Begins to change the rate to one of `rates`; `DriverHost::deviceChanged` reports when it has changed. While the
    /// device runs, it changes between two cycles.
    /// @return 0, or why the rate stays
    virtual OSStatus setNominalRate(Float64 /*rate*/) { return kAudioHardwareUnsupportedOperationError; }

    /// Begins to change the cycle's length, within the device's range; otherwise as `setNominalRate`.
    virtual OSStatus setBufferFrames(UInt32 /*frames*/) { return kAudioHardwareUnsupportedOperationError; }

    /// Whether a property can be answered now: for hardware that can fail to. What is then answered comes from the
    /// description.
    /// @param object the id of the device, or of one of its streams
    /// @return 0, or what the reader of the property gets; `kAudioHardwareUnknownPropertyError` when the object has not
    ///         got the property
    virtual OSStatus propertyStatus(AudioObjectID /*object*/, const AudioObjectPropertyAddress& /*address*/) const {
        return kAudioHardwareNoError;
    }
};

class Driver;

/// What a driver tells.
class DriverHost {
  public:
    /// Publishes a device.
    /// @param description its UID is not that of another published device
    /// @return its id, for the operations below; 0 when the UID is taken
    virtual AudioDeviceID deviceAppeared(DeviceDescription description, std::shared_ptr<DriverDevice> device) = 0;

    /// Replaces what is known of a published device; what differs is notified. The UID stays as it was.
    virtual void deviceChanged(AudioDeviceID device, DeviceDescription description) = 0;

    /// Notifies addresses of a device as changed, whether or not they were.
    virtual void propertiesChanged(AudioDeviceID device, const std::vector<AudioObjectPropertyAddress>& addresses) = 0;

    /// Says that a running device has stopped by itself, although it is still there: its procedures are stopped, `stopIO`
    /// follows, and it may be started again.
    virtual void deviceStopped(AudioDeviceID device) = 0;

    /// Takes a device back; it has gone or is going. It cycles no more, or soon no more: `stopIO` follows if it runs.
    virtual void deviceVanished(AudioDeviceID device) = 0;

    /// Says which devices the driver's system plays on and records from by default. A device that is named before it
    /// appears becomes the default when it does; none is the default as long as it is not there.
    /// @param outputUID, inputUID empty: there is none
    virtual void defaultsChanged(const Driver& driver, std::string outputUID, std::string inputUID) = 0;

    /// Says whether the sound server that the driver needs is there. As long as no driver has said that one is, the system
    /// has a loopback device to play on and record from.
    virtual void serverIsThere(const Driver& driver, bool isThere) = 0;

  protected:
    ~DriverHost() = default;
};

/// A kind of devices. Made once and never destroyed; its threads run as long as the process.
class Driver {
  public:
    virtual ~Driver() = default;
    Driver() = default;
    Driver(const Driver&) = delete;
    Driver& operator=(const Driver&) = delete;

    /// Begins to find devices. Returns when those that are there are published, or else after a short time at most (a
    /// second); what is found later is published then.
    virtual void start(DriverHost& host) = 0;
};

} // namespace braq
