#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <vector>

namespace braq {

/// The samples and the time of a running software device. Its parameters are constant while the device runs.
class SoftwareCycle {
  public:
    /// @param capacity frames of the longest cycle without another allocation
    SoftwareCycle(UInt32 inputChannels, UInt32 outputChannels, UInt32 capacity, bool loopback, UInt64 startTime);

    /// Runs a cycle and advances the time.
    /// @param input a pointer for each input channel; null: the loopback, else silence
    /// @realtime up to the capacity.
    void run(DeviceCycles& cycles, UInt32 frames, Float64 rate, const Float32* const* input) noexcept;

    /// Makes room for longer cycles. No cycle may run meanwhile.
    void reserve(UInt32 frames);

    /// The output of the last cycle: a pointer to its frames for each output channel.
    const Float32* const* output() const noexcept { return mOutputChannels.data(); }

    UInt32 outputChannels() const noexcept { return static_cast<UInt32>(mOutputChannels.size()); }

    /// Of the next cycle, in nanoseconds.
    UInt64 hostTime() const noexcept { return mHostTime; }
    /// Moves the begin of the next cycle to `hostTime`.
    void beginAt(UInt64 hostTime) noexcept { mHostTime = hostTime; }
    /// Passes over frames before the next cycle, which reports them as lost. @realtime
    void lose(UInt64 frames, Float64 rate) noexcept;

  private:
    void advance(UInt64 frames, Float64 rate) noexcept;
    void takePlayed(UInt32 frames) noexcept;
    void keepPlayed(UInt32 frames) noexcept;

    UInt32 mCapacity = 0;
    const bool mIsLoopback;
    std::vector<std::vector<Float32>> mInput;
    std::vector<std::vector<Float32>> mOutput;
    std::vector<const Float32*> mInputChannels;
    std::vector<Float32*> mOutputChannels;

    std::vector<std::vector<Float32>> mPlayed; // of each loopback channel, oldest first
    UInt32 mPlayedFrames = 0;

    Float64 mSampleTime = 0.0;
    UInt64 mHostTime;
    Float64 mHostFraction = 0.0; // of a nanosecond
    UInt64 mPassedOver = 0;      // frames before the next cycle
};

} // namespace braq
