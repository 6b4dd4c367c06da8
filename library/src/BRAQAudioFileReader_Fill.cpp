#include "BRAQAudio/BRAQAudioFileReader.h"

#include "BRAQAudio/BRAQAudioBufferList.h"

#include <cstdlib>
#include <new>

// How a buffer is filled.

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
    BQueueableAudioBufferSetFileStartFrame(queued, mCurrentFrame);
    BQueueableAudioBufferSetPlaybackRate(queued, backwards ? -1.0 : 1.0); // the speed is the unit's
    BAudioBufferSetEmpty(buffer);
    UInt32 frames = 0;
    if (file != nullptr) {
        frames = read(*file, queued, framesToRead(now), backwards);
        moveHead(*file, now, frames, backwards);
    }
    BAudioBufferSetEndFrame(buffer, frames);
    BAudioBufferSetReachedEndOfStream(buffer, frames == 0 && !now.looping ? 1 : 0);
}

// Cut at the end of the loop in both directions, deliberately. For a head beyond that end the difference underflows to
// a huge number that no list has room for, so the read fails and the head returns into the loop.
UInt32 BRAQAudioFileReader::framesToRead(const Loop& now) const {
    const auto frames = static_cast<UInt32>(mBufferSizeFrames);
    const auto head = static_cast<UInt64>(mCurrentFrame.load());
    return now.isActive() && head + frames > now.range.end() ? static_cast<UInt32>(now.range.end() - head) : frames;
}

UInt32 BRAQAudioFileReader::read(BRAQExtendedAudioFile& file, BQueueableAudioBuffer* queued, UInt32 frames,
                                 bool backwards) {
    if (backwards != mReadBackwards) {
        // After reading in reverse, the file's position is not the head.
        file.seekToExactFrame(mCurrentFrame);
        mReadBackwards = backwards;
    }
    // The file writes byte sizes into the list, so it gets its own list.
    const std::unique_ptr<AudioBufferList, decltype(&std::free)> list(
        BRAQAudioBufferListCopy(BAudioBufferAudioBufferList(&queued->mAudioBuffer)), &std::free);
    if (list == nullptr) {
        throw std::bad_alloc();
    }
    file.readIntoAudioBufferList(list.get(), mCurrentFrame, &frames);
    return frames;
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
        file->seekToExactFrame(frame);
    }
}
