#include "BRAQAudio/BRAQExtendedAudioFilePlayer.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQLoopWalk.h"
#include "library/src/BRAQPlayerDecks.h"

#include <chrono>
#include <cmath>
#include <exception>
#include <limits>
#include <utility>

namespace {

constexpr const char* file = "src/BRAQExtendedAudioFilePlayer";
constexpr double millisecondsPerSecond = 1000.0;

/// The nearest 64-bit integer.
SInt64 saturated(double whole) noexcept {
    constexpr double end = 9223372036854775808.0; // 2^63
    if (whole >= end) {
        return std::numeric_limits<SInt64>::max();
    }
    return whole < -end ? std::numeric_limits<SInt64>::min() : static_cast<SInt64>(whole);
}

/// The description for the reader; null without a file, which the output unit refuses.
std::shared_ptr<BRAQAudioStreamBasicDescription>
streamDescriptionOf(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile) {
    return audioFile != nullptr ? audioFile->streamDescription() : nullptr;
}

} // namespace

std::shared_ptr<BRAQExtendedAudioFilePlayer>
BRAQExtendedAudioFilePlayer::initWithAudioFile(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile,
                                               const std::shared_ptr<BRAQAudioDevice>& device) {
    std::shared_ptr<BRAQExtendedAudioFilePlayer> player(new BRAQExtendedAudioFilePlayer(audioFile, device));
    player->installNotificationBlocks();
    player->installDeviceBlocks();
    return player;
}

std::shared_ptr<BRAQExtendedAudioFilePlayer>
BRAQExtendedAudioFilePlayer::initWithFileURL(const std::shared_ptr<NSURL>& url,
                                             const std::shared_ptr<BRAQAudioDevice>& device) {
    std::shared_ptr<NSError> error;
    const auto audioFile = BRAQExtendedAudioFile::initForPlaybackWithFileURL(url, &error);
    if (audioFile == nullptr) {
        NSXLogError(file, "Could not load audio file at URL " + (url != nullptr ? url->absoluteString() : "(null)") +
                              ". " + (error != nullptr ? error->description() : "(null)"));
        return nullptr;
    }
    return initWithAudioFile(audioFile, device);
}

std::shared_ptr<BRAQExtendedAudioFilePlayer>
BRAQExtendedAudioFilePlayer::initWithFilename(const std::string& path, const std::shared_ptr<BRAQAudioDevice>& device) {
    return initWithFileURL(NSURL::fileURLWithPath(path), device);
}

BRAQExtendedAudioFilePlayer::BRAQExtendedAudioFilePlayer(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile,
                                                         const std::shared_ptr<BRAQAudioDevice>& device)
    : mOutputAudioUnit(BRAQOutputAudioUnit::initWithStreamDescription(streamDescriptionOf(audioFile), device)),
      mDecks(std::make_unique<BRAQPlayerDecks>(mOutputAudioUnit, audioFile)) {
    mOutputAudioUnit->setDelegate(static_cast<BRAQAudioUnitDelegate*>(this));
    if (const auto positions = audioFile->channelPositions(); !positions.empty()) {
        mOutputAudioUnit->setChannelPositions(positions);
    }
}

BRAQExtendedAudioFilePlayer::~BRAQExtendedAudioFilePlayer() { mOutputAudioUnit->setDelegate(nullptr); }

// The block retains the player, and the player retains the unit, which retains the block. Ends that are queued for the
// main thread retain neither.
void BRAQExtendedAudioFilePlayer::installNotificationBlocks() {
    mOutputAudioUnit->setEndOfStreamNotificationBlock([self = shared_from_this()](BQueueableAudioNotification*) {
        self->callOnMainThread([start = self->mStarts.load()](auto& player) { player.endOfStreamWasReached(start); });
    });
    mOutputAudioUnit->setQueueChangeNotificationBlock([weak = weak_from_this()](BQueueableAudioNotification*) {
        if (const auto self = weak.lock()) {
            self->mDecks->release();
            self->callOnMainThread([](auto& player) { player.notifyDelegateOfNextFile(); });
        }
    });
}

