#include "library/src/BRAQPlayerDecks.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQAudioFileReader_Repeat.h"
#include "library/src/BRAQQueueSequence.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <thread>
#include <utility>

namespace {

constexpr UInt64 readerBuffers = 3;
constexpr UInt32 readerFrames = 4096;

std::shared_ptr<BRAQAudioFileReader> makeReader(const BRAQExtendedAudioFile& file) {
    auto reader = BRAQAudioFileReader::initWithBufferCount(readerBuffers, readerFrames, file.streamDescription());
    if (reader == nullptr) {
        throw NSException(NSInternalInconsistencyException, "a player got no reader; the log says why");
    }
    return reader;
}

// Has the length published, so that whoever asks for it later does not wait for a read. A failure is theirs.
void learnLength(const BRAQExtendedAudioFile& file) noexcept {
    try {
        file.exactFrameCount();
    } catch (...) {
    }
}

BRAQPlayerDecks::Deck makeDeck(const std::shared_ptr<BRAQExtendedAudioFile>& file) {
    learnLength(*file);
    BRAQPlayerDecks::Deck deck{file, makeReader(*file)};
    deck.reader->setAudioFile(file);
    return deck;
}

} // namespace

BRAQPlayerDecks::BRAQPlayerDecks(const std::shared_ptr<BRAQOutputAudioUnit>& unit,
                                 const std::shared_ptr<BRAQExtendedAudioFile>& file)
    : mUnit(unit), mPlaying(makeDeck(file)) {
    mUnit->mQueues->keepHeard(&placeOf);
    mUnit->mQueues->setLongestChange(readerFrames);
    mUnit->setAudioBufferQueue(mPlaying.reader);
}

// Programs can give the unit a ring that is no reader.
std::optional<BRAQReaderPlace> BRAQPlayerDecks::placeOf(const BRAQAudioBufferQueue* queue) noexcept {
    const auto* const reader = dynamic_cast<const BRAQAudioFileReader*>(queue);
    if (reader == nullptr) {
        return std::nullopt;
    }
    const auto place = reader->place();
    return BRAQReaderPlace{place.walk, place.isBackwards};
}

BRAQPlayerDecks::Deck BRAQPlayerDecks::playing() const {
    const std::lock_guard lock(mMutex);
    promote();
    return mPlaying;
}

std::shared_ptr<BRAQExtendedAudioFile> BRAQPlayerDecks::next() const {
    const std::lock_guard lock(mMutex);
    promote();
    return mNext.file;
}

// The real-time side changes without telling: whoever asks first finds it out.
void BRAQPlayerDecks::promote() const {
    if (mNext.reader != nullptr && mUnit->audioBufferQueue() == mNext.reader) {
        mReaders.push_back(std::exchange(mPlaying, std::exchange(mNext, {})).reader);
        mReaders.insert(mReaders.end(), mSpares.begin(), mSpares.end());
        mSpares.clear();
        ++mFilesBefore;
    }
}

void BRAQPlayerDecks::setNext(const std::shared_ptr<BRAQExtendedAudioFile>& file) {
    Deck next;
    if (file != nullptr) {
        next = makeDeck(file);
        if (file->reverse()) {
            next.reader->setCurrentFrame(file->exactFrameCount());
        }
        next.reader->start();
    }
    mUnit->setNextAudioBufferQueue(next.reader);
    const std::lock_guard lock(mMutex);
    promote(); // what was next before may have begun in the meantime
    std::swap(mNext, next);
}

// The unit uses two readers at most while none waits: one is heard, and one may fade out. Those that are free but for one
// are destroyed, without the lock: that takes a while.
std::shared_ptr<BRAQAudioFileReader> BRAQPlayerDecks::spareReader() {
    const Deck now = playing();
    std::vector<std::shared_ptr<BRAQAudioFileReader>> free;
    {
        const std::lock_guard lock(mMutex);
        std::erase_if(mSpares, [&](const auto& spare) {
            const bool isFree = !mUnit->isUsing(spare);
            if (isFree) {
                free.push_back(spare);
            }
            return isFree;
        });
    }
    if (free.empty()) {
        return makeReader(*now.file);
    }
    free.back()->stop();
    return free.back();
}

UInt64 BRAQPlayerDecks::pulled() const {
    return mUnit->pulledFrames([] {});
}

// The first reader loses the file, so that its worker reads no more of it. What it has read is heard meanwhile.
bool BRAQPlayerDecks::prepare(BRAQAudioFileReader& reader, const Deck& now, const Move& move) const {
    const bool isReverse = now.reader->reverse();
    now.reader->setAudioFile(nullptr);
    now.reader->setReverse(isReverse); // waits for the buffer that is being filled
    try {
        reader.setAudioFile(now.file);
        reader.setLoopRange(now.reader->loopRange());
        reader.setLooping(now.reader->isLooping());
        reader.repeatLike(*now.reader);
        move(reader);
        reader.start();
        return true;
    } catch (...) { // happens again, and is told, when the first reader is moved
        reader.setAudioFile(nullptr);
        now.reader->setAudioFile(now.file);
        return false;
    }
}

bool BRAQPlayerDecks::changeOver(const Move& move) {
    return moveWaiting(move) || (mUnit->isRunning() && changeOver(move, std::nullopt));
}

bool BRAQPlayerDecks::moveWaiting(const Move& move) {
    return changeWaiting([&](BRAQAudioFileReader& reader) {
        const bool wasRunning = reader.running();
        mJoint.reset();
        reader.stop();
        move(reader);
        if (wasRunning) {
            reader.start();
        }
    });
}

