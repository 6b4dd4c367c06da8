#pragma once

#include "BRAQAudio/platform/types.h"

// What the frame buffers, as record and as object, and the public buffer lists share: how sample memory is laid out, and
// the one copy in each direction.
namespace braq {

/// A list of `bufferCount` buffers of `channelsPerBuffer` channels and `byteSize` bytes each, contents undefined, or null
/// if there is no memory.
AudioBufferList* createSamples(UInt32 bufferCount, UInt32 channelsPerBuffer, UInt32 byteSize);
/// Frees the samples and the list; null does nothing.
void destroySamples(AudioBufferList* list) noexcept;

/// Frames in a caller's list so far, and frames to go.
struct FrameCounters {
    UInt32& produced;
    UInt32& required;

    void advance(UInt32 frames) const noexcept {
        produced += frames;
        required -= frames;
    }
};

/// `frames` frames from `source`, starting at `sourceFrame`, to `destination`, starting at `destinationFrame`, for the
/// first `bufferCount` buffers.
void copyFrames(AudioBufferList* destination, UInt32 destinationFrame, const AudioBufferList* source,
                UInt32 sourceFrame, UInt32 bufferCount, UInt32 bytesPerFrame, UInt32 frames) noexcept;

/// Frame buffer to caller: see `BAudioBufferCopyInto`. `startFrame` is moved on.
bool drainFrames(const AudioBufferList* held, UInt32& startFrame, UInt32 endFrame, bool endOfStream,
                 AudioBufferList* destination, UInt32 bytesPerFrame, const FrameCounters& counters) noexcept;

/// Frames that a fill took, and whether the buffer is full after it.
struct Fill {
    UInt32 frames;
    bool full;
};

/// Caller to frame buffer of `byteSize` bytes a channel that holds `heldFrames`: see `BAudioBufferCopyFrom`.
Fill fillFrames(AudioBufferList* held, UInt32 heldFrames, UInt32 byteSize, const AudioBufferList* source,
                UInt32 bytesPerFrame, const FrameCounters& counters) noexcept;

} // namespace braq
