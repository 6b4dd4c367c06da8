#include "BRAQAudio/BRAQAudioFileReader.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQAudioFileReader_Repeat.h"

namespace {

using ClosedStretch = BRAQAudioBufferQueueGate::ClosedStretch;

} // namespace

std::shared_ptr<BRAQAudioFileReader> BRAQAudioFileReader::initWithBufferCount(
    UInt64 bufferCount, UInt32 numFrames,
    const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription) try {
    return std::shared_ptr<BRAQAudioFileReader>(new BRAQAudioFileReader(bufferCount, numFrames, streamDescription));
} catch (const std::exception& failure) {
    NSXLogError("src/BRAQAudioFileReader", failure.what());
    return nullptr;
}

BRAQAudioFileReader::BRAQAudioFileReader(UInt64 bufferCount, UInt32 numFrames,
                                         const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription)
    : BRAQAudioFileStreamer(bufferCount, numFrames, streamDescription),
      mRepeat(std::make_unique<BRAQLoopWalk>()),
      mBeginnings(std::make_unique<Beginning[]>(bufferCount)) {}

BRAQAudioFileReader::~BRAQAudioFileReader() { teardownWorkerThread(); }

void BRAQAudioFileReader::start() {
    const ClosedStretch closed(mGate);
    waitUntilWorkerIsIdle();
    mErrorCount.store(0, std::memory_order_relaxed);
    mEndOfStream.store(false, std::memory_order_relaxed);
    prime();
    mRunning = true;
    startWorker();
}

void BRAQAudioFileReader::stop() {
    const ClosedStretch closed(mGate);
    waitUntilWorkerIsIdle();
    stopWorker();
    mRunning = false;
    const std::lock_guard lock(mDirectionMutex);
    beginRoundAtSeam();
}

SInt64 BRAQAudioFileReader::position() const noexcept {
    return running() ? BRAQAudioFileReaderGetPosition(this) : mCurrentFrame.load();
}

SInt64 BRAQAudioFileReader::currentFrame() const noexcept {
    return running() ? BRAQAudioFileReaderGetCurrentFrame(this) : mCurrentFrame.load();
}

void BRAQAudioFileReader::setCurrentFrame(SInt64 frame) {
    const ClosedStretch closed(mGate);
    waitUntilWorkerIsIdle();
    if (!running()) {
        seek(frame);
        return;
    }
    stop();
    flush();
    seek(frame);
    start();
}

void BRAQAudioFileReader::enableLoopingInRange(const BRAQFrameRange& range) {
    const ClosedStretch closed(mGate);
    waitUntilWorkerIsIdle();
    if (!running()) {
        setLooping(true);
        setLoopRange(range);
        return;
    }
    const SInt64 heard = BRAQAudioFileReaderGetCurrentFrame(this);
    const auto place = static_cast<UInt64>(heard);
    const bool isInside = range.location <= place && place < range.end();
    stop();
    flush();
    goTo(audioFile().get(), isInside ? heard : static_cast<SInt64>(range.location));
    setLooping(true);
    setLoopRange(range);
    start();
}

void BRAQAudioFileReader::disableLooping() {
    const ClosedStretch closed(mGate);
    waitUntilWorkerIsIdle();
    if (!running()) {
        setLooping(false);
        return;
    }
    const SInt64 heard = BRAQAudioFileReaderGetCurrentFrame(this);
    stop();
    flush();
    goTo(audioFile().get(), heard);
    setLooping(false);
    start();
}

bool BRAQAudioFileReader::isLooping() const { return loop().looping; }

void BRAQAudioFileReader::setLooping(bool looping) {
    const std::lock_guard lock(mLoopMutex);
    mLooping = looping;
}

BRAQFrameRange BRAQAudioFileReader::loopRange() const { return loop().range; }

void BRAQAudioFileReader::setLoopRange(const BRAQFrameRange& range) {
    const std::lock_guard lock(mLoopMutex);
    mLoopRange = range;
}

bool BRAQAudioFileReader::reverse() const {
    const auto file = audioFile();
    return file != nullptr && file->reverse();
}

void BRAQAudioFileReader::turn(bool reverse) {
    const ClosedStretch closed(mGate);
    waitUntilWorkerIsIdle();
    if (!running()) {
        setReverse(reverse);
        return;
    }
    if (this->reverse() == reverse && isAllInDirection(reverse)) {
        return;
    }
    const BRAQLoopWalk heard = walk();
    stop();
    setReverse(reverse);
    goOnAt(heard);
    start();
}

void BRAQAudioFileReader::setReverse(bool reverse) {
    const std::lock_guard lock(mDirectionMutex);
    if (const auto file = audioFile()) {
        file->setReverse(reverse);
    }
}
