#pragma once

#include "BRAQAudio/platform/channels.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/hardware.h"

#include <memory>
#include <string>
#include <vector>

namespace braq {
class SoftwareDevice;
}

/// What makes the cycles of a software device run.
enum class BRAQSoftwareClock {
    monotonic, ///< a real-time thread, at the device's rate by CLOCK_MONOTONIC
    stepped,   ///< `BRAQSoftwareDevice::step` and nothing else
};

/// A stream of a software device.
struct BRAQSoftwareStream {
    UInt32 channels = 2;
    UInt32 latencyFrames = 0;
    UInt32 startingChannel = 0; ///< 0: the one after the stream before it, the first stream's being 1
};

/// One direction of a software device.
struct BRAQSoftwareDirection {
    std::vector<BRAQSoftwareStream> streams; ///< none: the device has not got this direction
    UInt32 latencyFrames = 0;
    UInt32 safetyOffsetFrames = 0;
    /// Of each channel, over all streams. None: those of `BRAQChannelPosition`'s table for 1, 2, 4, 6 and 8 channels, and unknown
    /// ones for other counts.
    std::vector<BRAQChannelPosition> positions{};
};

/// How a software device is made. The defaults give a stereo device that plays and records nothing but silence.
struct BRAQSoftwareDeviceOptions {
    std::string uid{}; ///< not empty, and not that of another device
    std::string name = "Software device";
    std::string manufacturer = "BRAQAudio";
    UInt32 transportType = kAudioDeviceTransportTypeVirtual;
    BRAQSoftwareDirection playback = {.streams = {BRAQSoftwareStream{}}};
    BRAQSoftwareDirection record = {.streams = {BRAQSoftwareStream{}}};
    Float64 sampleRate = 48000.0;                                            ///< frames a second, one of `sampleRates`
    std::vector<Float64> sampleRates = {44100.0, 48000.0, 88200.0, 96000.0}; ///< that can be set
    UInt32 bufferFrames = 512; ///< of one cycle, within the range that follows
    UInt32 minimumBufferFrames = 16;
    UInt32 maximumBufferFrames = 8192;
    /// What is played is recorded, bit for bit, channel by channel as far as there are both. The delay is that of the
    /// longest cycle so far; before the first played frame comes silence.
    bool loopback = false;
    BRAQSoftwareClock clock = BRAQSoftwareClock::monotonic;
};

/// An audio device without hardware, for machines without sound, for off-line rendering and for tests. Published from
/// creation until it is removed or destroyed. Any thread but an I/O thread, unless something else is said.
class BRAQ_EXPORT BRAQSoftwareDevice {
  public:
    /// Makes and publishes a device.
    /// @return null, with the reason in the log, for an empty or taken UID, no rate or one not offered, a buffer size
    ///         outside its range, a stream without channels, or positions that are not as many as the channels
    static std::shared_ptr<BRAQSoftwareDevice> deviceWithOptions(const BRAQSoftwareDeviceOptions& options);
    ~BRAQSoftwareDevice();
    BRAQSoftwareDevice(const BRAQSoftwareDevice&) = delete;
    BRAQSoftwareDevice& operator=(const BRAQSoftwareDevice&) = delete;

    AudioDeviceID deviceID() const noexcept;

    /// Takes the device away, as if it were pulled out. Harmless when repeated.
    void remove();

    /// Makes it what is played on, or recorded from, by default, until another one is made so or it is removed.
    void makeDefaultPlaybackDevice();
    void makeDefaultRecordDevice();

    /// Runs one cycle of exactly `frames` frames on the calling thread. Its host time is that of `hostTimeOfStep`.
    /// @param input a pointer to `frames` samples for each record channel, or null: what loops back, else silence
    /// @param output a pointer to room for `frames` samples for each playback channel, or null
    /// @return whether a cycle ran: not when the device is not running, gone, or has another clock
    /// One thread at a time. @realtime once the device runs, if no other thread steps, starts or stops it.
    bool step(UInt32 frames, const Float32* const* input = nullptr, Float32* const* output = nullptr);

    /// When the next step begins by a stepped device's own clock, in nanoseconds: the time of its start and the time that
    /// the frames since have taken at the rates that they had. Of another device: 0.
    UInt64 hostTimeOfStep() const;

    // Faults, to see how a program takes them.

    /// The next `count` starts are refused with `status`.
    void failStarts(UInt32 count, OSStatus status);
    /// The device is gone after `cycles` more cycles, in the middle of the next one: its input is delivered, its output is
    /// lost. With 0, the next cycle is the one.
    void vanishAfterCycles(UInt32 cycles);
    /// The rate is another one from the next cycle on, without anybody having set it.
    void changeSampleRate(Float64 rate);
    /// Reading a property of the device, or of one of its streams, reports `status` from now on; 0 ends that.
    /// `kAudioHardwareUnknownPropertyError` makes it one that the object has not got.
    /// @param object the device's id or that of a stream of it
    void failProperty(AudioObjectID object, const AudioObjectPropertyAddress& address, OSStatus status);
    /// Reports properties as changed, all in one notification, whether they were or not.
    void notifyProperties(const std::vector<AudioObjectPropertyAddress>& addresses);

  private:
    explicit BRAQSoftwareDevice(std::shared_ptr<braq::SoftwareDevice> device);

    const std::shared_ptr<braq::SoftwareDevice> mDevice;
};
