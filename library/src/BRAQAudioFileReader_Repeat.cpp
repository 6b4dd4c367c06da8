#include "library/src/BRAQAudioFileReader_Repeat.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

// Ranges that are repeated, and the place that is played meanwhile.

namespace {

using ClosedStretch = BRAQAudioBufferQueueGate::ClosedStretch;

/// How often a walk goes back that plays a range that often.
UInt64 returnsOf(UInt64 rounds) noexcept { return rounds == 0 ? std::numeric_limits<UInt64>::max() : rounds - 1; }

BRAQLoopWalk inRange(const BRAQLoopWalk& walk, const BRAQFrameRange& range, UInt64 rounds, bool backwards) noexcept {
    if (range.length == 0) {
        return BRAQLoopWalk{.place = walk.place};
    }
    return walk.inLoop(static_cast<SInt64>(range.location), static_cast<SInt64>(range.end()), returnsOf(rounds),
                       backwards);
}

} // namespace

BRAQAudioFileReader::Beginning& BRAQAudioFileReader::beginningOf(const BQueueableAudioBuffer* buffer) const {
    const auto* const buffers = mBufferArray.get();
    return mBeginnings[static_cast<std::size_t>(std::find(buffers, buffers + mNumberBuffers, buffer) - buffers)];
}

void BRAQAudioFileReader::publishBeginning(BQueueableAudioBuffer* queued, bool backwards) {
    Beginning& beginning = beginningOf(queued);
    beginning.changes.fetch_add(1);
    beginning.set(head(), 0);
    BQueueableAudioBufferSetFileStartFrame(queued, mCurrentFrame);
    BQueueableAudioBufferSetPlaybackRate(queued, backwards ? -1.0 : 1.0); // the speed is the unit's
    BAudioBufferSetEmpty(&queued->mAudioBuffer);
    beginning.changes.fetch_add(1);
}

BRAQLoopWalk BRAQAudioFileReader::head() const {
    BRAQLoopWalk walk = *mRepeat;
    walk.place = mCurrentFrame;
    return walk;
}

// Retries if the real-time side has moved on meanwhile: what was read may belong to a later buffer, or, once around the
// ring, to the same one refilled. It does not wait for a worker that is held up while it refills the current buffer,
// which nothing is played from then.
BRAQAudioFileReader::Place BRAQAudioFileReader::place() const noexcept {
    constexpr int patience = 16;
    UInt64 index = mCurrentBuffer.load(std::memory_order_acquire);
    for (int turn = 0;; ++turn) {
        const BQueueableAudioBuffer* const buffer = mBufferArray[index];
        const Beginning& beginning = mBeginnings[index];
        const UInt64 changes = beginning.changes.load();
        const SInt64 fileStart = buffer->mFileStartFrame.load();
        const bool isBackwards = buffer->mPlaybackRate.load() < 0.0;
        BRAQLoopWalk walk = beginning.walk();
        const UInt32 before = beginning.consumed.load();
        const UInt32 consumed = buffer->mAudioBuffer.mStartFrame.load();
        const UInt64 indexNow = mCurrentBuffer.load();
        const bool isWhole = changes % 2 == 0 && beginning.changes.load() == changes;
        if (indexNow == index && (isWhole || turn >= patience)) {
            walk.advance(consumed > before ? consumed - before : 0, isBackwards);
            return {index, consumed, fileStart, walk, isBackwards};
        }
        index = indexNow;
    }
}

BRAQLoopWalk BRAQAudioFileReader::walk() const { return place().walk; }

SInt64 BRAQAudioFileReaderGetCurrentFrame(const BRAQAudioFileReader* reader) noexcept {
    const BRAQAudioFileReader::Place place = reader->place();
    return place.isBackwards ? place.fileStart + SInt64{place.consumed} : place.walk.nextFrame(false);
}

SInt64 BRAQAudioFileReaderGetPosition(const BRAQAudioFileReader* reader) noexcept {
    const BRAQAudioFileReader::Place place = reader->place();
    return place.isBackwards ? place.walk.place : place.walk.nextFrame(false);
}

void BRAQAudioFileReader::setRepeat(const BRAQFrameRange& range, UInt64 rounds) {
    constexpr auto most = static_cast<UInt64>(std::numeric_limits<SInt64>::max());
    if (range.location > most || range.length > most - range.location) {
        throw NSException(NSInvalidArgumentException, "a range that is repeated ends beyond all files");
    }
    if (!tryRepeat(range, rounds)) {
        return;
    }
    const ClosedStretch closed(mGate);
    waitUntilWorkerIsIdle();
    const BRAQLoopWalk heard = walk();
    stop();
    goOnAt(heard, range, rounds);
    start();
}

