#include "platform/samples/resampling/FrameHistory.h"

#include <algorithm>
#include <bit>

namespace braq {

FrameHistory::FrameHistory(UInt32 channels, UInt32 kept, UInt32 largestPull)
    : mLargestPull(std::max(largestPull, 1U)),
      mMask(std::bit_ceil(kept) - 1),
      mPlanes(channels, std::vector<float>(mMask + 1)),
      mDestination(channels) {}

void FrameHistory::setSource(PullFrames pull, void* context) noexcept {
    mPull = pull;
    mContext = context;
}

void FrameHistory::extendTo(SInt64 frame) noexcept {
    while (mEnd < frame) {
        const SInt64 wanted = std::min<SInt64>(frame - mEnd, contiguous(mEnd));
        const UInt32 frames = static_cast<UInt32>(std::min<SInt64>(wanted, mLargestPull));
        for (std::size_t channel = 0; channel < mPlanes.size(); ++channel) {
            mDestination[channel] = &mPlanes[channel][indexOf(mEnd)];
        }
        if (mPull != nullptr) {
            mPull(mContext, frames, mDestination.data());
            mSoundEnd = mEnd + frames;
        } else {
            for (float* const plane : mDestination) {
                std::fill_n(plane, frames, 0.0F);
            }
        }
        mEnd += frames;
    }
}

void FrameHistory::pullInto(UInt32 frames, float* const* planes) noexcept {
    for (UInt32 done = 0; done < frames;) {
        const UInt32 slice = std::min(frames - done, mLargestPull);
        for (std::size_t channel = 0; channel < mPlanes.size(); ++channel) {
            mDestination[channel] = planes[channel] + done;
        }
        mPull(mContext, slice, mDestination.data());
        keep(slice, planes, done);
        done += slice;
    }
    mSoundEnd = mEnd;
}

void FrameHistory::keep(UInt32 frames, float* const* planes, UInt32 offset) noexcept {
    const UInt32 skipped = frames - std::min(frames, mMask + 1);
    mEnd += skipped;
    for (UInt32 done = skipped; done < frames;) {
        const UInt32 piece = std::min(frames - done, contiguous(mEnd));
        for (std::size_t channel = 0; channel < mPlanes.size(); ++channel) {
            const float* const from = planes[channel] + offset + done;
            std::copy_n(from, piece, &mPlanes[channel][indexOf(mEnd)]);
        }
        mEnd += piece;
        done += piece;
    }
}

void FrameHistory::copy(SInt64 frame, UInt32 frames, float* const* planes, UInt32 offset) const noexcept {
    for (UInt32 done = 0; done < frames;) {
        const UInt32 piece = std::min(frames - done, contiguous(frame + done));
        for (UInt32 channel = 0; channel < mPlanes.size(); ++channel) {
            std::copy_n(&mPlanes[channel][indexOf(frame + done)], piece, planes[channel] + offset + done);
        }
        done += piece;
    }
}

void FrameHistory::clear() noexcept {
    for (auto& plane : mPlanes) {
        std::fill(plane.begin(), plane.end(), 0.0F);
    }
    mEnd = 0;
    mSoundEnd = 0;
}

} // namespace braq
