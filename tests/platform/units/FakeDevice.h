#pragma once

#include "platform/hardware/Hardware.h"
#include "tests/platform/hardware/HardwareHelpers.h"

#include <atomic>

namespace braq::tests {

/// A device whose every side can change, cycled by the test. Published as long as it lives.
class FakeDevice {
  public:
    explicit FakeDevice(const std::string& uid, UInt32 playbackChannels = 2, UInt32 recordChannels = 2) {
        mDescription.uid = uid;
        mDescription.name = uid;
        mDescription.rates = {{44100.0, 44100.0}, {48000.0, 48000.0}, {96000.0, 96000.0}};
        mDescription.nominalRate = 48000.0;
        mDescription.bufferFrames = 512;
        mDescription.minimumBufferFrames = 16;
        mDescription.maximumBufferFrames = 8192;
        setChannels(playbackChannels, recordChannels);
        mID = Hardware::instance().deviceAppeared(mDescription, mDriverDevice);
    }
    ~FakeDevice() { vanish(); }
    FakeDevice(const FakeDevice&) = delete;
    FakeDevice& operator=(const FakeDevice&) = delete;

    AudioDeviceID deviceID() const { return mID; }
    DeviceDescription& description() { return mDescription; }
    void setChannels(UInt32 playbackChannels, UInt32 recordChannels) {
        mDescription.playback.streams.assign(playbackChannels != 0 ? 1 : 0, {.channels = playbackChannels});
        mDescription.record.streams.assign(recordChannels != 0 ? 1 : 0, {.channels = recordChannels});
    }
    /// Tells what the description now says.
    void publish() { Hardware::instance().deviceChanged(mID, mDescription); }
    /// Tells that it has stopped by itself.
    void stopByItself() { Hardware::instance().deviceStopped(mID); }
    bool isRunning() const { return mDriverDevice->cycles.load() != nullptr; }
    void vanish() { Hardware::instance().deviceVanished(mID); }

    /// A cycle with the description's rate and channels, silent in. @return what was played
    Channels cycle(UInt32 frames) {
        const UInt32 plays = mDescription.playback.channels();
        const UInt32 records = mDescription.record.channels();
        Channels played(plays, frames, 99.0F);
        const Channels recorded(records, frames);
        if (DeviceCycles* cycles = mDriverDevice->cycles.load()) {
            cycles->runCycle({frames, mSampleTime, mHostTime, mDescription.nominalRate, 1.0, records,
                              recorded.pointers(), plays, played.pointers()});
        }
        mSampleTime += frames;
        mHostTime += static_cast<UInt64>(frames / mDescription.nominalRate * 1e9);
        return played;
    }

  private:
    struct Running final : DriverDevice {
        OSStatus startIO(DeviceCycles& to) override {
            cycles = &to;
            return 0;
        }
        void stopIO() override { cycles = nullptr; }
        std::atomic<DeviceCycles*> cycles{nullptr};
    };

    const std::shared_ptr<Running> mDriverDevice = std::make_shared<Running>();
    DeviceDescription mDescription;
    AudioDeviceID mID = 0;
    Float64 mSampleTime = 0.0;
    UInt64 mHostTime = 1'000'000'000;
};

} // namespace braq::tests
