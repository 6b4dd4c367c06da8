#include "platform/files/reading/PcmSource.h"

#include <algorithm>

namespace braq {
namespace {

// Small enough to be still in the processor's nearest cache when the samples are taken apart.
constexpr UInt32 rawBytes = 16 * 1024;
// What lies before the first sample is looked at with it.
constexpr UInt32 margin = 8;

} // namespace

PcmSource::PcmSource(std::unique_ptr<LocalFile> file, const PcmFormat& pcm, const FileFacts& facts,
                     std::vector<PcmExtent> extents)
    : mFile(std::move(file)),
      mPcm(pcm),
      mFacts(facts),
      mIsPlain(pcm.codec == AV_CODEC_ID_PCM_F32LE && facts.format.mChannelsPerFrame == 1),
      mExtents(std::move(extents)),
      mRaw(margin + std::max(rawBytes, facts.format.mBytesPerFrame)),
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

// @return whole frames
UInt32 PcmSource::load(SInt64 offset, UInt32 frames, std::uint8_t* destination) {
    const UInt32 bytesPerFrame = mFacts.format.mBytesPerFrame;
    return static_cast<UInt32>(mFile->read(offset, destination, std::size_t{frames} * bytesPerFrame) / bytesPerFrame);
}

UInt32 PcmSource::read(SInt64 first, UInt32 frames, float* const* planes) {
    const UInt32 bytesPerFrame = mFacts.format.mBytesPerFrame;
    const UInt32 framesAtOnce = static_cast<UInt32>(mRaw.size() - margin) / bytesPerFrame;
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
        const SInt64 offset = extent->offset + offsetInExtent * bytesPerFrame;
        for (std::size_t channel = 0; channel < mPlanes.size(); ++channel) {
            mPlanes[channel] = planes[channel] + done;
        }
        const UInt32 got = mIsPlain ? load(offset, wanted, reinterpret_cast<std::uint8_t*>(mPlanes[0]))
                                    : load(offset, wanted, mRaw.data() + margin);
        if (!mIsPlain) {
            mPcm.split(mRaw.data() + margin, got, mFacts.format.mChannelsPerFrame, mPlanes.data());
        }
        done += got;
        if (got < wanted) {
            mFile->report("has become shorter while it is read");
            break;
        }
    }
    return done;
}

} // namespace braq
