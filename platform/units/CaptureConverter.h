#pragma once

#include "platform/samples/FixedRateConverter.h"

#include <memory>
#include <vector>

namespace braq {

/// Converts captured frames to another rate as they arrive. The first output frame is at the position of the first
/// input frame, delayed until the filter has the following frames that it needs.
class CaptureConverter {
  public:
    /// Any thread but an I/O thread.
    CaptureConverter(UInt32 channels, Float64 fromRate, Float64 toRate);

    /// Takes all the frames and delivers what is ready.
    /// @param to room for `capacity` samples of each channel; the rest stays for the next call
    /// @return frames delivered
    /// @realtime One thread at a time.
    UInt32 convert(const float* const* from, UInt32 frames, float* const* to, UInt32 capacity) noexcept;

    /// Frames taken and not delivered yet, in input frames. @realtime The thread that converts.
    Float64 heldFrames() const noexcept;

    /// Resets the converter. Any thread but an I/O thread, while nobody converts.
    void reset();

    /// The maximum output of one call with this many frames.
    UInt32 mostFrames(UInt32 frames) const noexcept;

  private:
    void warmUp();
    UInt32 process(UInt32 frames, UInt32 capacity) noexcept;

    const UInt32 mChannels;
    const Float64 mFromRate;
    const Float64 mToRate;
    std::unique_ptr<FixedRateConverter> mConverter;
    std::vector<const float*> mFrom; // current input
    std::vector<float*> mTo;         // current output
    UInt64 mToDrop = 0;              // output frames before the captured ones
    UInt64 mTaken = 0;               // input frames, of the captured ones
    UInt64 mGiven = 0;               // output frames, of the same audio
};

} // namespace braq
