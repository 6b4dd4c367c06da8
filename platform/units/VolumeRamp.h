#pragma once

#include "BRAQAudio/platform/types.h"

namespace braq {

/// Applies a gain that changes without a step. One thread.
class VolumeRamp {
  public:
    /// How long a change takes.
    static constexpr Float64 seconds = 0.010;

    /// @param gain to begin with
    explicit VolumeRamp(float gain) noexcept : mGain(gain), mTarget(gain) {}

    /// A gain of 1 leaves samples as they are; one of 0 makes them 0, whatever they were.
    /// @param list one buffer a channel
    /// @realtime
    void apply(AudioBufferList& list, UInt32 frames, float target, Float64 sampleRate) noexcept;

  private:
    void applyRamp(float* samples, UInt32 frames) const noexcept;

    float mGain;        // now
    float mTarget;      // of the ramp under way
    float mStep = 0.0F; // a frame
    UInt32 mLeft = 0;   // frames of the ramp
};

} // namespace braq
