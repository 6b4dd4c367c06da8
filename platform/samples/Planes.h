#pragma once

#include "BRAQAudio/platform/types.h"

#include <vector>

namespace braq {

/// Memory for a number of frames and channels.
class Planes {
  public:
    Planes(UInt32 channels, UInt32 frames)
        : mFrames(frames), mSamples(std::size_t{channels} * frames), mPlanes(channels) {
        for (UInt32 channel = 0; channel < channels; ++channel) {
            mPlanes[channel] = mSamples.data() + std::size_t{channel} * frames;
        }
    }
    Planes(const Planes&) = delete;
    Planes& operator=(const Planes&) = delete;

    UInt32 channels() const { return static_cast<UInt32>(mPlanes.size()); }
    UInt32 frames() const { return mFrames; }
    float* const* get() const { return mPlanes.data(); }

  private:
    const UInt32 mFrames;
    std::vector<float> mSamples;
    std::vector<float*> mPlanes;
};

} // namespace braq
