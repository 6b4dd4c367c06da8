#pragma once

#include "platform/samples/FramePlanes.h"

#include <soxr.h>

#include <memory>

namespace braq {

/// Converts frames from one rate to another, band-limited. Frame k of what comes out is time k / rate of what goes in.
class PushResampler {
  public:
    /// @return null when there is no converter for these
    static std::unique_ptr<PushResampler> create(Float64 sourceRate, Float64 destinationRate, UInt32 channels);

    /// Appends what the frames become, as far as it is known yet.
    /// @return whether it worked
    [[nodiscard]] bool convert(const FramePlanes& source, FramePlanes& destination);
    /// Appends the rest.
    [[nodiscard]] bool finish(FramePlanes& destination);

    /// Frames that come out in all when `more` frames are added to those that went in.
    SInt64 framesInAll(SInt64 more) const;

  private:
    struct Deleter {
        void operator()(soxr* converter) const { soxr_delete(converter); }
    };

    PushResampler(std::unique_ptr<soxr, Deleter> converter, Float64 ratio)
        : mConverter(std::move(converter)), mRatio(ratio) {}
    [[nodiscard]] bool run(const FramePlanes* source, FramePlanes& destination);

    const std::unique_ptr<soxr, Deleter> mConverter;
    const Float64 mRatio;
    SInt64 mFramesIn = 0;
    SInt64 mFramesOut = 0;
};

} // namespace braq
