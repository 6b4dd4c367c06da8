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

/// @addtogroup devices
/// @{

class BRAQAudioDevice;

/// Domain of the errors of time translation. Their code is -1.
extern "C" BRAQ_EXPORT const char BRAQAudioDeviceErrorDomain[];

BRAQ_DELEGATE_OPERATION(audioDeviceNominalSampleRateDidChange)

/// A class whose objects can be delegates of a device: what it has of the operations of
/// `BRAQAudioDeviceDelegateEntry` can be called as stated there.
template <class Delegate>
concept BRAQAudioDeviceDelegate = std::is_class_v<Delegate> &&
    (!braq::delegates::Has_audioDeviceNominalSampleRateDidChange<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQAudioDevice>& device) {
         delegate.audioDeviceNominalSampleRateDidChange(device);
     });

/// A delegate of a device: any object. Those of these operations that it has are called on the main thread:
///
///     void audioDeviceNominalSampleRateDidChange(const std::shared_ptr<BRAQAudioDevice>& device);
class BRAQAudioDeviceDelegateEntry : public BRAQDelegateEntry {
  public:
    template <BRAQAudioDeviceDelegate Delegate>
    BRAQAudioDeviceDelegateEntry(const std::shared_ptr<Delegate>& delegate) : BRAQDelegateEntry(delegate) {
        if constexpr (requires(const std::shared_ptr<BRAQAudioDevice>& device) {
                          delegate->audioDeviceNominalSampleRateDidChange(device);
                      }) {
            audioDeviceNominalSampleRateDidChange = [object = delegate.get()](const auto& device) {
                object->audioDeviceNominalSampleRateDidChange(device);
            };
        }
    }

    /// Calls the object, which must be alive. Empty if the object has no such operation.
    std::function<void(const std::shared_ptr<BRAQAudioDevice>& device)> audioDeviceNominalSampleRateDidChange;
};

/// An audio device of the machine. The object holds the device's id only and caches nothing: each query asks the
/// hardware again. For a device that was removed, or an id that no device has, a query returns the value stated for
/// failure.
///
/// Direction 1 is recording; any other value is playback. Channels count from 1.
///
/// Operations that state no value for failure raise NSException `NSXErrorExceptionName`. Any thread but an I/O thread,
/// unless stated otherwise.
class BRAQ_EXPORT BRAQAudioDevice {
  public:
    /// As `initWithDeviceUID`.
    static std::shared_ptr<BRAQAudioDevice> deviceWithUID(const std::string& uid);
    /// The default device for recording or playback; a device with id 0 if there is none. Raises.
    static std::shared_ptr<BRAQAudioDevice> defaultRecordDevice();
    static std::shared_ptr<BRAQAudioDevice> defaultPlaybackDevice();
    /// All devices, in the platform's order. Raises.
    static std::vector<std::shared_ptr<BRAQAudioDevice>> allDevices();

    /// @param deviceID not checked
    static std::shared_ptr<BRAQAudioDevice> initWithDeviceID(AudioDeviceID deviceID);
    /// @return null when no device has that UID. Raises.
    static std::shared_ptr<BRAQAudioDevice> initWithDeviceUID(const std::string& uid);

    virtual ~BRAQAudioDevice();
    BRAQAudioDevice(const BRAQAudioDevice&) = delete;
    BRAQAudioDevice& operator=(const BRAQAudioDevice&) = delete;

    /// A new object for the same device, without delegates. Derived classes override this to return their own class.
    virtual std::shared_ptr<BRAQAudioDevice> copy() const;

    /// Whether both have the same UID, even if their ids differ. A device whose UID cannot be read equals nothing, not
    /// even itself.
    bool isEqual(const BRAQAudioDevice& other) const;
    friend bool operator==(const BRAQAudioDevice& one, const BRAQAudioDevice& other) { return one.isEqual(other); }
    /// The hash of the UID; 0 if it cannot be read.
    std::size_t hash() const;

    AudioDeviceID deviceID() const noexcept { return mDeviceID; }

    // Delegates. Main thread. A notification goes to the delegates present when it began; one that throws ends it.

    /// Appends a delegate, even if it is already there. The first delegate starts listening to the device. Raises
    /// `NSInvalidArgumentException` for a null delegate, which is not appended. Raises if the device cannot be listened
    /// to; then the delegate stays.
    void addDelegate(const BRAQAudioDeviceDelegateEntry& delegate);
    /// Removes every occurrence of the object. Removing the last delegate stops listening; raises if that fails.
    void removeDelegate(const BRAQDelegateEntry& delegate);
    const std::vector<BRAQAudioDeviceDelegateEntry>& delegates() const noexcept { return mDelegates; }
    /// Neither starts nor stops listening.
    void setDelegates(std::vector<BRAQAudioDeviceDelegateEntry> delegates) { mDelegates = std::move(delegates); }
    /// Whether the device is listened to.
    bool hasPropertyListener() const noexcept { return mHasPropertyListener; }
    void setHasPropertyListener(bool hasPropertyListener) noexcept { mHasPropertyListener = hasPropertyListener; }
    /// Start and stop listening. `hasPropertyListener` stays as it is. Raises.
    void setupPropertyListenerForDevice();
    void teardownPropertyListenerForDevice();

    /// A string property of the device, global scope. @return nothing if it cannot be read
    std::optional<std::string> getStringProperty(UInt32 selector) const;
    /// An integer property of the device, global scope.
    /// @param value left as it is on failure
    /// @return whether it could be read
    bool getUInt32PropertyValue(UInt32* value, UInt32 selector) const;
    /// The device's persistent identifier. @return nothing if it cannot be read
    std::optional<std::string> deviceUID() const;
    /// The device's name for users. @return nothing if it cannot be read
    std::optional<std::string> deviceName() const;
    /// How the device is connected: kAudioDeviceTransportType…; 0 if it cannot be read.
    UInt32 transportType() const;

