#pragma once

#include "platform/samples/FixedRateConverter.h"
#include "platform/samples/FramePlanes.h"

#include <memory>

namespace braq {

/// Band-limited conversion from one rate to another. Output frame k is the input at time k / rate.
class PushResampler {
  public:
    /// @return null if this conversion is not supported
    static std::unique_ptr<PushResampler> create(Float64 sourceRate, Float64 destinationRate, UInt32 channels);

    /// Appends the converted frames, as far as they are complete.
    /// @return whether it worked
    [[nodiscard]] bool convert(const FramePlanes& source, FramePlanes& destination);
    /// Appends the rest.
    [[nodiscard]] bool finish(FramePlanes& destination);

    /// Total output frames after `more` further input frames.
    SInt64 framesInAll(SInt64 more) const;

  private:
    PushResampler(std::unique_ptr<FixedRateConverter> converter, Float64 ratio)
        : mConverter(std::move(converter)), mRatio(ratio) {}
    [[nodiscard]] bool run(const FramePlanes* source, FramePlanes& destination);

    const std::unique_ptr<FixedRateConverter> mConverter;
    const Float64 mRatio;
    SInt64 mFramesIn = 0;
    SInt64 mFramesOut = 0;
};

} // namespace braq
