#include "BRAQAudio/BRAQAudioBufferQueue.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/core/BAudioBufferCopies.h"

#include <limits>

namespace {

using ClosedStretch = BRAQAudioBufferQueueGate::ClosedStretch;

constexpr const char* file = "src/BRAQAudioBufferQueue";

// Same as the exported function, but inline: the real-time side checks it for every block.
bool isWithWorker(const BQueueableAudioBuffer* buffer) noexcept {
    return buffer->mInProgress.load(std::memory_order_acquire);
}

[[noreturn]] void refuse(const char* reason) { throw NSException(NSInvalidArgumentException, reason); }

} // namespace

std::shared_ptr<BRAQAudioBufferQueue> BRAQAudioBufferQueue::initWithBufferCount(
    UInt64 bufferCount, UInt32 numFrames,
    const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription) try {
    return std::shared_ptr<BRAQAudioBufferQueue>(new BRAQAudioBufferQueue(bufferCount, numFrames, streamDescription));
} catch (const std::exception& failure) {
    NSXLogError(file, failure.what());
    return nullptr;
}

BRAQAudioBufferQueue::BRAQAudioBufferQueue(UInt64 bufferCount, UInt32 numFrames,
                                           const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription)
    : mStreamDescription(streamDescription),
      mBufferSizeFrames(numFrames),
      mNumberBuffers(bufferCount),
      mBytesPerFrame(streamDescription != nullptr ? streamDescription->bytesPerFrame() : 0) {
    if (streamDescription == nullptr || streamDescription->channelsPerFrame() == 0) {
        refuse("An audio buffer queue needs a stream description with at least one channel.");
    }
    if (mBytesPerFrame > sizeof(Float32)) {
        refuse("An audio buffer queue needs a stream description that is not interleaved.");
    }
    if (bufferCount == 0 || numFrames == 0 || numFrames > std::numeric_limits<UInt32>::max() / sizeof(Float32)) {
        refuse("An audio buffer queue needs at least one buffer of at least one frame.");
    }
    createBuffers(numFrames);
    mQueueWorker = BAudioBufferQueueWorkerCreate();
    if (mQueueWorker == nullptr) {
        destroyBuffers();
        refuse("An audio buffer queue could not start its worker.");
    }
}

BRAQAudioBufferQueue::~BRAQAudioBufferQueue() {
    teardownWorkerThread();
    destroyBuffers();
}

void BRAQAudioBufferQueue::createBuffers(UInt32 numFrames) {
    mBufferArray = std::make_unique<BQueueableAudioBuffer*[]>(mNumberBuffers);
    for (UInt64 i = 0; i < mNumberBuffers; ++i) {
        // The queue owns the buffers, so it outlives their blocks.
        mBufferArray[i] = BQueueableAudioBufferCreate([this](BQueueableAudioBuffer* buffer) { processBuffer(buffer); },
                                                      numFrames, mStreamDescription->channelsPerFrame());
        if (mBufferArray[i] == nullptr) {
            destroyBuffers();
            refuse("An audio buffer queue could not get memory for its buffers.");
        }
    }
    setCurrentBuffer(0);
}

void BRAQAudioBufferQueue::destroyBuffers() noexcept {
    for (UInt64 i = 0; i < mNumberBuffers; ++i) {
        if (mBufferArray[i] != nullptr) {
            BQueueableAudioBufferDestroy(mBufferArray[i]);
            mBufferArray[i] = nullptr;
        }
    }
}

void BRAQAudioBufferQueue::processBuffer(BQueueableAudioBuffer* /*buffer*/) {
    throw NSException(NSInvalidArgumentException,
                      NSStringWithFormat("-[BRAQAudioBufferQueue processBuffer:]: unrecognized selector sent to "
                                         "instance %p",
                                         static_cast<void*>(this)));
}

void BRAQAudioBufferQueue::prime() {
    const ClosedStretch closed(mGate);
    waitUntilWorkerIsIdle();
    mEndOfStream.store(false, std::memory_order_relaxed);
    for (UInt64 i = 0; i < mNumberBuffers; ++i) {
        processBuffer(mBufferArray[i]);
        BQueueableAudioBufferSetInProgress(mBufferArray[i], false);
    }
    setCurrentBuffer(0);
}

void BRAQAudioBufferQueue::flush() {
    const ClosedStretch closed(mGate);
    waitUntilWorkerIsIdle();
    BQueueableAudioBuffer* const buffer = currentBuffer();
    if (!BQueueableAudioBufferInProgress(buffer) && BAudioBufferFrameCount(&buffer->mAudioBuffer) != 0) {
        processBuffer(buffer);
    }
}

void BRAQAudioBufferQueue::startWorker() {}

void BRAQAudioBufferQueue::stopWorker() {
    const std::lock_guard lock(mWorkerMutex);
    if (mQueueWorker != nullptr) {
        BAudioBufferQueueWorkerStop(mQueueWorker);
    }
}

