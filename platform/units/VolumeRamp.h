#pragma once

#include "BRAQAudio/platform/types.h"

namespace braq {

/// Applies a gain, with a linear fade when it changes. One thread.
class VolumeRamp {
  public:
    /// Length of a fade.
    static constexpr Float64 seconds = 0.010;

    /// @param gain initial
    explicit VolumeRamp(float gain) noexcept : mGain(gain), mTarget(gain) {}

    /// A gain of 1 leaves samples unchanged; a gain of 0 makes them 0, even NaN.
    /// @param list one buffer per channel
    /// @realtime
    void apply(AudioBufferList& list, UInt32 frames, float target, Float64 sampleRate) noexcept;

  private:
    void applyRamp(float* samples, UInt32 frames) const noexcept;

    float mGain;        // current
    float mTarget;      // of the current fade
    float mStep = 0.0F; // per frame
    UInt32 mLeft = 0;   // frames of the fade left
};

} // namespace braq
