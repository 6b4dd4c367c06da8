#pragma once

#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/BRAQDelegateEntry.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/hardware.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

class BRAQAudioDevice;

/// Domain of errors in converting a device's times; their code is -1.
extern "C" BRAQ_EXPORT const char BRAQAudioDeviceErrorDomain[];

/// A delegate of a device: any object. What it has of these operations is called, on the main thread:
///
///     void audioDeviceNominalSampleRateDidChange(const std::shared_ptr<BRAQAudioDevice>& device);
class BRAQAudioDeviceDelegateEntry : public BRAQDelegateEntry {
  public:
    template <class Delegate>
    requires std::is_class_v<Delegate> BRAQAudioDeviceDelegateEntry(const std::shared_ptr<Delegate>& delegate)
        : BRAQDelegateEntry(delegate) {
        if constexpr (requires(const std::shared_ptr<BRAQAudioDevice>& device) {
                          delegate->audioDeviceNominalSampleRateDidChange(device);
                      }) {
            audioDeviceNominalSampleRateDidChange = [object = delegate.get()](const auto& device) {
                object->audioDeviceNominalSampleRateDidChange(device);
            };
        }
    }

    /// Calls the object, which has to live; empty if it has no such operation.
    std::function<void(const std::shared_ptr<BRAQAudioDevice>& device)> audioDeviceNominalSampleRateDidChange;
};

/// An audio device of the machine. The object is a name for it and keeps nothing that it answers: each question is put to the
/// hardware again, so a device that is gone, or an id that no device has, gives the answer that is stated for a failure.
///
/// Where a direction is asked for, 1 is recording and any other value playback. Channels count from 1.
///
/// Failures of operations that name no other answer are raised as NSException `NSXErrorExceptionName`. Any thread but an
/// I/O thread, unless something else is said.
class BRAQ_EXPORT BRAQAudioDevice {
  public:
    /// As `initWithDeviceUID`.
    static std::shared_ptr<BRAQAudioDevice> deviceWithUID(const std::string& uid);
    /// The device that is recorded from, or played on, by default; if there is none, a device with the id 0. Raises.
    static std::shared_ptr<BRAQAudioDevice> defaultRecordDevice();
    static std::shared_ptr<BRAQAudioDevice> defaultPlaybackDevice();
    /// All devices, in the platform's order. Raises.
    static std::vector<std::shared_ptr<BRAQAudioDevice>> allDevices();

    /// @param deviceID is not checked
    static std::shared_ptr<BRAQAudioDevice> initWithDeviceID(AudioDeviceID deviceID);
    /// @return null when no device has that UID. Raises.
    static std::shared_ptr<BRAQAudioDevice> initWithDeviceUID(const std::string& uid);

    virtual ~BRAQAudioDevice();
    BRAQAudioDevice(const BRAQAudioDevice&) = delete;
    BRAQAudioDevice& operator=(const BRAQAudioDevice&) = delete;

    /// A new object for the same device, without delegates. A derived class overrides this to make one of its own.
    virtual std::shared_ptr<BRAQAudioDevice> copy() const;

    /// Whether both have the same UID, even under different ids. A device whose UID cannot be read is equal to nothing,
    /// itself included.
    bool isEqual(const BRAQAudioDevice& other) const;
    friend bool operator==(const BRAQAudioDevice& one, const BRAQAudioDevice& other) { return one.isEqual(other); }
    /// The hash of the UID; 0 if it cannot be read.
    std::size_t hash() const;

    AudioDeviceID deviceID() const noexcept { return mDeviceID; }

    // Delegates. Main thread; each pass over them calls those that were there when it began. One that throws ends the pass.

    /// Appends a delegate, however often it is there already. The first one has the device listened to. Raises: for a null
    /// delegate `NSInvalidArgumentException`, and then nothing is appended; if the device cannot be listened to, and then
    /// the delegate stays.
    void addDelegate(const BRAQAudioDeviceDelegateEntry& delegate);
    /// Removes every occurrence of the object. With the last delegate the listening ends. Raises if that fails.
    void removeDelegate(const BRAQDelegateEntry& delegate);
    const std::vector<BRAQAudioDeviceDelegateEntry>& delegates() const noexcept { return mDelegates; }
    /// Neither begins nor ends the listening.
    void setDelegates(std::vector<BRAQAudioDeviceDelegateEntry> delegates) { mDelegates = std::move(delegates); }
    /// Whether the device is listened to.
    bool hasPropertyListener() const noexcept { return mHasPropertyListener; }
    void setHasPropertyListener(bool hasPropertyListener) noexcept { mHasPropertyListener = hasPropertyListener; }
    /// Begins and ends the listening; `hasPropertyListener` stays as it is. Raises.
    void setupPropertyListenerForDevice();
    void teardownPropertyListenerForDevice();

