#pragma once

#include "BRAQAudio/platform/types.h"

#include <memory>
#include <vector>

namespace soundtouch {
class SoundTouch;
}

namespace braq {

/// Makes sound longer or shorter without changing its pitch. The one place that knows SoundTouch.
///
/// It takes frames and makes others in batches of some 30 to 80 ms, once it has been given some 90 to 150 ms ahead of them
/// (`lead`). The first batch begins with the very frames that it was given first.
class TimeStretcher {
  public:
    static constexpr double slowest = 0.25;
    static constexpr double fastest = 4.0;
    /// Frames that `put` takes at once.
    static constexpr UInt32 largestPut = 256;
    /// Channels that it can have: with newer versions of the library there could be more.
    static constexpr UInt32 mostChannels = 16;

    /// Allocates everything. Control thread. @throw std::bad_alloc
    /// @param channels from 1 to `mostChannels`
    /// @param frameRate frames per second
    TimeStretcher(UInt32 channels, double frameRate);
    ~TimeStretcher();
    TimeStretcher(const TimeStretcher&) = delete;
    TimeStretcher& operator=(const TimeStretcher&) = delete;

    /// Holds for batches that begin from now on.
    /// @param tempo frames taken per frame made, from `slowest` to `fastest` @realtime
    void setTempo(double tempo) noexcept;
    /// Frames that it has to be given before the first one is made, at most. @realtime
    UInt32 lead() const noexcept;
    /// Frames of a batch. @realtime
    UInt32 batch() const noexcept;
    /// @param frames at most `largestPut`
    /// @param planes one array for each channel @realtime
    void put(UInt32 frames, const float* const* planes) noexcept;
    /// Frames that are made and not taken yet. @realtime
    UInt32 ready() const noexcept;
    /// Takes frames that are ready.
    /// @param offset where to begin in each plane @realtime
    void take(UInt32 frames, float* const* planes, UInt32 offset) noexcept;
    /// Begins anew. @realtime
    void clear() noexcept;

  private:
    void grow();

    const UInt32 mChannels;
    std::vector<float> mInterleaved; // of one put
    const std::unique_ptr<soundtouch::SoundTouch> mStretcher;
};

} // namespace braq