void BRAQExtendedAudioFilePlayer::installDeviceBlocks() {
    mOutputAudioUnit->setDeviceChangeBlock([weak = weak_from_this()](BRAQDeviceChange change, const auto& device) {
        const auto self = weak.lock();
        if (self == nullptr) {
            return;
        }
        const auto delegate = self->mDelegate.get();
        if (change == BRAQDeviceChange::moved && delegate.audioFilePlayerDeviceDidChange) {
            delegate.audioFilePlayerDeviceDidChange(self, device);
        } else if (change == BRAQDeviceChange::gone && delegate.audioFilePlayerDeviceIsGone) {
            delegate.audioFilePlayerDeviceIsGone(self);
        } else if (change == BRAQDeviceChange::back && delegate.audioFilePlayerDeviceIsBack) {
            delegate.audioFilePlayerDeviceIsBack(self, device);
        }
    });
    mOutputAudioUnit->setLostFramesBlock([weak = weak_from_this()](UInt64 frames) {
        const auto self = weak.lock();
        const auto delegate = self != nullptr ? self->mDelegate.get() : BRAQExtendedAudioFilePlayerDelegateEntry();
        if (delegate.audioFilePlayerDidLoseFrames) {
            delegate.audioFilePlayerDidLoseFrames(self, frames);
        }
    });
}

void BRAQExtendedAudioFilePlayer::callOnMainThread(std::function<void(BRAQExtendedAudioFilePlayer& player)> operation) {
    BRAQMainQueue::mainQueue().submit([weak = weak_from_this(), operation = std::move(operation)] {
        if (const auto self = weak.lock()) {
            operation(*self);
        }
    });
}

// Playback may have been started or moved before the main thread handles the end, or by the delegate that is notified
// of it: then it has not ended.
void BRAQExtendedAudioFilePlayer::endOfStreamWasReached(UInt64 start) {
    if (!isAtEndSince(start)) {
        return;
    }
    std::exception_ptr thrown;
    try {
        notifyDelegateOfEOF();
    } catch (...) { // it has ended all the same
        thrown = std::current_exception();
    }
    stopAtEndSince(start);
    if (thrown != nullptr) {
        std::rethrow_exception(thrown);
    }
}

// A start at the end may report the same end twice: based on the count, only the first report is handled.
void BRAQExtendedAudioFilePlayer::stopAtEndSince(UInt64 start) {
    const std::lock_guard lock(mTransportMutex);
    if (isAtEndSince(start)) {
        ++mStarts;
        mOutputAudioUnit->stop();
    }
}

bool BRAQExtendedAudioFilePlayer::isAtEndSince(UInt64 start) const {
    return mStarts == start && BRAQAudioBufferQueueReachedEndOfStream(reader().get());
}

void BRAQExtendedAudioFilePlayer::startUnit() {
    ++mStarts;
    if (isAtFirstFrame()) {
        mOutputAudioUnit->startWithoutTransition();
    } else {
        mOutputAudioUnit->start();
    }
}

// Where a file begins, it does not click by itself.
bool BRAQExtendedAudioFilePlayer::isAtFirstFrame() const {
    const auto deck = mDecks->playing();
    return deck.reader->position() == (deck.reader->reverse() ? deck.file->exactFrameCount() : 0);
}

// A running reader has its frames ready: refilling its ring would skip them.
void BRAQExtendedAudioFilePlayer::startFilePlaying() {
    const std::lock_guard lock(mTransportMutex);
    if (mIsInvalid) {
        return;
    }
    if (const auto current = reader(); !current->running()) {
        current->start();
    } else if (BRAQAudioBufferQueueReachedEndOfStream(reader().get())) {
        restartReaderAtEnd();
    }
    startUnit();
}

