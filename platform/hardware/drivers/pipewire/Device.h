#pragma once

#include "platform/hardware/drivers/Driver.h"
#include "platform/hardware/drivers/pipewire/Describe.h"
#include "platform/hardware/drivers/pipewire/Loop.h"
#include "platform/hardware/drivers/pipewire/Stream.h"
#include "platform/hardware/drivers/pipewire/StreamCycle.h"

#include <memory>

namespace braq::pipewire {

/// What devices need of the server and of the driver. All with the loop's lock, except where another thread is named.
class DeviceServer {
  public:
    /// Of a device that has not vanished.
    virtual pw_core* core() = 0;
    virtual const GraphSettings& settings() = 0;
    /// Asks for a rate of the graph.
    virtual OSStatus forceRate(UInt32 rate) = 0;
    /// Has every device `look`, soon.
    /// @realtime Any thread.
    virtual void lookSoon() noexcept = 0;
    /// Has every device `lookAgain` after a while.
    virtual void lookLater() = 0;
    /// Ports of a stream's node that samples go across.
    virtual UInt32 activeLinksOf(UInt32 node) = 0;
    /// Has the devices described anew.
    virtual void describeSoon() = 0;

  protected:
    ~DeviceServer() = default;
};

/// A device of PipeWire. It has a stream while it runs.
class Device final : public DriverDevice {
  public:
    Device(Loop& loop, DeviceServer& server, DeviceKey key, ChannelLayout layout);

    OSStatus startIO(DeviceCycles& cycles) override;
    void stopIO() override;
    OSStatus setNominalRate(Float64 rate) override;
    OSStatus setBufferFrames(UInt32 frames) override;

    // The following: with the loop's lock.

    /// The settings that hold for this device: what its running stream sees counts for more than what the server says.
    GraphSettings settings() const;

    /// Draws the conclusions from what has become of the stream.
    void look();

    /// Takes up what has not come right by itself: connects a stream that was lost while the device is still there, and
    /// does without channels that nobody connects.
    void lookAgain();

    /// Whether that is the node of the device's stream.
    bool hasStream(UInt32 node) const;

    /// The server has the device no more: its stream ends, for good.
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
    };

    void connect(Run& run, UInt32 rate);
    void openWhenLinked(Run& run, UInt32 links);

    Loop& mLoop;
    DeviceServer& mServer;
    const DeviceKey mKey;
    const ChannelLayout mLayout;
    // All with the loop's lock.
    std::shared_ptr<Run> mRun; // null: stopped
    UInt32 mQuantum = 0;       // that was asked for; 0: none was
    bool mHasVanished = false;
};

} // namespace braq::pipewire