void BRAQAudioBufferQueue::teardownWorkerThread() {
    const ClosedStretch closed(mGate);
    if (mQueueWorker == nullptr) {
        return;
    }
    mGate.closeForGood();
    BAudioBufferQueueWorkerTeardown(mQueueWorker);
    const std::lock_guard lock(mWorkerMutex);
    BAudioBufferQueueWorkerLastError(mQueueWorker, &mLastError);
    BAudioBufferQueueWorkerDestroy(mQueueWorker);
    mQueueWorker = nullptr;
}

void BRAQAudioBufferQueue::waitUntilWorkerIsIdle() {
    if (mQueueWorker != nullptr) {
        BAudioBufferQueueWorkerWaitUntilIdle(mQueueWorker);
    }
}

std::shared_ptr<NSError> BRAQAudioBufferQueue::lastError() const {
    const std::lock_guard lock(mWorkerMutex);
    std::shared_ptr<NSError> error = mLastError;
    if (mQueueWorker != nullptr) {
        BAudioBufferQueueWorkerLastError(mQueueWorker, &error);
    }
    return error;
}

// The counter has one writer, so a load and a store suffice.
void BRAQAudioBufferQueue::countError() noexcept {
    mErrorCount.store(mErrorCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

void BRAQAudioBufferQueue::countDropped(UInt32 frames) noexcept {
    mDroppedFrames.store(mDroppedFrames.load(std::memory_order_relaxed) + frames, std::memory_order_relaxed);
}

// Moves on first: the worker may refill the buffer before its wake-up returns, and whoever asks for the position
// meanwhile would take that buffer for the current one.
void BRAQAudioBufferQueue::handOver(BQueueableAudioBuffer* buffer) noexcept {
    const UInt64 next = mCurrentBuffer.load(std::memory_order_relaxed) + 1;
    setCurrentBuffer(next == mNumberBuffers ? 0 : next);
    BAudioBufferQueueWorkerAddBuffer(mQueueWorker, buffer);
}

UInt32 BRAQAudioBufferQueue::drain(AudioBufferList* destination, UInt32 required) noexcept {
    UInt32 produced = 0;
    if (mEndOfStream.load(std::memory_order_relaxed)) {
        return produced;
    }
    // A request for 0 frames still checks the current buffer: an empty one must get to the worker.
    do {
        BQueueableAudioBuffer* const buffer = currentBuffer();
        if (isWithWorker(buffer)) {
            countError();
            break;
        }
        if (braq::copyInto(&buffer->mAudioBuffer, destination, mBytesPerFrame, {produced, required})) {
            handOver(buffer);
        } else if (buffer->mAudioBuffer.mEndOfStream) {
            mEndOfStream.store(true, std::memory_order_relaxed);
            break;
        }
    } while (required != 0);
    return produced;
}

void BRAQAudioBufferQueue::fill(const AudioBufferList* source, UInt32 required) noexcept {
    UInt32 produced = 0;
    do {
        BQueueableAudioBuffer* const buffer = currentBuffer();
        if (isWithWorker(buffer)) {
            countError();
            countDropped(required);
            return;
        }
        if (braq::copyFrom(&buffer->mAudioBuffer, source, mBytesPerFrame, {produced, required})) {
            handOver(buffer);
        }
    } while (required != 0);
}

// Inline, like the one below: what a call saves on the stack waits behind the stores of the previous copy.
inline bool BRAQAudioBufferQueue::drainInsideBuffer(AudioBufferList* destination, UInt32 frames) noexcept {
    BQueueableAudioBuffer* const buffer = currentBuffer();
    return !mEndOfStream.load(std::memory_order_relaxed) && !isWithWorker(buffer) &&
           braq::copyPartInto(&buffer->mAudioBuffer, destination, mBytesPerFrame, frames);
}

inline bool BRAQAudioBufferQueue::fillInsideBuffer(const AudioBufferList* source, UInt32 frames) noexcept {
    BQueueableAudioBuffer* const buffer = currentBuffer();
    return !isWithWorker(buffer) && braq::copyPartFrom(&buffer->mAudioBuffer, source, mBytesPerFrame, frames);
}

void BRAQAudioBufferQueueCopyInto(BRAQAudioBufferQueue* queue, AudioBufferList* destination, UInt32* frames) noexcept {
    if (!queue->mGate.enter()) {
        *frames = 0;
        return;
    }
    if (!queue->drainInsideBuffer(destination, *frames)) {
        *frames = queue->drain(destination, *frames);
    }
    queue->mGate.leave();
}

void BRAQAudioBufferQueueCopyFrom(BRAQAudioBufferQueue* queue, const AudioBufferList* source, UInt32 frames) noexcept {
    if (!queue->mGate.enter()) {
        queue->countDropped(frames);
        return;
    }
    if (!queue->fillInsideBuffer(source, frames)) {
        queue->fill(source, frames);
    }
    queue->mGate.leave();
}

UInt32 BRAQAudioBufferQueueCurrentFrame(const BRAQAudioBufferQueue* queue) noexcept {
    return BAudioBufferEndFrame(&queue->currentBuffer()->mAudioBuffer);
}

bool BRAQAudioBufferQueueReachedEndOfStream(const BRAQAudioBufferQueue* queue) noexcept {
    return !queue->mGate.isClosed() && queue->mEndOfStream.load(std::memory_order_relaxed);
}