// A reader that was reversed just before the end has read on beyond it.
void BRAQExtendedAudioFilePlayer::restartReaderAtEnd() {
    const auto current = reader();
    const SInt64 end = current->currentFrame();
    current->stop();
    if (current->currentFrame() != end) {
        current->setCurrentFrame(end);
    }
    current->start();
}

void BRAQExtendedAudioFilePlayer::stopFilePlaying() {
    const std::lock_guard lock(mTransportMutex);
    mOutputAudioUnit->stop();
    reader()->stop();
}

void BRAQExtendedAudioFilePlayer::pausePlaying() {
    const std::lock_guard lock(mTransportMutex);
    mOutputAudioUnit->stop();
}

void BRAQExtendedAudioFilePlayer::resumePlaying() {
    const std::lock_guard lock(mTransportMutex);
    if (!mIsInvalid && reader()->running()) {
        startUnit();
    }
}

bool BRAQExtendedAudioFilePlayer::isPlaying() const { return mOutputAudioUnit->isRunning(); }

void BRAQExtendedAudioFilePlayer::invalidate() {
    const auto self = shared_from_this(); // the block may hold the last other reference
    if (stopForGood()) {
        // Waits for a block that is being called, which may want the lock.
        mOutputAudioUnit->setEndOfStreamNotificationBlock(nullptr);
        mOutputAudioUnit->setQueueChangeNotificationBlock(nullptr);
    }
}

bool BRAQExtendedAudioFilePlayer::stopForGood() {
    const std::lock_guard lock(mTransportMutex);
    if (mIsInvalid) {
        return false;
    }
    mIsInvalid = true;
    ++mStarts;
    mOutputAudioUnit->stop();
    try {
        reader()->stop();
        mDecks->setNext(nullptr);
    } catch (...) { // a reader whose worker does not stop is destroyed with its ring
        NSXLogError(file, NSXErrorFromException(std::current_exception())->localizedDescription());
    }
    return true;
}

void BRAQExtendedAudioFilePlayer::setPlaybackSpeed(float speed) {
    setUnitSpeed(speed, "-[BRAQExtendedAudioFilePlayer setPlaybackSpeed:]");
    reader()->setReverse(speed < 0.0F);
}

void BRAQExtendedAudioFilePlayer::setPlaybackSpeedAtOnce(float speed) {
    setUnitSpeed(speed, "-[BRAQExtendedAudioFilePlayer setPlaybackSpeedAtOnce:]");
    const bool isReverse = speed < 0.0F;
    const std::lock_guard lock(mTransportMutex);
    const BRAQLoopWalk heard = mDecks->walk();
    // Without a transition, a gap is less than frames that are heard twice.
    const bool hasTransition = mOutputAudioUnit->transitionTime() > 0.0;
    const auto turn = [=](BRAQAudioFileReader& other) {
        other.setReverse(isReverse);
        other.goOnAt(heard);
    };
    moveReader([=](BRAQAudioFileReader& current) { current.turn(isReverse); },
               [&] { return hasTransition ? mDecks->changeOver(turn) : mDecks->moveWaiting(turn); });
}

// Raises for an unsupported speed, so it comes before a reversal.
void BRAQExtendedAudioFilePlayer::setUnitSpeed(float speed, const char* method) {
    constexpr int assertionLine = 105;
    NSXAssertParameter(speed > 0.0F || speed < 0.0F, "speed > 0.0 || speed < 0.0", method, this,
                       "BRAQExtendedAudioFilePlayer", assertionLine);
    mOutputAudioUnit->setPlaybackRate(static_cast<double>(std::fabs(speed)));
}

float BRAQExtendedAudioFilePlayer::playbackSpeed() const {
    return static_cast<float>(mOutputAudioUnit->playbackRate());
}

void BRAQExtendedAudioFilePlayer::setKeepsPitch(bool keepsPitch) { mOutputAudioUnit->setKeepsPitch(keepsPitch); }

