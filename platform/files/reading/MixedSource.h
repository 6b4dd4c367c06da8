#pragma once

#include "platform/files/reading/ChannelMatrix.h"
#include "platform/files/reading/SampleSource.h"
#include "platform/foundation/Planes.h"

namespace braq {

/// A file's frames at its rate, in the channels of its user.
class MixedSource {
  public:
    /// @param source lives longer than this object
    MixedSource(SampleSource& source, UInt32 channels);

    UInt32 channels() const { return mChannels; }
    Float64 sampleRate() const { return mSource.facts().format.mSampleRate; }
    SInt64 lengthFrames() const { return mSource.facts().lengthFrames; }
    /// As `SampleSource::read`.
    UInt32 read(SInt64 first, UInt32 frames, float* const* planes);

  private:
    SampleSource& mSource;
    const UInt32 mChannels;
    const ChannelMatrix mMatrix;
    Planes mUnmixed; // without frames when nothing is mixed
    std::vector<float*> mTo;
};

} // namespace braq
