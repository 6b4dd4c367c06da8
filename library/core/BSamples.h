#pragma once

#include "BRAQAudio/platform/types.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

// Shared by the frame buffers, as record and as object, and the public buffer lists: the layout of sample memory, and
// the one copy in each direction. Inline, because blocks of audio are so small that calls would show in measurements.
namespace braq {

/// A list of `bufferCount` buffers of `channelsPerBuffer` channels and `byteSize` bytes each, uninitialised; null if
/// out of memory. Each buffer begins at a cache line.
AudioBufferList* createSamples(UInt32 bufferCount, UInt32 channelsPerBuffer, UInt32 byteSize);
/// Frees the samples and the list; null does nothing.
void destroySamples(AudioBufferList* list) noexcept;

/// Frames in a caller's list so far, and frames left to copy.
struct FrameCounters {
    UInt32& produced;
    UInt32& required;

    void advance(UInt32 frames) const noexcept {
        produced += frames;
        required -= frames;
    }
};

/// Copies `frames` frames from `source`, starting at `sourceFrame`, to `destination`, starting at `destinationFrame`,
/// for the first `bufferCount` buffers.
inline void copyFrames(AudioBufferList* destination, UInt32 destinationFrame, const AudioBufferList* source,
                       UInt32 sourceFrame, UInt32 bufferCount, UInt32 bytesPerFrame, UInt32 frames) noexcept {
    const UInt32 destinationByte = destinationFrame * bytesPerFrame;
    const UInt32 sourceByte = sourceFrame * bytesPerFrame;
    const UInt32 bytes = frames * bytesPerFrame;
    for (UInt32 i = 0; i < bufferCount; ++i) {
        std::memcpy(static_cast<std::byte*>(destination->mBuffers[i].mData) + destinationByte,
                    static_cast<const std::byte*>(source->mBuffers[i].mData) + sourceByte, bytes);
    }
}

/// Frame buffer to caller, see `BAudioBufferCopyInto`. Advances `startFrame`.
inline bool drainFrames(const AudioBufferList* held, UInt32& startFrame, UInt32 endFrame, bool endOfStream,
                        AudioBufferList* destination, UInt32 bytesPerFrame, const FrameCounters& counters) noexcept {
    const UInt32 available = endFrame - startFrame;
    const bool emptied = available <= counters.required;
    const UInt32 frames = std::min(available, counters.required);
    if (frames > 0) {
        copyFrames(destination, counters.produced, held, startFrame, destination->mNumberBuffers, bytesPerFrame,
                   frames);
        counters.advance(frames);
        startFrame += frames;
    }
    return emptied && !endOfStream;
}

inline UInt32 capacityInFrames(UInt32 byteSize, UInt32 bytesPerFrame) noexcept {
    // The usual size is a separate case: dividing by a constant saves a tenth of the time of copying a block.
    if (bytesPerFrame == sizeof(Float32)) {
        return byteSize / UInt32{sizeof(Float32)};
    }
    return bytesPerFrame == 0 ? 0 : byteSize / bytesPerFrame;
}

/// Frames that a fill took, and whether the buffer is now full.
struct Fill {
    UInt32 frames;
    bool full;
};

/// Caller to a frame buffer of `byteSize` bytes per channel that holds `heldFrames`, see `BAudioBufferCopyFrom`.
inline Fill fillFrames(AudioBufferList* held, UInt32 heldFrames, UInt32 byteSize, const AudioBufferList* source,
                       UInt32 bytesPerFrame, const FrameCounters& counters) noexcept {
    const UInt32 capacity = capacityInFrames(byteSize, bytesPerFrame);
    const UInt32 space = capacity - heldFrames;
    const UInt32 frames = std::min(space, counters.required);
    const bool full = space <= counters.required;
    if (frames > 0) {
        copyFrames(held, heldFrames, source, counters.produced, source->mNumberBuffers, bytesPerFrame, frames);
        counters.advance(frames);
    }
    return {frames, full};
}

} // namespace braq
