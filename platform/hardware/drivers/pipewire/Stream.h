#pragma once

#include "platform/foundation/ApplicationFacts.h"
#include "platform/hardware/drivers/pipewire/Describe.h"
#include "platform/hardware/drivers/pipewire/RateWish.h"
#include "platform/hardware/drivers/pipewire/StreamCycle.h"

#include <spa/utils/hook.h>

#include <functional>

struct pw_core;
struct pw_data_loop;
struct pw_stream;
struct spa_io_position;
struct spa_pod;

namespace braq::pipewire {

/// What a stream requests from the graph.
struct GraphWish {
    UInt32 quantum = 0; ///< frames per cycle; 0: any
    RateWish rate{};
    bool operator==(const GraphWish&) const = default;
};

/// The stream of this process to or from one device, or without a target: then the session manager and the user connect
/// it to a device, and may move it to another one at any time. All with the loop's lock.
class Stream {
  public:
    /// Connects it.
    /// @param layout, rate of the device and of the graph, so that nothing is converted
    /// @param cycle runs from now on; must outlive the stream
    /// @param changed called on the loop's thread when one of the getters below has a new value
    Stream(pw_core* core, const DeviceKey& device, const ChannelLayout& layout, UInt32 rate, const GraphWish& wish,
           StreamCycle& cycle, std::function<void()> changed);
    /// When this returns, the cycle is not running and does not run again.
    ~Stream();
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /// Whether it could not be connected or was disconnected.
    bool hasFailed() const { return mHasFailed; }

    /// The server's id of its node. Known before the server announces the node's links.
    UInt32 node() const;

    /// Whether the graph runs it.
    bool isStreaming() const { return mIsStreaming; }

    /// Changes to the layout and rate of another device that a stream without a target was moved to. The cycle is closed
    /// meanwhile.
    void adopt(const ChannelLayout& layout, UInt32 rate);
    /// Whether that is still going on.
    bool isAdopting() const { return mIsAdopting; }

    /// Changes the request.
    void setWish(const GraphWish& wish);

    /// Passes on what the program says about itself now.
    void describeProgram();

    /// The gain of the user's mixer, of the loudest channel; 0: silent. 1 until the server states it.
    Float32 mixerLevel() const;

  private:
    void connect(UInt32 rate, const ChannelLayout& layout);
    void takeFormat(const spa_pod* format);
    void onDataThread(void (*what)(void* context) noexcept, void* context);
    void stateChanged(int state);
    void takeControl(UInt32 property, const float* values, UInt32 count);
    void setPosition(spa_io_position* position);
    void process() noexcept;

    const bool mPlays;
    const bool mIsMovable; // has no target
    UInt32 mRate;
    UInt32 mChannels;
    GraphWish mWish;
    StreamCycle& mCycle;
    const std::function<void()> mChanged;
    pw_data_loop* mDataLoop;
    ApplicationFacts mProgram; // as passed on
    pw_stream* mStream;
    spa_hook mListener{};
    bool mHasFailed = false;
    bool mIsStreaming = false;
    bool mIsEnding = false;
    bool mIsAdopting = false;
    Float32 mVolume = 1.0F;        // of all channels
    Float32 mChannelVolume = 1.0F; // of the loudest channel
    bool mIsMuted = false;
    spa_io_position* mPosition = nullptr; // data thread
};

} // namespace braq::pipewire
