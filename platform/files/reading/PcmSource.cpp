#include "platform/files/reading/PcmSource.h"

#include <algorithm>

namespace braq {
namespace {

// Small enough to be in the first-level cache when the samples are deinterleaved.
constexpr UInt32 rawBytes = 16 * 1024;
// Bytes before the first sample may be read, too.
constexpr UInt32 margin = 8;

} // namespace

PcmSource::PcmSource(std::unique_ptr<LocalFile> file, const PcmFormat& pcm, const FileFacts& facts,
                     std::vector<PcmExtent> extents)
    : mFile(std::move(file)),
      mPcm(pcm),
      mFacts(facts),
      mIsFloat(pcm.codec == AV_CODEC_ID_PCM_F32LE),
      mExtents(std::move(extents)),
      mRaw(margin + std::max(rawBytes, facts.format.mBytesPerFrame)),
      mFramesAtOnce(static_cast<UInt32>(mRaw.size() - margin) / facts.format.mBytesPerFrame),
      mPlanes(facts.format.mChannelsPerFrame) {}

std::optional<SInt64> PcmSource::frameOfPacket(SInt64 packet) {
    return packet >= 0 && packet < mFacts.lengthFrames ? std::optional(packet) : std::nullopt;
}

const PcmExtent* PcmSource::extentOf(SInt64 frame) const {
    const auto after = std::ranges::upper_bound(mExtents, frame, {}, &PcmExtent::firstFrame);
    if (after == mExtents.begin()) {
        return nullptr;
    }
    const PcmExtent& extent = *std::prev(after);
    return frame < extent.firstFrame + extent.frames ? &extent : nullptr;
}

// @return complete frames
UInt32 PcmSource::load(SInt64 offset, UInt32 frames, void* destination) {
    const UInt32 bytesPerFrame = mFacts.format.mBytesPerFrame;
    return static_cast<UInt32>(mFile->read(offset, destination, std::size_t{frames} * bytesPerFrame) / bytesPerFrame);
}

// Splits the request into runs that are contiguous in the file, for `take(offset, frames, frames done before)`, which
// returns how many of them are there.
template <class Take>
UInt32 PcmSource::readRuns(SInt64 first, UInt32 frames, UInt32 framesAtOnce, const Take& take) {
    UInt32 done = 0;
    while (done < frames) {
        const SInt64 frame = first + done;
        const PcmExtent* const extent = extentOf(frame);
        if (extent == nullptr) {
            break;
        }
        const SInt64 offsetInExtent = frame - extent->firstFrame;
        const auto wanted = static_cast<UInt32>(
            std::min<SInt64>(std::min(frames - done, framesAtOnce), extent->frames - offsetInExtent));
        const UInt32 got = take(extent->offset + offsetInExtent * mFacts.format.mBytesPerFrame, wanted, done);
        done += got;
        if (got < wanted) {
            mFile->report("has become shorter while it is read");
            break;
        }
    }
    return done;
}

UInt32 PcmSource::readPlain(SInt64 first, UInt32 frames, float* samples) {
    const std::size_t channels = mPlanes.size();
    return readRuns(first, frames, frames, [&](SInt64 offset, UInt32 wanted, UInt32 done) {
        return load(offset, wanted, samples + done * channels);
    });
}

UInt32 PcmSource::read(SInt64 first, UInt32 frames, float* const* planes) {
    if (mIsFloat && mPlanes.size() == 1) {
        return readPlain(first, frames, planes[0]);
    }
    return readRuns(first, frames, mFramesAtOnce, [&](SInt64 offset, UInt32 wanted, UInt32 done) {
        const UInt32 got = load(offset, wanted, mRaw.data() + margin);
        for (std::size_t channel = 0; channel < mPlanes.size(); ++channel) {
            mPlanes[channel] = planes[channel] + done;
        }
        mPcm.split(mRaw.data() + margin, got, mFacts.format.mChannelsPerFrame, mPlanes.data());
        return got;
    });
}

std::optional<UInt32> PcmSource::readInterleaved(SInt64 first, UInt32 frames, float* samples) {
    if (mIsFloat) {
        return readPlain(first, frames, samples);
    }
    const auto channels = static_cast<UInt32>(mPlanes.size());
    return readRuns(first, frames, mFramesAtOnce, [&](SInt64 offset, UInt32 wanted, UInt32 done) {
        const UInt32 got = load(offset, wanted, mRaw.data() + margin);
        float* const to = samples + std::size_t{done} * channels;
        mPcm.split(mRaw.data() + margin, got * channels, 1, &to); // one channel with all samples
        return got;
    });
}

} // namespace braq
