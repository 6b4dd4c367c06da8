#include "platform/files/reading/CodedSource.h"

#include "platform/files/libav/LibavLogScope.h"

#include <algorithm>

namespace braq {
namespace {

// Decoding on to a frame this near costs no more than a restart before it.
constexpr SInt64 nearFrames = 4096;

} // namespace

CodedSource::CodedSource(std::unique_ptr<LocalFile> file, std::unique_ptr<PacketSource> packets,
                         std::unique_ptr<PacketDecoder> decoder, const FileFacts& facts, SInt64 primingFrames,
                         const CodecTraits& coding)
    : mFile(std::move(file)),
      mPackets(std::move(packets)),
      mDecoder(std::move(decoder)),
      mFacts(facts),
      mPriming(primingFrames),
      mCoding(coding),
      mPacket(av_packet_alloc()),
      mPlanes(facts.format.mChannelsPerFrame) {}

std::optional<AudioFilePacketTableInfo> CodedSource::packetTable() {
    AudioFilePacketTableInfo info{mFacts.lengthFrames, static_cast<SInt32>(mPriming), 0};
    if (mFacts.format.mFramesPerPacket != 0) {
        const SInt64 frames = mPackets->packetCount() * mFacts.format.mFramesPerPacket;
        info.mRemainderFrames = static_cast<SInt32>(frames - mPriming - mFacts.lengthFrames);
    }
    const bool hasNeither = info.mPrimingFrames == 0 && info.mRemainderFrames == 0;
    return hasNeither ? std::nullopt : std::optional(info);
}

UInt32 CodedSource::read(SInt64 first, UInt32 frames, float* const* planes) {
    const auto left = std::clamp<SInt64>(mFacts.lengthFrames - first, 0, frames);
    const SInt64 begin = first + mPriming;
    UInt32 done = 0;
    while (done < left) {
        const SInt64 frame = begin + done;
        if (frame >= mBegin && frame < mEnd) {
            done += copy(frame, static_cast<UInt32>(left) - done, done, planes);
        } else if (!(isAhead(frame) ? decodeNext() : seek(frame))) {
            mFile->report("ends before its last frame");
            break;
        }
    }
    return done;
}

// Whether decoding on reaches a frame.
bool CodedSource::isAhead(SInt64 codedFrame) const {
    if (!mIsPlaced || codedFrame < mEnd) {
        return false;
    }
    const bool isNear = codedFrame <= mEnd + std::max<SInt64>(nearFrames, mCoding.prerollFrames);
    const bool isSameStretch = mCoding.restartFrames != 0 && codedFrame < stretchBegin() + mCoding.restartFrames;
    return mCoding.restartFrames == 0 ? isNear : isSameStretch && (isNear || mCoding.isForgetful == nullptr);
}

// Decodes up to a frame, or positions the packets so that decoding on leads to it. @return whether there is anything
bool CodedSource::seek(SInt64 codedFrame) {
    if (mCoding.restartFrames == 0) {
        start(codedFrame);
        return true;
    }
    const SInt64 inStretch = codedFrame % mCoding.restartFrames;
    if (mCoding.isForgetful != nullptr && inStretch > mCoding.prerollFrames && startNear(codedFrame)) {
        return true;
    }
    start(codedFrame - inStretch);
    while (mEnd <= codedFrame) {
        if (!decodeNext()) {
            return false;
        }
    }
    return true;
}

// Decodes up to a frame from shortly before it. @return whether the result is the same as from anywhere
bool CodedSource::startNear(SInt64 codedFrame) {
    start(codedFrame);
    bool isSettled = false;
    while (mEnd <= codedFrame) {
        isSettled = hasForgotten();
        const SInt64 before = mForgetful;
        const bool isMore = decodeNext();
        if (!isMore || (mEnd <= codedFrame && mForgetful <= before)) {
            return false;
        }
    }
    return isSettled;
}

bool CodedSource::hasForgotten() const {
    return mCoding.isForgetful != nullptr && mForgetful >= mCoding.forgettingFrames;
}

// Positions the packets so that decoding on gets a frame and all following frames right.
void CodedSource::start(SInt64 codedFrame) {
    mWanted = codedFrame;
    mForgetful = 0;
    mPackets->seek(mWanted);
    const LibavLogScope scope(mFile->path(), mFile->libavLinesLeft());
    mDecoder->restart();
    mBegin = mEnd = mBlockBegin = mBlockEnd = mWanted;
    mIsPlaced = true;
}

bool CodedSource::decodeNext() {
    PacketSpan span;
    if (!mPackets->next(*mPacket, span)) {
        mIsPlaced = false;
        return false;
    }
    const SInt64 spanEnd = span.firstFrame + span.frames;
    const bool isWanted = spanEnd > mWanted;
    // A decoder's messages about packets whose predecessors it did not get are of no interest.
    const LibavLogScope scope(mFile->path(), isWanted ? mFile->libavLinesLeft() : nullptr);
    const int error = span.isDamaged ? AVERROR_INVALIDDATA : mDecoder->decode(*mPacket);
    const bool isForgetful =
        error >= 0 && mCoding.isForgetful != nullptr && mPacket->size > 0 && mCoding.isForgetful(mPacket->data[0]);
    mForgetful = isForgetful ? mForgetful + span.frames : 0;
    av_packet_unref(mPacket.get());
    if (!isWanted) {
        return true;
    }
    if (error < 0 || span.firstFrame > mEnd) {
        mFile->report("is damaged; there is silence in the place of what is lost");
    }
    mBegin = std::min(mEnd, span.firstFrame);
    mEnd = std::max(mEnd, spanEnd);
    if (mCoding.restartFrames != 0) {
        // Frames beyond are decoded again after the restart, so that they are the same wherever reading began.
        const SInt64 stretchEnd = stretchBegin() + mCoding.restartFrames;
        mBegin = std::max(mBegin, stretchBegin());
        mEnd = std::min(mEnd, stretchEnd);
        if (spanEnd == stretchEnd && hasForgotten()) {
            mWanted = stretchEnd; // decoding on is just as good
        }
    }
    mBlockBegin = span.firstFrame;
    mBlockEnd = error < 0 || span.isDamaged ? mBlockBegin : std::min(spanEnd, mBlockBegin + mDecoder->frames());
    return true;
}

UInt32 CodedSource::copy(SInt64 codedFrame, UInt32 frames, UInt32 position, float* const* planes) {
    const auto channels = static_cast<UInt32>(mPlanes.size());
    for (UInt32 channel = 0; channel < channels; ++channel) {
        mPlanes[channel] = planes[channel] + position;
    }
    const bool isDecoded = codedFrame >= mBlockBegin && codedFrame < mBlockEnd;
    const SInt64 end = isDecoded ? mBlockEnd : codedFrame < mBlockBegin ? mBlockBegin : mEnd;
    const auto count = static_cast<UInt32>(std::min<SInt64>(frames, end - codedFrame));
    if (isDecoded) {
        mDecoder->copy(static_cast<UInt32>(codedFrame - mBlockBegin), count, channels, mPlanes.data());
    } else {
        for (float* const plane : mPlanes) {
            std::fill_n(plane, count, 0.0F);
        }
    }
    return count;
}

} // namespace braq
