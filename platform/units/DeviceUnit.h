#pragma once

#include "platform/units/DeviceCapture.h"
#include "platform/units/DevicePlayback.h"
#include "platform/units/SourceSettings.h"
#include "platform/units/Unit.h"

#include <mutex>
#include <optional>
#include <vector>

namespace braq {

/// Plays on a device, records from it, or both. It is an I/O procedure of the device while initialised, also when the
/// device changes. Without a device it is one of the route to the default device, wherever that leads.
class DeviceUnit final : public Unit {
  public:
    DeviceUnit();
    ~DeviceUnit() override;

    OSStatus initialize() override;
    OSStatus uninitialize() override;
    OSStatus property(const UnitPropertyAddress& address, void* data, UInt32* size) override;
    OSStatus setProperty(const UnitPropertyAddress& address, const void* data, UInt32 size) override;
    OSStatus parameter(AudioUnitParameterID parameter, AudioUnitScope scope, AudioUnitElement element,
                       AudioUnitParameterValue* value) const noexcept override;
    OSStatus setParameter(AudioUnitParameterID parameter, AudioUnitScope scope, AudioUnitElement element,
                          AudioUnitParameterValue value) noexcept override;
    OSStatus render(const AudioTimeStamp& time, AudioUnitElement element, UInt32 frames,
                    AudioBufferList* list) noexcept override;
    OSStatus start() override;
    OSStatus stop() override;
    bool isOutputUnit() const noexcept override { return true; }

  private:
    /// One direction, as requested. Element 0 is playback, element 1 recording.
    struct Side {
        bool isEnabled;
        AudioStreamBasicDescription client;
        std::optional<std::vector<SInt32>> channelMap;
        ChannelPositions positions{}; // of the playback channels; empty: not set
        Downmix downmix = Downmix::scaled;
    };

    // Under mControl.
    OSStatus prepare();
    void followDevice(const std::optional<DeviceFacts>& facts);
    void replaceDevice();
    void takeFacts(const DeviceFacts& facts);
    OSStatus makePlayback(const DeviceFacts& facts);
    OSStatus makeCapture(const DeviceFacts& facts);
    void stopRunning();
    void waitUntilHeard() const;
    void setRunning(bool isRunning);
    void setPresentDevice(AudioDeviceID device);
    void rememberDevice();
    UInt32 deviceChannels(AudioUnitElement element) const;
    OSStatus setDevice(const void* data, UInt32 size);
    OSStatus setStreamFormat(const UnitPropertyAddress& address, const void* data, UInt32 size);
    OSStatus setEnabled(const UnitPropertyAddress& address, const void* data, UInt32 size);
    OSStatus setChannelMap(const UnitPropertyAddress& address, const void* data, UInt32 size);
    OSStatus setPositions(const void* data, UInt32 size);
    OSStatus setDownmix(const void* data, UInt32 size);
    OSStatus prepareAgain();
    OSStatus channelMap(const UnitPropertyAddress& address, void* data, UInt32* size) const;
    OSStatus positions(void* data, UInt32* size) const;
    std::optional<AudioStreamBasicDescription> format(const UnitPropertyAddress& address) const;

    void notify(AudioUnitPropertyID property, UInt32 value);
    void deliver(AudioUnitPropertyID property, UInt32 value, UInt64 round);
    void deviceChanged();
    void countLost(UInt64 deviceFrames, Float64 deviceRate) noexcept;
    static OSStatus deviceListener(AudioObjectID device, UInt32 count, const AudioObjectPropertyAddress* addresses,
                                   void* reference);
    static void ioProcedure(void* unit, const IOSlice& slice);

    std::mutex mControl;                         // control threads; never taken by an I/O thread
    Side mSides[2];                              // by element
    AudioDeviceID mDevice = kAudioObjectUnknown; // as requested
    std::optional<DeviceFacts> mKnownDevice;     // the default device when it was looked up
    UInt32 mSliceLimit;                          // frames
    SourceSettings mSource;
    AURenderCallbackStruct mInputCallback{};
    bool mStartsAtZero = false;

    bool mIsInitialized = false;
    OSStatus mPrepared = 0;                    // while initialised: whether it fits the device's current state
    std::unique_ptr<AudioUnit> mWatch;         // while initialised: the reference, for the device's listener
    DeviceFacts mFacts;                        // while initialised: of the device that it was prepared for
    IOProcedureID mProcedure = 0;              // while initialised
    std::unique_ptr<DevicePlayback> mPlayback; // replaced only while the procedure is not called
    std::unique_ptr<DeviceCapture> mCapture;   // the same
    bool mRuns = false;                        // whether its procedure is called

    std::atomic<bool> mIsRunning{false};                            // any thread
    std::atomic<AudioDeviceID> mPresentDevice{kAudioObjectUnknown}; // any thread
    std::atomic<UInt64> mLostFrames{0};                             // any thread; written by the I/O thread
    std::atomic<float> mVolume{1.0F};                               // any thread
};

} // namespace braq