bool BRAQExtendedAudioFilePlayer::keepsPitch() const { return mOutputAudioUnit->keepsPitch(); }

void BRAQExtendedAudioFilePlayer::setPlaybackVolume(double decibels) {
    constexpr double decibelsPerDecade = 20.0;
    mOutputAudioUnit->setPlaybackLevel(std::pow(10.0, decibels / decibelsPerDecade));
}

void BRAQExtendedAudioFilePlayer::setPlaybackLevel(double level) { mOutputAudioUnit->setPlaybackLevel(level); }

SInt64 BRAQExtendedAudioFilePlayer::currentFrame() const { return reader()->currentFrame(); }

SInt64 BRAQExtendedAudioFilePlayer::position() const { return reader()->position(); }

void BRAQExtendedAudioFilePlayer::setCurrentFrame(SInt64 frame) {
    moveTo(frame);
    didChangeValueForKey("currentFrame");
}

// A unit that signals the end takes nothing until it is started again. It may be about to signal, so it is started in
// any case, and an end signalled before is no longer reported.
/// @param inPlace moves the reader that is heard, or would be; its ring gives nothing meanwhile
/// @param changeOver moves a reader that is not heard yet, to which the unit then changes over; false if not
void BRAQExtendedAudioFilePlayer::moveReader(const std::function<void(BRAQAudioFileReader&)>& inPlace,
                                             const std::function<bool()>& changeOver) {
    ++mStarts;
    const bool isPlaying = !mIsInvalid && mOutputAudioUnit->isRunning();
    try {
        if (!changeOver()) {
            inPlace(*reader());
        }
    } catch (...) { // this stopped the reader, whose ring still has the old position
        mOutputAudioUnit->stop();
        throw;
    }
    if (isPlaying) {
        startUnit();
    }
}

void BRAQExtendedAudioFilePlayer::moveTo(SInt64 frame) {
    const auto move = [frame](BRAQAudioFileReader& reader) { reader.setCurrentFrame(frame); };
    const std::lock_guard lock(mTransportMutex);
    moveReader(move, [&] { return mDecks->changeOver(move); });
}

void BRAQExtendedAudioFilePlayer::setLoop(SInt64 firstFrame, SInt64 endFrame, UInt64 count) {
    const std::lock_guard lock(mTransportMutex);
    if (firstFrame < 0 || endFrame <= firstFrame || endFrame > audioFile()->exactFrameCount()) {
        throw NSException(NSInvalidArgumentException, "a loop has to have frames, all of them of the file");
    }
    repeat({static_cast<UInt64>(firstFrame), static_cast<UInt64>(endFrame - firstFrame)}, count);
}

void BRAQExtendedAudioFilePlayer::clearLoop() {
    const std::lock_guard lock(mTransportMutex);
    repeat({}, 0);
}

// Nothing that is heard changes at once: without need, nothing is read again.
void BRAQExtendedAudioFilePlayer::repeat(const BRAQFrameRange& range, UInt64 rounds) {
    if (mDecks->tryRepeat(range, rounds)) {
        moveReader([=](BRAQAudioFileReader& current) { current.setRepeat(range, rounds); },
                   [=, this] { return mDecks->changeOverToRepeat(range, rounds); });
    }
}

BRAQFrameRange BRAQExtendedAudioFilePlayer::loop() const { return reader()->repeatRange(); }

UInt64 BRAQExtendedAudioFilePlayer::loopCount() const { return reader()->repeatRounds(); }

std::shared_ptr<BRAQAudioFileReader> BRAQExtendedAudioFilePlayer::reader() const { return mDecks->playing().reader; }

std::shared_ptr<BRAQExtendedAudioFile> BRAQExtendedAudioFilePlayer::audioFile() const { return mDecks->playing().file; }