    /// Frames per second; 0.0 if it cannot be read. Both names return the nominal rate.
    Float64 sampleRateForDirection(SInt64 direction) const;
    Float64 nominalSampleRateForDirection(SInt64 direction) const;
    Float64 recordingNominalSampleRate() const;
    Float64 playbackNominalSampleRate() const;
    /// Requests another rate. The device changes asynchronously, if at all; delegates are notified when it has. A rate
    /// that the device does not offer is silently ignored.
    void setNominalSampleRate(Float64 rate, SInt64 direction) const;
    void setRecordingNominalSampleRate(Float64 rate) const;
    void setPlaybackNominalSampleRate(Float64 rate) const;
    /// The rates that the device offers, as ranges; a single rate is a range of that rate alone. Empty if they cannot be
    /// read.
    std::vector<AudioValueRange> availableSampleRatesForDirection(SInt64 direction) const;
    std::vector<AudioValueRange> availableRecordingSampleRates() const;
    std::vector<AudioValueRange> availablePlaybackSampleRates() const;

    /// The linear gain that the system's mixer applies to this program's playback or recording on the device, of the
    /// loudest channel; 0 if muted. The system keeps it for the next time that the program runs. 1 if it cannot be
    /// read, and until the device has run in this process.
    Float32 mixerLevelForDirection(SInt64 direction) const;
    Float32 recordingMixerLevel() const;
    Float32 playbackMixerLevel() const;

    /// Hardware latency: frames between a device cycle and the air; 0 if it cannot be read.
    UInt32 latencyForDirection(SInt64 direction) const;
    UInt32 recordingLatency() const;
    UInt32 playbackLatency() const;
    /// Safety offset: frames that the hardware keeps between itself and the data being written or read; 0 if it cannot
    /// be read.
    UInt32 safetyOffsetForDirection(SInt64 direction) const;
    UInt32 recordingSafetyOffset() const;
    UInt32 playbackSafetyOffset() const;
    /// Frames per device cycle; 0 if it cannot be read.
    UInt32 bufferSizeForDirection(SInt64 direction) const;
    UInt32 recordingBufferSize() const;
    UInt32 playbackBufferSize() const;
    /// The least and the most frames per cycle that can be set; both 0 if they cannot be read.
    AudioValueRange bufferSizeRangeForDirection(SInt64 direction) const;
    AudioValueRange recordingBufferSizeRange() const;
    AudioValueRange playbackBufferSizeRange() const;
    /// Requests another number of frames per cycle. The device changes asynchronously, if at all: what else runs on it may
    /// want shorter cycles. A unit renders at most as many frames at once as it was made for, however long cycles are.
    /// @return whether the device takes the request; false outside its range, and for a device that is not there
    bool setBufferSize(UInt32 frames, SInt64 direction) const;
    bool setRecordingBufferSize(UInt32 frames) const;
    bool setPlaybackBufferSize(UInt32 frames) const;

    /// Channels of all streams in this direction; 0, with a line in the log, if they cannot be read.
    UInt32 numberOfChannelsForDirection(SInt64 direction) const;
    UInt32 numberOfRecordChannels() const;
    UInt32 numberOfPlaybackChannels() const;
    /// The channel numbers of left and right. @return nothing if they cannot be read
    std::optional<std::vector<UInt32>> preferredStereoChannelsForDirection(SInt64 direction) const;
    std::optional<std::vector<UInt32>> preferredStereoPlaybackChannels() const;
    bool canPlayback() const;
    bool canRecord() const;
    /// Whether the device records two or more channels.
    bool canRecordStereo() const;

    /// The stream that a channel belongs to. The rule is deliberate: the stream before the last one that starts above
    /// the channel (the first stream if that is the first). If no stream starts above the channel: the first.
    /// @return 0 if there are no streams or they cannot be read
    UInt32 streamIDForChannel(UInt32 channel, SInt64 direction) const;
    /// Latency of that stream in frames; 0, with a line in the log, if it cannot be read.
    UInt32 streamLatencyForChannel(UInt32 channel, SInt64 direction) const;
    UInt32 recordingStreamLatencyForChannel(UInt32 channel) const;
    UInt32 playbackStreamLatencyForChannel(UInt32 channel) const;

    /// The library's processing format, not interleaved, with this direction's channels and rate.
    std::shared_ptr<BRAQAudioStreamBasicDescription> deviceNativeStreamDescriptionForDirection(SInt64 direction) const;
    std::shared_ptr<BRAQAudioStreamBasicDescription> deviceNativeRecordStreamDescription() const;
    std::shared_ptr<BRAQAudioStreamBasicDescription> deviceNativePlaybackStreamDescription() const;

    /// Translates a host time to the sample time of a running device.
    /// @param error may be null; on failure receives an error of `BRAQAudioDeviceErrorDomain` with the reason
    /// @return a time whose `mFlags` are `kAudioTimeStampSampleTimeValid`; all 0 on failure
    AudioTimeStamp translateTimeHostToSample(const AudioTimeStamp& time, std::shared_ptr<NSError>* error) const;
    /// Translates a sample time to the host time and rate scalar of a running device; errors as in
    /// `translateTimeHostToSample`.
    AudioTimeStamp translateTimeSampleToHost(const AudioTimeStamp& time, std::shared_ptr<NSError>* error) const;

  protected:
    explicit BRAQAudioDevice(AudioDeviceID deviceID);

    /// Every init operation, here or in a derived class, returns its new object through this. Delegates of an object
    /// that was not returned through it are never called.
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

/// @}
