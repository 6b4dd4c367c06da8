#pragma once

#include "BRAQAudio/core/BAudioBuffer.h"
#include "library/core/BSamples.h"

// The two copies of a frame buffer, for the exported functions and for the ring, which uses them for every block.
namespace braq {

/// See `BAudioBufferCopyInto`.
inline bool copyInto(BAudioBuffer* buffer, AudioBufferList* destination, UInt32 bytesPerFrame,
                     const FrameCounters& counters) noexcept {
    UInt32 startFrame = buffer->mStartFrame.load(std::memory_order_relaxed);
    const bool emptied =
        drainFrames(buffer->mAudioBufferList, startFrame, buffer->mEndFrame.load(std::memory_order_relaxed),
                    buffer->mEndOfStream, destination, bytesPerFrame, counters);
    buffer->mStartFrame.store(startFrame, std::memory_order_relaxed);
    return emptied;
}

/// See `BAudioBufferCopyFrom`.
inline bool copyFrom(BAudioBuffer* buffer, const AudioBufferList* source, UInt32 bytesPerFrame,
                     const FrameCounters& counters) noexcept {
    const UInt32 endFrame = buffer->mEndFrame.load(std::memory_order_relaxed);
    const UInt32 heldFrames = endFrame - buffer->mStartFrame.load(std::memory_order_relaxed);
    const auto [frames, full] =
        fillFrames(buffer->mAudioBufferList, heldFrames, buffer->mByteSize, source, bytesPerFrame, counters);
    buffer->mEndFrame.store(endFrame + frames, std::memory_order_relaxed);
    return full;
}

// Nearly every block begins and ends inside one buffer. These functions handle just that case, with nothing to do after
// the copy: values kept across the copy would be reloaded behind its stores, which takes a fifth of the copy's time.

/// Moves `frames` frames out if the buffer holds more than that and is not the last of its stream.
/// @return whether it did; otherwise nothing was changed
inline bool copyPartInto(BAudioBuffer* buffer, AudioBufferList* destination, UInt32 bytesPerFrame,
                         UInt32 frames) noexcept {
    const UInt32 startFrame = buffer->mStartFrame.load(std::memory_order_relaxed);
    const UInt32 available = buffer->mEndFrame.load(std::memory_order_relaxed) - startFrame;
    if (frames == 0 || available <= frames || buffer->mEndOfStream) {
        return false;
    }
    buffer->mStartFrame.store(startFrame + frames, std::memory_order_relaxed);
    copyFrames(destination, 0, buffer->mAudioBufferList, startFrame, destination->mNumberBuffers, bytesPerFrame,
               frames);
    return true;
}

/// Moves `frames` frames in if the buffer has room for more than that.
/// @return whether it did; otherwise nothing was changed
inline bool copyPartFrom(BAudioBuffer* buffer, const AudioBufferList* source, UInt32 bytesPerFrame,
                         UInt32 frames) noexcept {
    const UInt32 endFrame = buffer->mEndFrame.load(std::memory_order_relaxed);
    const UInt32 heldFrames = endFrame - buffer->mStartFrame.load(std::memory_order_relaxed);
    if (frames == 0 || capacityInFrames(buffer->mByteSize, bytesPerFrame) - heldFrames <= frames) {
        return false;
    }
    buffer->mEndFrame.store(endFrame + frames, std::memory_order_relaxed);
    copyFrames(buffer->mAudioBufferList, heldFrames, source, 0, source->mNumberBuffers, bytesPerFrame, frames);
    return true;
}

} // namespace braq
