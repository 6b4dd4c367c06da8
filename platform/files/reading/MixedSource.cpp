#include "platform/files/reading/MixedSource.h"

#include <algorithm>

namespace braq {
namespace {

constexpr UInt32 mixedAtOnce = 4096;

bool tellsPositions(const FileFacts& facts) {
    return facts.positions.size() == facts.format.mChannelsPerFrame && areKnown(facts.positions);
}

std::optional<ChannelMatrix> matrixFor(const FileFacts& facts, UInt32 channels) {
    return channels == facts.format.mChannelsPerFrame
               ? std::nullopt
               : std::optional<ChannelMatrix>(std::in_place,
                                              tellsPositions(facts) ? facts.positions
                                                                    : usualPositions(facts.format.mChannelsPerFrame),
                                              usualPositions(channels), Downmix::scaled);
}

} // namespace

MixedSource::MixedSource(SampleSource& source, UInt32 channels)
    : mSource(source),
      mChannels(channels),
      mMatrix(matrixFor(source.facts(), channels)),
      mUnmixed(source.facts().format.mChannelsPerFrame, mMatrix ? mixedAtOnce : 0),
      mTo(channels) {}

ChannelPositions MixedSource::positions() const {
    if (!tellsPositions(mSource.facts()) || (mMatrix && mMatrix->isByNumber())) {
        return {};
    }
    return mMatrix ? usualPositions(mChannels) : mSource.facts().positions;
}

UInt32 MixedSource::read(SInt64 first, UInt32 frames, float* const* planes) {
    if (!mMatrix) {
        return mSource.read(first, frames, planes);
    }
    UInt32 done = 0;
    while (done < frames) {
        const UInt32 wanted = std::min(frames - done, mixedAtOnce);
        const UInt32 got = mSource.read(first + done, wanted, mUnmixed.get());
        for (UInt32 channel = 0; channel < mChannels; ++channel) {
            mTo[channel] = planes[channel] + done;
        }
        mMatrix->mix(mUnmixed.get(), mTo.data(), got);
        done += got;
        if (got < wanted) {
            break;
        }
    }
    return done;
}

} // namespace braq
