#include "platform/files/reading/MixedSource.h"

#include <algorithm>

namespace braq {
namespace {

constexpr UInt32 framesAtOnce = 4096;

} // namespace

MixedSource::MixedSource(SampleSource& source, UInt32 channels)
    : mSource(source),
      mChannels(channels),
      mMatrix(source.facts().format.mChannelsPerFrame, channels),
      mUnmixed(source.facts().format.mChannelsPerFrame, mMatrix.isIdentity() ? 0 : framesAtOnce),
      mTo(channels) {}

UInt32 MixedSource::read(SInt64 first, UInt32 frames, float* const* planes) {
    if (mMatrix.isIdentity()) {
        return mSource.read(first, frames, planes);
    }
    UInt32 done = 0;
    while (done < frames) {
        const UInt32 wanted = std::min(frames - done, framesAtOnce);
        const UInt32 got = mSource.read(first + done, wanted, mUnmixed.get());
        for (UInt32 channel = 0; channel < mChannels; ++channel) {
            mTo[channel] = planes[channel] + done;
        }
        mMatrix.mix(mUnmixed.get(), mTo.data(), got);
        done += got;
        if (got < wanted) {
            break;
        }
    }
    return done;
}

} // namespace braq
