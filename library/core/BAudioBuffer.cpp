#include "BRAQAudio/core/BAudioBuffer.h"

#include "library/core/BAudioBufferCopies.h"
#include "library/core/BRecord.h"

#include <cstdlib>
#include <new>

BAudioBuffer* BAudioBufferCreate(UInt32 frames, UInt32 channels) {
    return braq::createRecord<BAudioBuffer>(
        [=](BAudioBuffer* buffer) { return BAudioBufferInitialize(buffer, frames, channels); });
}

bool BAudioBufferInitialize(BAudioBuffer* buffer, UInt32 frames, UInt32 channels) {
    buffer->mByteSize = frames * UInt32{sizeof(Float32)};
    buffer->mAudioBufferList = braq::createSamples(channels, 1, buffer->mByteSize);
    new (&buffer->mStartFrame) std::atomic<UInt32>(0);
    new (&buffer->mEndFrame) std::atomic<UInt32>(0);
    buffer->mEndOfStream = false;
    return buffer->mAudioBufferList != nullptr;
}

void BAudioBufferDealloc(BAudioBuffer* buffer) { braq::destroySamples(buffer->mAudioBufferList); }

void BAudioBufferDestroy(BAudioBuffer* buffer) {
    BAudioBufferDealloc(buffer);
    std::free(buffer);
}

UInt32 BAudioBufferStartFrame(const BAudioBuffer* buffer) noexcept {
    return buffer->mStartFrame.load(std::memory_order_relaxed);
}

void BAudioBufferSetStartFrame(BAudioBuffer* buffer, UInt32 frame) noexcept {
    buffer->mStartFrame.store(frame, std::memory_order_release); // as with the file's frame of a queueable buffer
}

UInt32 BAudioBufferEndFrame(const BAudioBuffer* buffer) noexcept {
    return buffer->mEndFrame.load(std::memory_order_relaxed);
}

void BAudioBufferSetEndFrame(BAudioBuffer* buffer, UInt32 frame) noexcept {
    buffer->mEndFrame.store(frame, std::memory_order_relaxed);
}

UInt32 BAudioBufferFrameCount(const BAudioBuffer* buffer) noexcept {
    return BAudioBufferEndFrame(buffer) - BAudioBufferStartFrame(buffer);
}

bool BAudioBufferReachedEndOfStream(const BAudioBuffer* buffer) noexcept { return buffer->mEndOfStream; }

void BAudioBufferSetReachedEndOfStream(BAudioBuffer* buffer, UInt32 reached) noexcept {
    buffer->mEndOfStream = reached != 0;
}

AudioBufferList* BAudioBufferAudioBufferList(const BAudioBuffer* buffer) noexcept { return buffer->mAudioBufferList; }

void BAudioBufferSetEmpty(BAudioBuffer* buffer) noexcept {
    BAudioBufferSetStartFrame(buffer, 0);
    BAudioBufferSetEndFrame(buffer, 0);
}

bool BAudioBufferCopyInto(BAudioBuffer* buffer, AudioBufferList* destination, UInt32 bytesPerFrame,
                          UInt32* framesProduced, UInt32* framesRequired) noexcept {
    return braq::copyInto(buffer, destination, bytesPerFrame, {*framesProduced, *framesRequired});
}

bool BAudioBufferCopyFrom(BAudioBuffer* buffer, const AudioBufferList* source, UInt32 bytesPerFrame,
                          UInt32* framesProduced, UInt32* framesRequired) noexcept {
    return braq::copyFrom(buffer, source, bytesPerFrame, {*framesProduced, *framesRequired});
}
