#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <vector>

namespace braq {

/// The samples and the time of a running software device. What it was made with stays as long as the device runs.
class SoftwareCycle {
  public:
    /// @param capacity frames of the longest cycle without another allocation
    SoftwareCycle(UInt32 inputChannels, UInt32 outputChannels, UInt32 capacity, bool loopback, UInt64 startTime);

    /// Runs a cycle and moves time on by it.
    /// @param input a pointer for each input channel, or null: what was played before, else silence
    /// @realtime up to the capacity.
    void run(DeviceCycles& cycles, UInt32 frames, Float64 rate, const Float32* const* input) noexcept;

    /// Makes room for longer cycles; no cycle runs meanwhile.
    void reserve(UInt32 frames);

    /// What the last cycle played: a pointer to its frames for each output channel.
    const Float32* const* output() const noexcept { return mOutputChannels.data(); }

    UInt32 outputChannels() const noexcept { return static_cast<UInt32>(mOutputChannels.size()); }

    /// Of the next cycle, nanoseconds.
    UInt64 hostTime() const noexcept { return mHostTime; }
    /// The next cycle begins at `hostTime` instead.
    void jumpTo(UInt64 hostTime) noexcept { mHostTime = hostTime; }

  private:
    void takePlayed(UInt32 frames) noexcept;
    void keepPlayed(UInt32 frames) noexcept;

    UInt32 mCapacity = 0;
    const bool mIsLoopback;
    std::vector<std::vector<Float32>> mInput;
    std::vector<std::vector<Float32>> mOutput;
    std::vector<const Float32*> mInputChannels;
    std::vector<Float32*> mOutputChannels;

    std::vector<std::vector<Float32>> mPlayed; // of each channel that loops back, oldest first
    UInt32 mPlayedFrames = 0;

    Float64 mSampleTime = 0.0;
    UInt64 mHostTime;
    Float64 mHostFraction = 0.0; // of a nanosecond
};

} // namespace braq
