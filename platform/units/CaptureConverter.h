#pragma once

#include "platform/samples/FixedRateConverter.h"
#include "platform/samples/Planes.h"

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

    /// Ends: makes the frames that wait for following ones, as if the sound went on smoothly. Any thread but an I/O
    /// thread, while nobody converts; afterwards it takes no more frames until a `reset`.
    /// @param last the frames taken last, up to the very last one; none: silence follows
    /// @return of each channel, as many as complete the length of all frames taken, to the nearest frame
    std::vector<std::vector<float>> drain(const float* const* last, UInt32 frames);
    /// Begins as if there had been sound before the first frame, which the frames lead on smoothly, and not silence. Any
    /// thread but an I/O thread, before anything is converted.
    void goOn();

    /// Frames taken and not delivered yet, in input frames. @realtime The thread that converts.
    Float64 heldFrames() const noexcept;

    /// Resets the converter. Any thread but an I/O thread, while nobody converts.
    void reset();

    /// The maximum output of one call with this many frames.
    UInt32 mostFrames(UInt32 frames) const noexcept;

  private:
    void warmUp(UInt32 withheld);
    void takeLead(const float* const* from, UInt32 frames, float* const* to, UInt32 capacity) noexcept;
    UInt32 take(const float* const* from, UInt32 frames, float* const* to, UInt32 capacity) noexcept;
    UInt32 drop(UInt32 given) noexcept;
    UInt32 finish(UInt32 there, Planes& made) noexcept;
    UInt32 process(UInt32 frames, UInt32 capacity) noexcept;

    const UInt32 mChannels;
    const Float64 mFromRate;
    const Float64 mToRate;
    std::unique_ptr<FixedRateConverter> mConverter;
    std::vector<const float*> mFrom; // current input
    std::vector<float*> mTo;         // current output
    UInt64 mToDrop = 0;              // output frames before the captured ones
    bool mNeedsLead = false;         // before the first frames
    std::unique_ptr<Planes> mLead;   // if it may need one
    UInt64 mTaken = 0;               // input frames, of the captured ones
    UInt64 mGiven = 0;               // output frames, of the same audio
};

} // namespace braq
