#include "BRAQAudio/core/BQueueableAudioBuffer.h"

#include "library/core/BRecord.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

BQueueableAudioBuffer* BQueueableAudioBufferCreate(const BQueueableAudioBufferBlock& block, UInt32 frames,
                                                   UInt32 channels) {
    return braq::createRecord<BQueueableAudioBuffer>([&](BQueueableAudioBuffer* buffer) {
        return BQueueableAudioBufferInitialize(buffer, block, frames, channels);
    });
}

bool BQueueableAudioBufferInitialize(BQueueableAudioBuffer* buffer, const BQueueableAudioBufferBlock& block,
                                     UInt32 frames, UInt32 channels) {
    // Copied first, because copying can throw.
    BQueueableAudioBufferBlock copy(block);
    if (!BAudioBufferInitialize(&buffer->mAudioBuffer, frames, channels)) {
        return false;
    }
    new (&buffer->mProcessingBlock) BQueueableAudioBufferBlock(std::move(copy));
    new (&buffer->mInProgress) std::atomic<bool>(false);
    new (&buffer->mFileStartFrame) std::atomic<SInt64>(0);
    new (&buffer->mPlaybackRate) std::atomic<Float64>(0.0);
    new (&buffer->mNext) std::atomic<BQueueableAudioBuffer*>(nullptr);
    return true;
}

void BQueueableAudioBufferDealloc(BQueueableAudioBuffer* buffer) {
    std::destroy_at(&buffer->mProcessingBlock);
    BAudioBufferDealloc(&buffer->mAudioBuffer);
}

void BQueueableAudioBufferDestroy(BQueueableAudioBuffer* buffer) {
    BQueueableAudioBufferDealloc(buffer);
    std::free(buffer);
}

const BQueueableAudioBufferBlock& BQueueableAudioBufferProcessingBlock(const BQueueableAudioBuffer* buffer) noexcept {
    return buffer->mProcessingBlock;
}

bool BQueueableAudioBufferInProgress(const BQueueableAudioBuffer* buffer) noexcept {
    return buffer->mInProgress.load(std::memory_order_acquire);
}

void BQueueableAudioBufferSetInProgress(BQueueableAudioBuffer* buffer, bool inProgress) noexcept {
    buffer->mInProgress.store(inProgress, std::memory_order_release);
}

SInt64 BQueueableAudioBufferFileStartFrame(const BQueueableAudioBuffer* buffer) noexcept {
    return buffer->mFileStartFrame.load(std::memory_order_relaxed);
}

void BQueueableAudioBufferSetFileStartFrame(BQueueableAudioBuffer* buffer, SInt64 frame) noexcept {
    // Who reads the new frame also sees that the buffer had been handed over.
    buffer->mFileStartFrame.store(frame, std::memory_order_release);
}

Float64 BQueueableAudioBufferPlaybackRate(const BQueueableAudioBuffer* buffer) noexcept {
    return buffer->mPlaybackRate.load(std::memory_order_relaxed);
}

void BQueueableAudioBufferSetPlaybackRate(BQueueableAudioBuffer* buffer, Float64 rate) noexcept {
    // Who reads the new rate also sees the file start frame that was set before it.
    buffer->mPlaybackRate.store(rate, std::memory_order_release);
}

// A worker may follow the link of a buffer that the real-time side has queued again. The buffer that it then finds was
// handed over by the thread that wrote the link, so the link must synchronise.
BQueueableAudioBuffer* BQueueableAudioBufferNext(const BQueueableAudioBuffer* buffer) noexcept {
    return buffer->mNext.load(std::memory_order_acquire);
}

void BQueueableAudioBufferSetNext(BQueueableAudioBuffer* buffer, BQueueableAudioBuffer* next) noexcept {
    buffer->mNext.store(next, std::memory_order_release);
}
