#pragma once

#include "platform/hardware/drivers/Driver.h"
#include "platform/hardware/drivers/pipewire/GraphTime.h"

#include <semaphore.h>

#include <atomic>
#include <chrono>
#include <vector>

struct spa_buffer;
struct spa_io_position;

namespace braq::pipewire {

/// Processes each buffer of a stream: the part of the driver that runs on PipeWire's data thread.
class StreamCycle {
  public:
    /// @param channels of the stream, one block of a buffer each, unless it is reshaped
    /// @param wake called on the data thread when one of the getters below has a new value; must be real-time safe
    StreamCycle(DeviceCycles& cycles, UInt32 channels, void (*wake)(void* context) noexcept, void* wakeContext);
    ~StreamCycle();
    StreamCycle(const StreamCycle&) = delete;
    StreamCycle& operator=(const StreamCycle&) = delete;

    /// Fills a buffer with the output of the device's procedures, or with silence while they do not run.
    /// @param requestedFrames 0: the graph's quantum
    /// @param position of the graph; null: not known yet
    /// @realtime The data thread.
    void play(spa_buffer& buffer, UInt64 requestedFrames, const spa_io_position* position) noexcept;

    /// Passes a captured buffer to the device's procedures.
    /// @realtime The data thread.
    void record(const spa_buffer& buffer, const spa_io_position* position) noexcept;

    /// Prepares for buffers of a stream with that rate, which stay silent until `open`. Call it while there is no
    /// stream.
    void prepare(UInt32 streamRate);

    /// Prepares for other buffers of the same stream, which stay silent until `open`.
    /// @param channels up to 64
    /// @realtime The data thread.
    void reshape(UInt32 streamRate, UInt32 channels) noexcept;

    /// All channels of the stream are connected: procedures may run. Any thread.
    void open() { mIsOpen.store(true, std::memory_order_release); }
    /// Buffers are silent from the next one on, and lose nothing, until `open`. Any thread.
    void close() { mIsOpen.store(false, std::memory_order_release); }
    bool isOpen() const { return mIsOpen.load(std::memory_order_relaxed); }

    /// The rate and the quantum of the graph as last seen; 0 before the first cycle. Any thread.
    UInt32 graphRate() const { return mGraphRate.load(std::memory_order_relaxed); }
    UInt32 graphFrames() const { return mGraphFrames.load(std::memory_order_relaxed); }

    /// Whether procedures have run. Any thread.
    bool hasStarted() const { return mHasStarted.load(std::memory_order_acquire); }

    /// Stops the procedures from the next buffer on, which is silent. Any thread.
    void finish() { mIsFinishing.store(true, std::memory_order_release); }

    /// Waits, after `finish`, until the graph has begun a cycle without the procedures, so that it is done with the
    /// last cycle that had them; or until `abandon`; at most for `longest`. Any thread but the data thread.
    void waitUntilFinished(std::chrono::nanoseconds longest);

    /// Ends the wait: the stream is gone. Any thread.
    void abandon();

  private:
    bool mayRun(UInt64 frames, const spa_io_position* position) noexcept;
    void run(UInt32 frames, const spa_io_position& position, UInt32 inputChannels, UInt32 outputChannels) noexcept;
    void tell(std::atomic<UInt32>& answer, UInt32 value) noexcept;

    DeviceCycles& mCycles;
    void (*const mWake)(void* context) noexcept;
    void* const mWakeContext;
    UInt32 mStreamRate = 0;            // data thread; also written while no stream is connected
    std::vector<Float32*> mChannels;   // data thread; never reallocated
    GraphTime mTime;                   // data thread; also written while no stream is connected
    Float64 mSampleTime = 0.0;         // data thread
    bool mSaidThatFinished = false;    // data thread
    std::atomic<UInt32> mGraphRate{0}; // both
    std::atomic<UInt32> mGraphFrames{0};
    std::atomic<bool> mHasStarted{false};
    std::atomic<bool> mIsOpen{false};
    std::atomic<bool> mIsFinishing{false};
    sem_t mFinished{};
};

} // namespace braq::pipewire
