#include "BRAQAudio/BRAQAudioFileReader.h"

#include "BRAQAudio/BRAQAudioBufferList.h"
#include "library/src/BRAQAudioFileReader_Repeat.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <span>

// How a buffer is filled.

namespace {

/// Copies `frames` frames to the place `to` from `length` frames before it.
void repeatFrames(AudioBufferList* list, UInt32 to, UInt32 frames, UInt64 length) {
    for (const AudioBuffer& channel : std::span(list->mBuffers, list->mNumberBuffers)) {
        auto* const samples = static_cast<Float32*>(channel.mData) + to;
        std::copy_n(samples - length, frames, samples);
    }
}

} // namespace

BRAQAudioFileReader::Loop BRAQAudioFileReader::loop() const {
    const std::lock_guard lock(mLoopMutex);
    return {mLoopRange, mLooping};
}

void BRAQAudioFileReader::processBuffer(BQueueableAudioBuffer* queued) {
    const std::lock_guard lock(mDirectionMutex);
    BAudioBuffer* const buffer = &queued->mAudioBuffer;
    const auto file = audioFile();
    const Loop now = loop();
    // Before the read, which takes time: callers that ask for the position meanwhile get the frame played next.
    const bool backwards = file != nullptr && file->reverse();
    publishBeginning(queued, backwards);
    const bool repeats = mRepeat->first < mRepeat->end;
    const BRAQLoopWalk before = head();
    UInt32 frames = 0;
    try {
        frames = fill(queued, now, backwards);
    } catch (...) { // else silence would be heard for ever
        *mRepeat = before;
        mCurrentFrame = before.place;
        mIsFileElsewhere = true;
        mHasReadToEnd = true;
        BAudioBufferSetReachedEndOfStream(buffer, 1);
        throw;
    }
    mHasReadToEnd = frames == 0;
    BAudioBufferSetEndFrame(buffer, frames);
    BAudioBufferSetReachedEndOfStream(buffer, frames == 0 && (repeats || !now.looping) ? 1 : 0);
}

UInt32 BRAQAudioFileReader::fill(BQueueableAudioBuffer* queued, const Loop& now, bool backwards) {
    const auto file = audioFile();
    if (file == nullptr) {
        return 0;
    }
    if (mRepeat->first < mRepeat->end) {
        return readRounds(*file, queued, backwards);
    }
    const UInt32 frames = read(*file, queued, 0, framesToRead(now), backwards);
    moveHead(*file, now, frames, backwards);
    return frames;
}

// Cut at the end of the loop in both directions, deliberately. For a head beyond that end the difference underflows to
// a huge number that no list has room for, so the read fails and the head returns into the loop.
UInt32 BRAQAudioFileReader::framesToRead(const Loop& now) const {
    const auto frames = static_cast<UInt32>(mBufferSizeFrames);
    const auto head = static_cast<UInt64>(mCurrentFrame.load());
    return now.isActive() && head + frames > now.range.end() ? static_cast<UInt32>(now.range.end() - head) : frames;
}

UInt32 BRAQAudioFileReader::read(BRAQExtendedAudioFile& file, BQueueableAudioBuffer* queued, UInt32 filled,
                                 UInt32 frames, bool backwards) {
    if (backwards != mReadBackwards || mIsFileElsewhere) {
        // After reading in reverse, and after a failure, the file's position is not the head.
        file.seekForReading(mCurrentFrame);
        mReadBackwards = backwards;
        mIsFileElsewhere = false;
    }
    // The file writes byte sizes into the list, so it gets its own list.
    const std::unique_ptr<AudioBufferList, decltype(&std::free)> list(
        BRAQAudioBufferListCopy(BAudioBufferAudioBufferList(&queued->mAudioBuffer)), &std::free);
    if (list == nullptr) {
        throw std::bad_alloc();
    }
    for (AudioBuffer& channel : std::span(list->mBuffers, list->mNumberBuffers)) {
        channel.mData = static_cast<Float32*>(channel.mData) + filled;
        channel.mDataByteSize -= filled * static_cast<UInt32>(sizeof(Float32));
    }
    file.readIntoAudioBufferList(list.get(), mCurrentFrame, &frames);
    return frames;
}

// A round that lies whole in the buffer is repeated from there: a range may have a single frame. Where reading fails, what
// was read before it is delivered first, and the next fill fails.
UInt32 BRAQAudioFileReader::readRounds(BRAQExtendedAudioFile& file, BQueueableAudioBuffer* queued, bool backwards) {
    BRAQLoopWalk walk = head();
    const auto length = static_cast<UInt64>(walk.end - walk.first);
    const auto size = static_cast<UInt32>(mBufferSizeFrames);
    UInt64 roundBegin = size; // in the buffer; none yet
    UInt32 filled = 0;
    for (UInt32 got = 0; filled < size; filled += got) {
        const BRAQLoopWalk reached = walk;
        if (walk.isAtSeam(backwards)) {
            const bool isWhole = roundBegin + length == filled;
            walk.goBack(backwards);
            roundBegin = filled;
            mIsFileElsewhere = true;
            if (isWhole) {
                got = static_cast<UInt32>(std::min<UInt64>(length, size - filled));
                repeatFrames(BAudioBufferAudioBufferList(&queued->mAudioBuffer), filled, got, length);
                walk.advance(got, backwards);
                continue;
            }
        }
        mCurrentFrame = walk.place;
        try {
            got =
                read(file, queued, filled, static_cast<UInt32>(walk.framesToSeam(backwards, size - filled)), backwards);
        } catch (...) {
            if (filled == 0) {
                throw;
            }
            walk = reached;
            mIsFileElsewhere = true;
            break;
        }
        if (got == 0) {
            break;
        }
        walk.advance(got, backwards);
    }
    mCurrentFrame = walk.place;
    *mRepeat = walk;
    return filled;
}

void BRAQAudioFileReader::moveHead(BRAQExtendedAudioFile& file, const Loop& now, UInt32 framesRead, bool backwards) {
    const auto turningPoint = static_cast<SInt64>(backwards ? now.range.end() : now.range.location);
    if (framesRead == 0) {
        if (now.looping) {
            goTo(&file, turningPoint);
        }
        return;
    }
    const SInt64 head = mCurrentFrame + (backwards ? -SInt64{framesRead} : SInt64{framesRead});
    const auto place = static_cast<UInt64>(head);
    const bool isBeyond = backwards ? place <= now.range.location : place > now.range.end();
    if (now.isActive() && isBeyond) {
        goTo(&file, turningPoint);
    } else {
        mCurrentFrame = head;
    }
}

void BRAQAudioFileReader::goTo(BRAQExtendedAudioFile* file, SInt64 frame) {
    mCurrentFrame = frame;
    if (file != nullptr) {
        file->seekForReading(frame);
        mIsFileElsewhere = false;
    }
}
