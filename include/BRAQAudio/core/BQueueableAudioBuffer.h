#pragma once

#include "BRAQAudio/core/BAudioBuffer.h"

#include <functional>

struct BQueueableAudioBuffer;

/// What a worker does with a buffer it was handed. May block, allocate and throw; runs on the worker's thread.
using BQueueableAudioBufferBlock = std::function<void(BQueueableAudioBuffer* buffer)>;

/// A frame buffer that can be handed to a worker. The in-progress flag says whose its samples and positions are: the
/// worker's while it is true, the real-time side's while it is false.
struct BQueueableAudioBuffer {
    BAudioBuffer mAudioBuffer; ///< first, so that every BAudioBuffer function applies to it
    BQueueableAudioBufferBlock mProcessingBlock;
    std::atomic<bool> mInProgress;             ///< set by who hands the buffer over, cleared by the worker
    std::atomic<SInt64> mFileStartFrame;       ///< position in the file of the first frame held; read by any side
    Float64 mPlaybackRate;                     ///< rate that applied when the buffer was filled
    std::atomic<BQueueableAudioBuffer*> mNext; ///< link of the atomic stack
};

extern "C" {

/// A new, empty buffer that is not in progress, or null if that fails. Keeps a copy of `block`.
BRAQ_EXPORT BQueueableAudioBuffer* BQueueableAudioBufferCreate(const BQueueableAudioBufferBlock& block, UInt32 frames,
                                                               UInt32 channels);
/// Makes a buffer in place. @return false if there is no memory for the samples
BRAQ_EXPORT bool BQueueableAudioBufferInitialize(BQueueableAudioBuffer* buffer, const BQueueableAudioBufferBlock& block,
                                                 UInt32 frames, UInt32 channels);
/// Releases the block, then frees the samples. A worker that the buffer was handed to must have been idle since or be torn
/// down: it looks at a buffer's link after clearing its flag.
BRAQ_EXPORT void BQueueableAudioBufferDealloc(BQueueableAudioBuffer* buffer);
/// As `BQueueableAudioBufferDealloc`, then frees the record.
BRAQ_EXPORT void BQueueableAudioBufferDestroy(BQueueableAudioBuffer* buffer);

BRAQ_BEGIN_CXX_RETURN
/// The copy that the buffer keeps. Any thread but an I/O thread.
BRAQ_EXPORT const BQueueableAudioBufferBlock&
BQueueableAudioBufferProcessingBlock(const BQueueableAudioBuffer* buffer) noexcept;
BRAQ_END_CXX_RETURN
/// False hands over what the worker did to the buffer.
/// @realtime Any thread.
BRAQ_EXPORT bool BQueueableAudioBufferInProgress(const BQueueableAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BQueueableAudioBufferSetInProgress(BQueueableAudioBuffer* buffer, bool inProgress) noexcept;
/// @realtime Any thread.
BRAQ_EXPORT SInt64 BQueueableAudioBufferFileStartFrame(const BQueueableAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BQueueableAudioBufferSetFileStartFrame(BQueueableAudioBuffer* buffer, SInt64 frame) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT Float64 BQueueableAudioBufferPlaybackRate(const BQueueableAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BQueueableAudioBufferSetPlaybackRate(BQueueableAudioBuffer* buffer, Float64 rate) noexcept;
/// @realtime
BRAQ_EXPORT BQueueableAudioBuffer* BQueueableAudioBufferNext(const BQueueableAudioBuffer* buffer) noexcept;
/// @realtime
BRAQ_EXPORT void BQueueableAudioBufferSetNext(BQueueableAudioBuffer* buffer, BQueueableAudioBuffer* next) noexcept;
}