    /// A text property of the device, of global scope. @return nothing if it cannot be read
    std::optional<std::string> getStringProperty(UInt32 selector) const;
    /// A number property of the device, of global scope.
    /// @param value left as it is on failure
    /// @return whether it could be read
    bool getUInt32PropertyValue(UInt32* value, UInt32 selector) const;
    /// What names the device for good. @return nothing if it cannot be read
    std::optional<std::string> deviceUID() const;
    /// What a user calls the device. @return nothing if it cannot be read
    std::optional<std::string> deviceName() const;
    /// How it is connected: kAudioDeviceTransportType…; 0 if it cannot be read.
    UInt32 transportType() const;

    /// Frames a second; 0.0 if it cannot be read. Both names ask for the nominal rate.
    Float64 sampleRateForDirection(SInt64 direction) const;
    Float64 nominalSampleRateForDirection(SInt64 direction) const;
    Float64 recordingNominalSampleRate() const;
    Float64 playbackNominalSampleRate() const;
    /// Asks for another rate. A device changes it later, if it does, and delegates are told then; a rate that it does not offer
    /// is silently ignored.
    void setNominalSampleRate(Float64 rate, SInt64 direction) const;
    void setRecordingNominalSampleRate(Float64 rate) const;
    void setPlaybackNominalSampleRate(Float64 rate) const;

    /// The gain that the system's mixer applies to what this program plays or records on the device: linear, of the loudest
    /// channel, 0 when muted. The system keeps it for the next time that the program runs. 1 if it cannot be read, and before the
    /// device has run in this process.
    Float32 mixerLevelForDirection(SInt64 direction) const;
    Float32 recordingMixerLevel() const;
    Float32 playbackMixerLevel() const;

    /// Frames between a device cycle and the air; 0 if it cannot be read.
    UInt32 latencyForDirection(SInt64 direction) const;
    UInt32 recordingLatency() const;
    UInt32 playbackLatency() const;
    /// Frames that the hardware is kept away from what is written or read; 0 if it cannot be read.
    UInt32 safetyOffsetForDirection(SInt64 direction) const;
    UInt32 recordingSafetyOffset() const;
    UInt32 playbackSafetyOffset() const;
    /// Frames of a device cycle; 0 if it cannot be read.
    UInt32 bufferSizeForDirection(SInt64 direction) const;
    UInt32 recordingBufferSize() const;
    UInt32 playbackBufferSize() const;

    /// Channels of all streams of the direction; 0, with a line in the log, if it cannot be read.
    UInt32 numberOfChannelsForDirection(SInt64 direction) const;
    UInt32 numberOfRecordChannels() const;
    UInt32 numberOfPlaybackChannels() const;
    /// The numbers of the channels for left and right. @return nothing if they cannot be read
    std::optional<std::vector<UInt32>> preferredStereoChannelsForDirection(SInt64 direction) const;
    std::optional<std::vector<UInt32>> preferredStereoPlaybackChannels() const;
    bool canPlayback() const;
    bool canRecord() const;
    /// Whether it records two channels or more.
    bool canRecordStereo() const;

    /// The stream that a channel belongs to, deliberately by a rule of its own: the one before the last that starts above the
    /// channel (the first one, if that is the first); for a channel that none starts above, the first.
    /// @return 0 without streams, or if they cannot be read
    UInt32 streamIDForChannel(UInt32 channel, SInt64 direction) const;
    /// Frames of latency of that stream; 0, with a line in the log, if it has none that can be read.
    UInt32 streamLatencyForChannel(UInt32 channel, SInt64 direction) const;
    UInt32 recordingStreamLatencyForChannel(UInt32 channel) const;
    UInt32 playbackStreamLatencyForChannel(UInt32 channel) const;

    /// The format that the library processes, not interleaved, with the channels and the rate of the direction.
    std::shared_ptr<BRAQAudioStreamBasicDescription> deviceNativeStreamDescriptionForDirection(SInt64 direction) const;
    std::shared_ptr<BRAQAudioStreamBasicDescription> deviceNativeRecordStreamDescription() const;
    std::shared_ptr<BRAQAudioStreamBasicDescription> deviceNativePlaybackStreamDescription() const;

    /// The sample time of a running device at a host time.
    /// @param error may be null; on failure an error of `BRAQAudioDeviceErrorDomain` that says why
    /// @return a time whose `mFlags` are `kAudioTimeStampSampleTimeValid`; 0 on failure
    AudioTimeStamp translateTimeHostToSample(const AudioTimeStamp& time, std::shared_ptr<NSError>* error) const;
    /// The host time and the rate scalar of a running device at a sample time; as `translateTimeHostToSample`.
    AudioTimeStamp translateTimeSampleToHost(const AudioTimeStamp& time, std::shared_ptr<NSError>* error) const;

  protected:
    explicit BRAQAudioDevice(AudioDeviceID deviceID);

    /// How an init operation, here or in a derived class, hands out the object that it made. Delegates of one that was not
    /// handed out this way are never called.
    template <class Device>
    static std::shared_ptr<Device> handOut(Device* made) {
        std::shared_ptr<Device> device(made);
        makeFindable(device);
        return device;
    }

  private:
    static void makeFindable(const std::shared_ptr<BRAQAudioDevice>& device);

    bool mHasPropertyListener = false;
    const AudioDeviceID mDeviceID;
    std::vector<BRAQAudioDeviceDelegateEntry> mDelegates;
};
