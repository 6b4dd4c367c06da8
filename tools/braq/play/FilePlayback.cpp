#include "tools/braq/play/FilePlayback.h"

#include "tools/braq/play/LoopSeam.h"
#include "tools/braq/play/OpenToPlay.h"

#include <algorithm>
#include <exception>
#include <vector>

namespace {

/// As the file states them. Of one or two channels it is clear without that.
std::vector<BRAQChannelPosition> positionsOf(const BRAQExtendedAudioFile& file) {
    using enum BRAQChannelPosition;
    if (auto stated = file.channelPositions(); !stated.empty()) {
        return stated;
    }
    switch (file.streamDescription()->channelsPerFrame()) {
    case 1: return {mono};
    case 2: return {frontLeft, frontRight};
    default: return {};
    }
}

} // namespace

FilePlayback::FilePlayback(const std::shared_ptr<BRAQExtendedAudioFile>& file,
                           const std::shared_ptr<BRAQAudioDevice>& device)
    : Playback(*file), mPlayer(BRAQExtendedAudioFilePlayer::initWithAudioFile(file, device)), mFile(file) {
    keepReader();
    mPlayer->outputAudioUnit()->setTransitionTime(transitionMilliseconds);
    mPlayer->setDelegate(this);
}

FilePlayback::~FilePlayback() {
    mPlayer->setDelegate(nullptr);
    mPlayer->invalidate();
}

// The player changes its reader when it is moved.
void FilePlayback::keepReader() {
    mReader = std::dynamic_pointer_cast<BRAQAudioFileReader>(mPlayer->outputAudioUnit()->audioBufferQueue());
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

bool FilePlayback::setNext(const std::string& path, bool backwards) {
    clearNext();
    auto next = openToPlay(path);
    if (!canFollow(*next)) {
        return false;
    }
    if (next->streamDescription()->sampleRate() != rate()) {
        next = openToPlay(path, mPlayer->outputAudioUnit()->streamDescription());
    }
    next->setReverse(backwards);
    mPlayer->setNextAudioFile(next);
    return true;
}

// All files that follow one another are converted to the rate of the first. Nothing that can be heard may be lost by
// that, so the rate may not become lower than that of a compact disc. Other channels would all be mixed into those of
// the first.
bool FilePlayback::canFollow(const BRAQExtendedAudioFile& file) const {
    constexpr Float64 enough = 44100.0;
    return file.streamDescription()->channelsPerFrame() == channels() && positionsOf(file) == positionsOf(*mFile) &&
           (rate() >= enough || rate() >= file.streamDescription()->sampleRate());
}

std::optional<Played> FilePlayback::takePlayed() {
    const auto file = mPlayer->audioFile();
    if (file == mFile) {
        return std::nullopt;
    }
    const Played before = played();
    mFile = file;
    setFacts(*file);
    keepReader();
    mUnderrunsBefore = 0;
    mLostBefore = mPlayer->lostFrames();
    return before;
}

void FilePlayback::setLoop(SInt64 firstFrame, SInt64 endFrame) {
    const UInt64 underrunsBefore = underruns();
    mPlayer->setLoop(firstFrame, smoothEnd(firstFrame, endFrame));
    takeReaderAfter(underrunsBefore);
}

void FilePlayback::clearLoop() {
    const UInt64 underrunsBefore = underruns();
    mPlayer->clearLoop();
    takeReaderAfter(underrunsBefore);
}

// The player goes on with its reader, or with another one, which counts from 0.
void FilePlayback::takeReaderAfter(UInt64 underrunsBefore) {
    keepReader();
    mUnderrunsBefore = underrunsBefore - std::min(underrunsBefore, mReader->errorCount());
}

// In a file of its own, because the player reads the other one. Without that, the loop may click.
SInt64 FilePlayback::smoothEnd(SInt64 firstFrame, SInt64 endFrame) const {
    try {
        const auto file = openToPlay(mFile->url()->path(), mPlayer->outputAudioUnit()->streamDescription());
        return endOfSmoothLoop(*file, firstFrame, endFrame);
    } catch (const std::exception&) { // it was deleted meanwhile, for instance
        return endFrame;
    }
}

// The player restarts its reader, which then counts from 0.
void FilePlayback::goTo(SInt64 frame) {
    mUnderrunsBefore = underruns();
    mPlayer->setCurrentFrame(frame);
    keepReader();
    mHasHeardOfEnd = false;
}

void FilePlayback::setSpeed(double speed) {
    const bool turns = (speed < 0.0) != mIsReverse;
    const UInt64 underrunsBefore = underruns();
    mPlayer->setPlaybackSpeedAtOnce(static_cast<float>(speed));
    mIsReverse = speed < 0.0;
    if (turns) {
        mUnderrunsBefore = underrunsBefore;
        keepReader();
        mHasHeardOfEnd = false;
    }
}
