#pragma once

#include "platform/files/reading/SampleSource.h"
#include "platform/samples/ChannelMatrix.h"
#include "platform/samples/Planes.h"

#include <optional>

namespace braq {

/// A file's frames at its rate, with the client's channels. With the same channel count they are unchanged; otherwise
/// they are mixed, with the scaled gains of `ChannelMatrix`, from the file's positions to the default ones of the
/// client's count.
class MixedSource {
  public:
    /// @param source must outlive this object
    MixedSource(SampleSource& source, UInt32 channels);

    UInt32 channels() const { return mChannels; }
    /// Of each channel: the file's, or the default ones after mixing. Empty if the file does not state its own.
    ChannelPositions positions() const;
    Float64 sampleRate() const { return mSource.facts().format.mSampleRate; }
    SInt64 lengthFrames() const { return mSource.facts().lengthFrames; }
    /// Like `SampleSource::read`.
    UInt32 read(SInt64 first, UInt32 frames, float* const* planes);

  private:
    SampleSource& mSource;
    const UInt32 mChannels;
    const std::optional<ChannelMatrix> mMatrix; // none: nothing is mixed
    Planes mUnmixed;                            // without frames if nothing is mixed
    std::vector<float*> mTo;
};

} // namespace braq
