#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstddef>
#include <vector>

namespace braq {

/// Frames as one float array per channel.
class FramePlanes {
  public:
    explicit FramePlanes(UInt32 channels) : mPlanes(channels) {}

    UInt32 channels() const { return static_cast<UInt32>(mPlanes.size()); }
    std::size_t frames() const { return mPlanes.empty() ? 0 : mPlanes.front().size(); }
    Float32* channel(UInt32 channel) { return mPlanes[channel].data(); }
    const Float32* channel(UInt32 channel) const { return mPlanes[channel].data(); }

    /// New frames are silent.
    void resize(std::size_t frames) {
        for (std::vector<Float32>& plane : mPlanes) {
            plane.resize(frames);
        }
    }

  private:
    std::vector<std::vector<Float32>> mPlanes;
};

/// Copies frames out of a list with one buffer per channel, or one for all. `planes` then holds exactly these.
void copyFrames(const AudioBufferList& list, std::size_t firstFrame, std::size_t frames, FramePlanes& planes);

} // namespace braq