BRAQFrameRange BRAQAudioFileReader::repeatRange() const {
    const std::lock_guard lock(mLoopMutex);
    return mRepeatRange;
}

UInt64 BRAQAudioFileReader::repeatRounds() const {
    const std::lock_guard lock(mLoopMutex);
    return mRepeatRounds;
}

void BRAQAudioFileReader::keepRepeat(const BRAQFrameRange& range, UInt64 rounds) {
    const std::lock_guard lock(mLoopMutex);
    mRepeatRange = range;
    mRepeatRounds = rounds;
}

// Both ways from the frame being played to the read head are compared frame by frame: the ring holds few. The buffers
// then tell their places in the new loop.
std::optional<UInt64> BRAQAudioFileReader::tryRepeat(const BRAQFrameRange& range, UInt64 rounds) {
    const std::lock_guard lock(mDirectionMutex);
    const auto file = audioFile();
    const bool backwards = file != nullptr && file->reverse();
    const BRAQLoopWalk last = head();
    if (!running()) {
        *mRepeat = inRange(last, range, rounds, backwards);
        keepRepeat(range, rounds);
        return std::nullopt;
    }
    const Place played = place();
    BRAQLoopWalk now = played.walk;
    BRAQLoopWalk then = inRange(now, range, rounds, backwards);
    const UInt64 most = mNumberBuffers * mBufferSizeFrames;
    std::vector<BRAQLoopWalk> beginnings(mNumberBuffers);
    for (UInt64 buffer = 0; buffer < mNumberBuffers; ++buffer) {
        beginnings[buffer] = mBeginnings[buffer].walk();
    }
    std::vector<std::pair<UInt64, BRAQLoopWalk>> changed;
    for (UInt64 frames = 0;; ++frames) {
        for (UInt64 buffer = 0; buffer < mNumberBuffers; ++buffer) {
            if (buffer != played.index && beginnings[buffer] == now) {
                changed.emplace_back(buffer, then);
            }
        }
        if (now == last) {
            break;
        }
        const bool isAlike = frames < most && now.nextFrame(backwards) == then.nextFrame(backwards);
        if (!isAlike || !isAllInDirection(backwards)) {
            return frames;
        }
        now.advance(1, backwards);
        then.advance(1, backwards);
    }
    if (mHasReadToEnd && then.isAtSeam(backwards)) {
        return most;
    }
    *mRepeat = then;
    keepRepeat(range, rounds);
    const auto change = [this](UInt64 buffer, const BRAQLoopWalk& walk, UInt32 consumed) {
        mBeginnings[buffer].changes.fetch_add(1);
        mBeginnings[buffer].set(walk, consumed);
        mBeginnings[buffer].changes.fetch_add(1);
    };
    change(played.index, inRange(played.walk, range, rounds, backwards), played.consumed);
    for (const auto& [buffer, walk] : changed) {
        change(buffer, walk, 0);
    }
    return std::nullopt;
}

bool BRAQAudioFileReader::isAllInDirection(bool reverse) const {
    const auto* const buffers = mBufferArray.get();
    return std::all_of(buffers, buffers + mNumberBuffers, [&](const BQueueableAudioBuffer* buffer) {
        return (BQueueableAudioBufferPlaybackRate(buffer) < 0.0) == reverse;
    });
}

void BRAQAudioFileReader::goOnAt(const BRAQLoopWalk& from) {
    const std::lock_guard lock(mDirectionMutex);
    *mRepeat = from;
    goTo(audioFile().get(), from.place);
}

void BRAQAudioFileReader::goOnAt(const BRAQLoopWalk& from, const BRAQFrameRange& range, UInt64 rounds) {
    goOnAt(inRange(from, range, rounds, reverse()));
    keepRepeat(range, rounds);
}

void BRAQAudioFileReader::repeatLike(const BRAQAudioFileReader& other) {
    keepRepeat(other.repeatRange(), other.repeatRounds());
}

void BRAQAudioFileReader::seek(SInt64 frame) {
    goOnAt(inRange({.place = frame}, repeatRange(), repeatRounds(), reverse()));
}

// Who asks for the position then is told the frame that is played next.
void BRAQAudioFileReader::beginRoundAtSeam() {
    BRAQLoopWalk last = head();
    const auto file = audioFile();
    if ((file == nullptr || !file->reverse()) && last.isAtSeam(false)) {
        last.goBack(false);
        *mRepeat = last;
        goTo(file.get(), last.place);
    }
}
