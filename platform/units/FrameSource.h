#pragma once

#include "BRAQAudio/platform/types.h"

#include <exception>

namespace braq {

/// Whether a source may call the procedure that its frames come from.
enum class Asking {
    procedures,
    nobody, ///< only frames that were delivered before and are still held: playback is stopping
};

/// What a unit pulls frames from.
class FrameSource {
  public:
    virtual ~FrameSource() = default;
    FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;

    /// Maximum frames of one pull.
    virtual UInt32 sliceLimit() const noexcept = 0;

    /// Delivers frames, and silence where there are none.
    /// @param planes room for `frames` samples of each channel
    /// @param time of the first frame
    /// @return frames that were there: fewer than requested only with `Asking::nobody`, when everything held is used up
    /// @realtime One thread at a time.
    virtual UInt32 pull(UInt32 frames, float* const* planes, const AudioTimeStamp& time, Asking asking) noexcept = 0;

    /// Whether it holds frames that it has not delivered yet.
    /// @realtime The thread that pulls.
    virtual bool holdsFrames() const noexcept = 0;

    /// The exception thrown by a procedure since the last call; null if there was none.
    /// @realtime The thread that pulls.
    virtual std::exception_ptr takeThrown() noexcept = 0;

    /// Drops what it holds. Any thread, while nobody pulls.
    virtual void reset() noexcept = 0;
};

} // namespace braq
