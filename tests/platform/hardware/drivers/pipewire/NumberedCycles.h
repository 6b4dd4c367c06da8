#pragma once

#include "platform/hardware/drivers/Driver.h"

#include <atomic>
#include <cstddef>
#include <vector>

// Cycles whose every sample tells which frame and channel it belongs to.

namespace braq::tests {

/// Exact for frames below 2^21, never 0, and within what is played without clipping.
constexpr Float32 numberedSample(UInt64 frame, UInt32 channel) {
    return static_cast<Float32>(frame * 8 + channel + 1) / 16777216.0F;
}

/// Plays numbered frames, from 0 on.
class NumberedPlayback final : public DeviceCycles {
  public:
    void runCycle(const DeviceCycle& cycle) noexcept override;

    UInt64 frames() const { return mFrames.load(std::memory_order_acquire); }
    /// Of the last cycle.
    Float64 rate() const { return mRate.load(std::memory_order_relaxed); }
    UInt32 cycleFrames() const { return mCycleFrames.load(std::memory_order_relaxed); }
    /// Frames that the device reported as lost.
    UInt64 lostFrames() const { return mLost.load(std::memory_order_acquire); }
    /// Whether each cycle went on where the one before ended, in sample time and but for what was passed over, and later
    /// in host time.
    bool timesWereRight() const { return mTimesWereRight.load(std::memory_order_relaxed); }

  private:
    std::atomic<UInt64> mFrames{0};
    std::atomic<Float64> mRate{0.0};
    std::atomic<UInt32> mCycleFrames{0};
    std::atomic<bool> mTimesWereRight{true};
    std::atomic<UInt64> mLost{0};
    UInt64 mPassedOver = 0; // data thread
    UInt64 mHostTime = 0;   // data thread
};

/// Keeps what is recorded.
class KeptRecording final : public DeviceCycles {
  public:
    /// @param frames room for that many; what comes after them is counted but not kept
    KeptRecording(UInt32 channels, std::size_t frames);

    void runCycle(const DeviceCycle& cycle) noexcept override;

    UInt64 frames() const { return mFrames.load(std::memory_order_acquire); }
    /// Frames that the device reported as lost.
    UInt64 lostFrames() const { return mLost.load(std::memory_order_acquire); }
    /// Frames recorded up to and including the last one that was not silent.
    UInt64 soundFrames() const { return mSoundFrames.load(std::memory_order_acquire); }

    /// Frames of every channel in turn. After the device was stopped.
    std::vector<Float32> interleaved() const;

  private:
    const UInt32 mChannels;
    const std::size_t mRoom;
    std::vector<Float32> mKept;
    std::atomic<UInt64> mFrames{0};
    std::atomic<UInt64> mSoundFrames{0};
    std::atomic<UInt64> mLost{0};
};

/// What devices reported as lost: a busy machine gives a test no processor for a while.
struct LostFrames {
    UInt64 played = 0;
    UInt64 recorded = 0;
};

/// Expects for each of `rounds` silence and then the numbered frames 0 to that number - 1, and silence after them all.
/// Silence and gaps within a round are at most as long as what was lost: by default there are none.
void expectNumberedRounds(const std::vector<Float32>& interleaved, UInt32 channels, const std::vector<UInt64>& rounds,
                          const LostFrames& lost = {});

} // namespace braq::tests
