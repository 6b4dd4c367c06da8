#pragma once

#include "BRAQAudio/platform/channels.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/hardware.h"

#include <memory>
#include <string>
#include <vector>

/// @addtogroup devices
/// @{

namespace braq {
class SoftwareDevice;
}

/// What drives the cycles of a software device.
enum class BRAQSoftwareClock {
    monotonic, ///< a real-time thread, at the device's rate on CLOCK_MONOTONIC
    stepped,   ///< calls of `BRAQSoftwareDevice::step` only
};

/// A stream of a software device.
struct BRAQSoftwareStream {
    UInt32 channels = 2;
    UInt32 latencyFrames = 0;
    UInt32 startingChannel = 0; ///< 0: after the previous stream, from 1
};

/// One direction of a software device.
struct BRAQSoftwareDirection {
    std::vector<BRAQSoftwareStream> streams; ///< empty: the device does not have this direction
    UInt32 latencyFrames = 0;
    UInt32 safetyOffsetFrames = 0;
    /// Of each channel, over all streams. Empty: the positions of `BRAQChannelPosition`'s table for 1, 2, 4, 6 and 8
    /// channels, else unknown.
    std::vector<BRAQChannelPosition> positions{};
};

/// Options of a new software device. The defaults make a stereo device that plays, and records only silence.
struct BRAQSoftwareDeviceOptions {
    std::string uid{}; ///< not empty, and not the UID of another device
    std::string name = "Software device";
    std::string manufacturer = "BRAQAudio";
    UInt32 transportType = kAudioDeviceTransportTypeVirtual;
    BRAQSoftwareDirection playback = {.streams = {BRAQSoftwareStream{}}};
    BRAQSoftwareDirection record = {.streams = {BRAQSoftwareStream{}}};
    Float64 sampleRate = 48000.0; ///< frames per second, one of `sampleRates`
    std::vector<Float64> sampleRates = {44100.0, 48000.0, 88200.0, 96000.0}; ///< the rates that can be set
    UInt32 bufferFrames = 512; ///< frames per cycle, within the range below
    UInt32 minimumBufferFrames = 16;
    UInt32 maximumBufferFrames = 8192;
    /// Whether playback is recorded, bit for bit, channel by channel as far as both directions have them. The delay is
    /// the longest cycle so far; silence is recorded before the first played frame.
    bool loopback = false;
    BRAQSoftwareClock clock = BRAQSoftwareClock::monotonic;
};

/// An audio device without hardware: for machines without sound, for offline rendering and for tests. It is published
/// from creation until it is removed or destroyed. Any thread but an I/O thread, unless stated otherwise.
class BRAQ_EXPORT BRAQSoftwareDevice {
  public:
    /// Creates and publishes a device.
    /// @return null, with the reason in the log, for an empty or taken UID, no sample rate or one that is not offered,
    ///        a buffer size outside its range, a stream without channels, or a number of positions other than the
    ///        number of channels
    static std::shared_ptr<BRAQSoftwareDevice> deviceWithOptions(const BRAQSoftwareDeviceOptions& options);
    ~BRAQSoftwareDevice();
    BRAQSoftwareDevice(const BRAQSoftwareDevice&) = delete;
    BRAQSoftwareDevice& operator=(const BRAQSoftwareDevice&) = delete;

    AudioDeviceID deviceID() const noexcept;

    /// Removes the device, as if it were unplugged. Idempotent.
    void remove();

    /// Make this the default device for playback or recording, until another device becomes the default or this one is
    /// removed.
    void makeDefaultPlaybackDevice();
    void makeDefaultRecordDevice();

    /// Runs one cycle of exactly `frames` frames on the calling thread, at the host time `hostTimeOfStep`.
    /// @param input a pointer to `frames` samples for each record channel; null: the loopback, else silence
    /// @param output a pointer to room for `frames` samples for each playback channel, or null
    /// @return whether a cycle ran; false if the device is not running, was removed, or has another clock
    /// One thread at a time. @realtime once the device runs, if no other thread steps, starts or stops it.
    bool step(UInt32 frames, const Float32* const* input = nullptr, Float32* const* output = nullptr);

    /// The host time of the next step by a stepped device's own clock, in nanoseconds: the time of its start plus the
    /// duration of the frames since, at the rates that they had. 0 for a device with another clock.
    UInt64 hostTimeOfStep() const;

    // Fault injection, to test how programs handle faults.

    /// Makes the next `count` starts fail with `status`.
    void failStarts(UInt32 count, OSStatus status);
    /// Removes the device after `cycles` more cycles, in the middle of the next one: its input is delivered, its output
    /// is lost. 0 means the next cycle.
    void vanishAfterCycles(UInt32 cycles);
    /// Makes that many frames go missing before the next cycle, as if the process had been held up: host time and sample
    /// time go on, and the frames count as lost. The loopback neither plays nor records them.
    void loseFrames(UInt32 frames);
    /// Changes the rate from the next cycle on, although nobody has set it.
    void changeSampleRate(Float64 rate);
    /// Makes reads of a property of the device, or of one of its streams, fail with `status` from now on; 0 ends that.
    /// With `kAudioHardwareUnknownPropertyError` the object no longer has the property.
    /// @param object the id of the device or of one of its streams
    void failProperty(AudioObjectID object, const AudioObjectPropertyAddress& address, OSStatus status);
    /// Reports properties as changed, all in one notification, whether they changed or not.
    void notifyProperties(const std::vector<AudioObjectPropertyAddress>& addresses);

  private:
    explicit BRAQSoftwareDevice(std::shared_ptr<braq::SoftwareDevice> device);

    const std::shared_ptr<braq::SoftwareDevice> mDevice;
};

/// @}
