#include "BRAQAudio/BRAQAudioFileReader.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"

#include <algorithm>

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
}

// Retries if the real-time side has moved on meanwhile: what was read may belong to a later buffer, or, once around the
// ring, to the same one refilled.
BRAQAudioFileReader::Place BRAQAudioFileReader::place() const noexcept {
    UInt64 index = mCurrentBuffer.load(std::memory_order_acquire);
    while (true) {
        const BQueueableAudioBuffer* const buffer = mBufferArray[index];
        const SInt64 fileStart = buffer->mFileStartFrame.load(std::memory_order_acquire);
        const Float64 rate = buffer->mPlaybackRate.load(std::memory_order_acquire);
        const SInt64 consumed = buffer->mAudioBuffer.mStartFrame.load(std::memory_order_acquire);
        const UInt64 indexNow = mCurrentBuffer.load(std::memory_order_acquire);
        if (indexNow == index && buffer->mFileStartFrame.load(std::memory_order_relaxed) == fileStart) {
            return {fileStart, consumed, rate < 0.0};
        }
        index = indexNow;
    }
}

SInt64 BRAQAudioFileReaderGetCurrentFrame(const BRAQAudioFileReader* reader) noexcept {
    const BRAQAudioFileReader::Place place = reader->place();
    return place.fileStart + place.consumed;
}

SInt64 BRAQAudioFileReaderGetPosition(const BRAQAudioFileReader* reader) noexcept {
    const BRAQAudioFileReader::Place place = reader->place();
    return place.isBackwards ? place.fileStart - place.consumed : place.fileStart + place.consumed;
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
        goTo(audioFile().get(), frame);
        return;
    }
    stop();
    flush();
    goTo(audioFile().get(), frame);
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
    const SInt64 heard = BRAQAudioFileReaderGetPosition(this);
    stop();
    setReverse(reverse);
    goTo(audioFile().get(), heard);
    start();
}

bool BRAQAudioFileReader::isAllInDirection(bool reverse) const {
    const auto* const buffers = mBufferArray.get();
    return std::all_of(buffers, buffers + mNumberBuffers, [&](const BQueueableAudioBuffer* buffer) {
        return (BQueueableAudioBufferPlaybackRate(buffer) < 0.0) == reverse;
    });
}

void BRAQAudioFileReader::setReverse(bool reverse) {
    const std::lock_guard lock(mDirectionMutex);
    if (const auto file = audioFile()) {
        file->setReverse(reverse);
    }
}
