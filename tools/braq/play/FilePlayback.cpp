#include "tools/braq/play/FilePlayback.h"

#include <algorithm>
#include <limits>

FilePlayback::FilePlayback(const std::shared_ptr<BRAQExtendedAudioFile>& file,
                           const std::shared_ptr<BRAQAudioDevice>& device)
    : Playback(*file),
      mPlayer(BRAQExtendedAudioFilePlayer::initWithAudioFile(file, device)),
      mLowestFrame(std::numeric_limits<SInt64>::max()) {
    mPlayer->setDelegate(this);
}

FilePlayback::~FilePlayback() {
    mPlayer->setDelegate(nullptr);
    mPlayer->invalidate();
}

// Does not rely on the notification alone: it is lost if threads or memory run out.
bool FilePlayback::hasEnded() {
    constexpr std::chrono::milliseconds patience{500};
    const auto now = std::chrono::steady_clock::now();
    if (!BRAQAudioBufferQueueReachedEndOfStream(mPlayer->outputAudioUnit()->audioBufferQueue().get())) {
        mAtEndSince.reset();
    } else if (!mAtEndSince) {
        mAtEndSince = now;
    }
    return mHasHeardOfEnd || (mAtEndSince && now - *mAtEndSince > patience);
}

// In reverse the reader counts up within a buffer that is played backwards.
SInt64 FilePlayback::frame() {
    const SInt64 told = mPlayer->currentFrame();
    if (!mIsReverse) {
        return told;
    }
    mLowestFrame = std::min(mLowestFrame, told);
    return mLowestFrame;
}

// The player restarts its reader, which then counts from 0.
void FilePlayback::goTo(SInt64 frame) {
    mUnderrunsBefore += mPlayer->errorCount();
    mPlayer->setCurrentFrame(frame);
    mHasHeardOfEnd = false;
    mLowestFrame = frame;
}

// Drops the frames read ahead in the old direction.
void FilePlayback::setSpeed(double speed) {
    const bool turns = (speed < 0.0) != mIsReverse;
    const SInt64 place = frame();
    mPlayer->setPlaybackSpeed(static_cast<float>(speed));
    mIsReverse = speed < 0.0;
    if (turns) {
        goTo(place);
    }
}
