#pragma once

#include "platform/files/reading/SampleSource.h"
#include "platform/samples/ChannelMatrix.h"
#include "platform/samples/Planes.h"

#include <optional>

namespace braq {

/// A file's frames at its rate, in the channels of its user. As many channels: as they are. Otherwise mixed, at the scaled gains
/// of `ChannelMatrix`, from the file's positions to the usual ones of so many channels.
class MixedSource {
  public:
    /// @param source lives longer than this object
    MixedSource(SampleSource& source, UInt32 channels);

    UInt32 channels() const { return mChannels; }
    /// Of each channel: the file's, or the usual ones that it was mixed to. None where the file does not say its own.
    ChannelPositions positions() const;
    Float64 sampleRate() const { return mSource.facts().format.mSampleRate; }
    SInt64 lengthFrames() const { return mSource.facts().lengthFrames; }
    /// As `SampleSource::read`.
    UInt32 read(SInt64 first, UInt32 frames, float* const* planes);

  private:
    SampleSource& mSource;
    const UInt32 mChannels;
    const std::optional<ChannelMatrix> mMatrix; // none: nothing is mixed
    Planes mUnmixed;                            // without frames when nothing is mixed
    std::vector<float*> mTo;
};

} // namespace braq
