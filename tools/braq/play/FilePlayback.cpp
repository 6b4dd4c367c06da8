#include "tools/braq/play/FilePlayback.h"

FilePlayback::FilePlayback(const std::shared_ptr<BRAQExtendedAudioFile>& file,
                           const std::shared_ptr<BRAQAudioDevice>& device)
    : Playback(*file), mPlayer(BRAQExtendedAudioFilePlayer::initWithAudioFile(file, device)) {
    mPlayer->outputAudioUnit()->setTransitionTime(transitionMilliseconds);
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

// The player restarts its reader, which then counts from 0.
void FilePlayback::goTo(SInt64 frame) {
    mUnderrunsBefore += mPlayer->errorCount();
    mPlayer->setCurrentFrame(frame);
    mHasHeardOfEnd = false;
}

void FilePlayback::setSpeed(double speed) {
    const bool turns = (speed < 0.0) != mIsReverse;
    const UInt64 underruns = mPlayer->errorCount();
    mPlayer->setPlaybackSpeedAtOnce(static_cast<float>(speed));
    mIsReverse = speed < 0.0;
    if (turns) {
        mUnderrunsBefore += underruns;
        mHasHeardOfEnd = false;
    }
}