std::optional<UInt64> BRAQPlayerDecks::tryRepeat(const BRAQFrameRange& range, UInt64 rounds) const {
    return playing().reader->tryRepeat(range, rounds);
}

// Frames are pulled while the other reader reads. It begins where the first one was before, and the unit leaves out of it
// what was pulled meanwhile: so nothing is heard twice, and a range that is set a moment late is in time.
bool BRAQPlayerDecks::changeOverToRepeat(const BRAQFrameRange& range, UInt64 rounds) {
    const auto repeatWaiting = [&](BRAQAudioFileReader& reader) {
        const auto alike = reader.tryRepeat(range, rounds);
        if (alike) {
            reader.setRepeat(range, rounds);
        }
        if (alike && mJoint) {
            mJoint->alike = std::min(mJoint->alike, *alike);
        }
    };
    if (changeWaiting(repeatWaiting)) {
        return true;
    }
    if (!mUnit->isRunning()) {
        return false;
    }
    const auto first = playing().reader;
    BRAQLoopWalk heard;
    const UInt64 pulled = mUnit->pulledFrames([&] { heard = first->walk(); });
    const auto alike = first->tryRepeat(range, rounds);
    if (!alike) {
        return true;
    }
    const auto move = [&](BRAQAudioFileReader& other) {
        if (playing().reader != first) {
            throw NSException(NSInternalInconsistencyException, "the next file has begun");
        }
        other.goOnAt(heard, range, rounds);
    };
    return changeOver(move, Joint{pulled, *alike});
}

bool BRAQPlayerDecks::changeOver(const Move& move, const std::optional<Joint>& joint) {
    const auto reader = spareReader();
    // The first reader ends early; nothing is to follow that.
    mUnit->setNextAudioBufferQueue(nullptr);
    const Deck now = playing();
    mPulledBefore = pulled();
    const bool isPrepared = prepare(*reader, now, move);
    if (isPrepared) {
        mJoint = joint;
        const std::lock_guard lock(mMutex);
        mSpares.push_back(std::exchange(mPlaying.reader, reader));
    }
    handOver(isPrepared ? reader : nullptr);
    return isPrepared;
}

// What follows the file does so again.
void BRAQPlayerDecks::handOver(const std::shared_ptr<BRAQAudioFileReader>& reader) {
    if (reader != nullptr && mJoint) {
        mUnit->continueInAudioBufferQueue(reader, mJoint->pulledBefore, mJoint->alike);
    } else if (reader != nullptr) {
        mUnit->changeAudioBufferQueue(reader);
    }
    std::shared_ptr<BRAQAudioFileReader> next;
    {
        const std::lock_guard lock(mMutex);
        next = mNext.reader;
    }
    mUnit->setNextAudioBufferQueue(next);
}

// The reader that is heard meanwhile has only the frames that it had read. Where readers are moved again and again, the
// one that waits has its turn before they run out.
bool BRAQPlayerDecks::changeWaiting(const std::function<void(BRAQAudioFileReader& reader)>& change) {
    if (mUnit->willChange() && pulled() - mPulledBefore > readerFrames) {
        waitForTurn();
    }
    if (!mUnit->willChange()) {
        return false;
    }
    mUnit->setNextAudioBufferQueue(nullptr);
    const auto reader = playing().reader;
    if (!mUnit->takeBackChange()) {
        handOver(nullptr);
        return false;
    }
    try {
        change(*reader);
    } catch (...) {
        handOver(reader);
        throw;
    }
    handOver(reader);
    return true;
}

void BRAQPlayerDecks::waitForTurn() const {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds pause{1};
    constexpr std::chrono::milliseconds patience{100};
    const auto begin = Clock::now();
    const auto limit = patience + std::chrono::duration<double, std::milli>(mUnit->transitionTime());
    while (mUnit->willChange() && Clock::now() - begin < limit) {
        std::this_thread::sleep_for(pause);
    }
}

BRAQLoopWalk BRAQPlayerDecks::walk() const {
    const auto reader = playing().reader;
    BRAQLoopWalk walk = reader->walk();
    if (mJoint && mUnit->willChange()) {
        walk.advance(pulled() - mJoint->pulledBefore, reader->reverse());
    }
    return walk;
}

SInt64 BRAQPlayerDecks::heardFrameAt(UInt64 hostTime) const {
    const std::lock_guard lock(mMutex);
    promote();
    if (!mUnit->isRunning()) {
        return mPlaying.reader->position();
    }
    const double taken = static_cast<double>(hostTime) - mUnit->latency() * heardNanosecondsPerSecond;
    const auto heard = mUnit->mQueues->heardAt(taken);
    if (!heard) {
        return mPlaying.reader->position();
    }
    if (heard->file < mFilesBefore) {
        return mPlaying.reader->reverse() ? mPlaying.file->exactFrameCount() : 0;
    }
    return heard->frameAt(taken);
}

void BRAQPlayerDecks::release() {
    std::vector<std::shared_ptr<BRAQAudioFileReader>> readers; // released without the lock: that takes a while
    const std::lock_guard lock(mMutex);
    promote();
    readers.swap(mReaders);
    mUnit->releaseRings();
    for (auto& reader : readers) {
        if (mUnit->isUsing(reader)) {
            mReaders.push_back(std::move(reader)); // fades out
        }
    }
}