std::shared_ptr<BRAQExtendedAudioFile> BRAQExtendedAudioFilePlayer::nextAudioFile() const { return mDecks->next(); }

void BRAQExtendedAudioFilePlayer::setNextAudioFile(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile) {
    const std::lock_guard lock(mTransportMutex);
    if (!mIsInvalid) {
        mDecks->setNext(audioFile);
    }
}

bool BRAQExtendedAudioFilePlayer::setNextFileURL(const std::shared_ptr<NSURL>& url, std::shared_ptr<NSError>* error) {
    BRAQExtendedAudioFileOptions options;
    options.clientDataFormat = mOutputAudioUnit->streamDescription();
    const auto next = BRAQExtendedAudioFile::initForPlaybackWithFileURL(url, options, error);
    if (next == nullptr) {
        return false;
    }
    setNextAudioFile(next);
    return true;
}

UInt64 BRAQExtendedAudioFilePlayer::errorCount() const { return reader()->errorCount(); }

std::shared_ptr<NSError> BRAQExtendedAudioFilePlayer::lastError() const { return reader()->lastError(); }

double BRAQExtendedAudioFilePlayer::sampleRate() const { return audioFile()->streamDescription()->sampleRate(); }

double BRAQExtendedAudioFilePlayer::currentTime() const {
    return static_cast<double>(currentFrame()) / sampleRate() * millisecondsPerSecond;
}

// Host times are those of the clock that this one is on Linux.
SInt64 BRAQExtendedAudioFilePlayer::heardFrame() const {
    const std::chrono::nanoseconds now = std::chrono::steady_clock::now().time_since_epoch();
    return heardFrameAt(static_cast<UInt64>(now.count()));
}

SInt64 BRAQExtendedAudioFilePlayer::heardFrameAt(UInt64 hostTime) const { return mDecks->heardFrameAt(hostTime); }

double BRAQExtendedAudioFilePlayer::heardTime() const {
    return static_cast<double>(heardFrame()) / sampleRate() * millisecondsPerSecond;
}

void BRAQExtendedAudioFilePlayer::setCurrentTime(double milliseconds) {
    if (std::isnan(milliseconds)) {
        throw NSException(NSInvalidArgumentException, "a position in a file has to be a number");
    }
    moveTo(saturated(std::floor(milliseconds / millisecondsPerSecond * sampleRate())));
    didChangeValueForKey("currentTime");
}

double BRAQExtendedAudioFilePlayer::maxTime() const {
    return static_cast<double>(audioFile()->exactFrameCount()) / sampleRate() * millisecondsPerSecond;
}

void BRAQExtendedAudioFilePlayer::notifyDelegateOfEOF() {
    if (const auto delegate = mDelegate.get(); delegate.audioFilePlayerDidReachEndOfFile) {
        delegate.audioFilePlayerDidReachEndOfFile(shared_from_this());
    }
}

void BRAQExtendedAudioFilePlayer::notifyDelegateOfStop() {
    if (const auto delegate = mDelegate.get(); delegate.audioFilePlayerDidStop) {
        delegate.audioFilePlayerDidStop(shared_from_this());
    }
}

void BRAQExtendedAudioFilePlayer::notifyDelegateOfNextFile() {
    if (const auto delegate = mDelegate.get(); delegate.audioFilePlayerDidBeginNextFile) {
        delegate.audioFilePlayerDidBeginNextFile(shared_from_this());
    }
}

// Retains the player: a stop is told whatever becomes of it meanwhile.
void BRAQExtendedAudioFilePlayer::audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& /*unit*/) {
    BRAQMainQueue::mainQueue().submit([self = shared_from_this()] { self->notifyDelegateOfStop(); });
}

std::vector<std::string>
BRAQExtendedAudioFilePlayer::keyPathsForValuesAffectingValueForKey(const std::string& key) const {
    return key == "currentTime" ? std::vector<std::string>{"currentFrame"} : std::vector<std::string>{};
}
