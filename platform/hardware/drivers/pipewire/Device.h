#pragma once

#include "platform/hardware/drivers/Driver.h"
#include "platform/hardware/drivers/pipewire/Describe.h"
#include "platform/hardware/drivers/pipewire/Loop.h"
#include "platform/hardware/drivers/pipewire/Stream.h"
#include "platform/hardware/drivers/pipewire/StreamCycle.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace braq::pipewire {

/// What devices need from the server and the driver. All with the loop's lock, except where another thread is named.
class DeviceServer {
  public:
    /// For a device that has not vanished.
    virtual pw_core* core() = 0;
    virtual const GraphSettings& settings() = 0;
    /// The rate that this process requests for a node, by the node's serial number. Devices of one node share it; after
    /// changing it, call `look` on all of them.
    virtual RateWish& rateWish(const std::string& serial) = 0;
    /// Whether the graph runs a node, for any process.
    virtual bool isInUse(const std::string& serial) = 0;
    /// The device at the other end of a stream's links; nothing while there is none.
    virtual std::optional<FoundDevice> deviceLinkedTo(UInt32 node) = 0;
    /// The cycle length that this process requests for a published device; 0: none.
    virtual UInt32 requestedQuantum(const DeviceKey& device) = 0;
    /// Whether there is a session manager to connect streams.
    virtual bool hasSessionManager() = 0;
    /// Makes every device `look` soon.
    /// @realtime Any thread.
    virtual void lookSoon() noexcept = 0;
    /// Makes every device `lookAgain` after a while.
    virtual void lookLater() = 0;
    /// Active links of a stream's node.
    virtual UInt32 activeLinksOf(UInt32 node) = 0;
    /// Makes the devices be described again.
    virtual void describeSoon() = 0;
    /// Describes the devices again before this returns, from what is known.
    virtual void describeNow() = 0;

  protected:
    ~DeviceServer() = default;
};

/// A device of PipeWire, or a route. It has a stream while it runs. The stream of a route is moved to other devices on the
/// server, and then takes their layout and rate; while it is connected to none, it stands still.
class Device final : public DriverDevice {
  public:
    /// @param key without a serial number: it is a route, which leads nowhere yet
    Device(Loop& loop, DeviceServer& server, DeviceKey key, ChannelLayout layout);

    OSStatus startIO(DeviceCycles& cycles) override;
    void stopIO() override;
    void preferRate(Float64 rate) override;
    OSStatus setNominalRate(Float64 rate) override;
    OSStatus setBufferFrames(UInt32 frames) override;

    // The following: with the loop's lock.

    /// The settings that apply to this device. What its running stream sees takes precedence over what the server
    /// states.
    GraphSettings settings() const;

    /// Reacts to changes of the stream.
    void look();

    /// Passes on what the program says about itself.
    void describeProgram();

    /// Retries what has not recovered by itself: reconnects a lost stream if the device still exists, and continues
    /// without channels that nobody connects.
    void lookAgain();

    /// The gain of the user's mixer for this process, see `DeviceDirection`.
    Float32 mixerLevel() const { return mMixerLevel; }

    /// Has a route lead to this device, unless its stream is linked to another one. A stream that was lost with its
    /// server is connected again.
    void leadTo(const FoundDevice& device);
    /// Where it leads to: for a device, itself. Before the first `leadTo` of a route, nowhere.
    const DeviceKey& target() const { return mTarget; }
    /// The server node of its stream, if it has one.
    std::optional<UInt32> streamNode() const;
    /// The server is gone: the stream of a route waits for the next one.
    void loseServer();

    /// See `DeviceServer`.
    UInt32 requestedQuantum() const { return mQuantum; }
    bool isRunning() const { return mRun != nullptr; }
    /// Whether it was started and its stream is no longer connected.
    bool isCutOff() const;

    /// Whether this is the node of the device's stream.
    bool hasStream(UInt32 node) const;

    /// The server no longer has the device: its stream ends for good.
    void vanish();

  private:
    /// From `startIO` to `stopIO`.
    struct Run {
        Run(DeviceServer& server, DeviceCycles& cycles, UInt32 channels);

        StreamCycle cycle;
        std::unique_ptr<Stream> stream; // null: lost
        UInt32 rate = 0;                // of the stream
        bool isStarting = true;
        bool isStopping = false;
        bool hasToldLevel = false;
    };

    OSStatus waitUntilStarted(Run& run);
    /// 0: the server does not allow that rate.
    UInt32 offeredRate(Float64 rate) const;
    GraphWish wish() const {
        return {.quantum = isRoute() ? mServer.requestedQuantum(mTarget) : mQuantum,
                .rate = mServer.rateWish(mTarget.serial)};
    }
    bool isRoute() const { return mKey.serial.empty(); }
    bool followLinks(Run& run);
    void takeMixerLevel(Run& run);
    void connect(Run& run, UInt32 rate);
    void openWhenLinked(Run& run, UInt32 links);

    Loop& mLoop;
    DeviceServer& mServer;
    const DeviceKey mKey;
    // All with the loop's lock.
    DeviceKey mTarget;
    ChannelLayout mLayout;     // of the target
    std::shared_ptr<Run> mRun; // null: stopped
    UInt32 mQuantum = 0;       // requested; 0: none
    Float32 mMixerLevel = 1.0F;
    bool mHasVanished = false;
    std::chrono::steady_clock::time_point mStopped{}; // when its last stream ended
};

} // namespace braq::pipewire
