#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <semaphore.h>

#include <atomic>
#include <chrono>
#include <vector>

struct spa_buffer;
struct spa_io_position;

namespace braq::pipewire {

/// What happens to each buffer of a stream: the part of the driver that runs on PipeWire's data thread.
class StreamCycle {
  public:
    /// @param channels of the stream, one block of a buffer each
    /// @param wake called on the data thread when one of the questions below has a new answer; it must be real-time safe
    StreamCycle(DeviceCycles& cycles, UInt32 channels, void (*wake)(void* context) noexcept, void* wakeContext);
    ~StreamCycle();
    StreamCycle(const StreamCycle&) = delete;
    StreamCycle& operator=(const StreamCycle&) = delete;

    /// Fills a buffer with what the device's procedures play, or with silence when they do not run.
    /// @param requestedFrames 0: as many as the graph's cycle has
    /// @param position of the graph; null: not known yet
    /// @realtime The data thread.
    void play(spa_buffer& buffer, UInt64 requestedFrames, const spa_io_position* position) noexcept;

    /// Hands a captured buffer to the device's procedures.
    /// @realtime The data thread.
    void record(const spa_buffer& buffer, const spa_io_position* position) noexcept;

    /// A stream of that rate is about to bring buffers, which stay silent until `open`. While there is no stream.
    void prepare(UInt32 streamRate);

    /// All channels of the stream are connected: procedures may run. Any thread.
    void open() { mIsOpen.store(true, std::memory_order_release); }
    bool isOpen() const { return mIsOpen.load(std::memory_order_relaxed); }

    /// The rate of the graph and the frames of its cycles, as last seen; 0 before the first cycle. Any thread.
    UInt32 graphRate() const { return mGraphRate.load(std::memory_order_relaxed); }
    UInt32 graphFrames() const { return mGraphFrames.load(std::memory_order_relaxed); }

    /// Whether procedures have been run. Any thread.
    bool hasStarted() const { return mHasStarted.load(std::memory_order_acquire); }

    /// Has the procedures run no more from the next buffer on, which is silent. Any thread.
    void finish() { mIsFinishing.store(true, std::memory_order_release); }

    /// Waits, after `finish`, until the graph has begun a cycle without the procedures and so is done with the last one
    /// that had them; or until `abandon`, or for `longest`. Any thread but the data thread.
    void waitUntilFinished(std::chrono::nanoseconds longest);

    /// Nothing is to be waited for: the stream is gone. Any thread.
    void abandon();

  private:
    bool mayRun(UInt64 frames, const spa_io_position* position) noexcept;
    void run(UInt32 frames, const spa_io_position& position, UInt32 inputChannels, UInt32 outputChannels) noexcept;
    void tell(std::atomic<UInt32>& answer, UInt32 value) noexcept;

    DeviceCycles& mCycles;
    void (*const mWake)(void* context) noexcept;
    void* const mWakeContext;
    UInt32 mStreamRate = 0;            // written while no stream is connected, read on the data thread
    std::vector<Float32*> mChannels;   // data thread; its length never changes
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
