#pragma once

#include "BRAQAudio/core/BAudioBuffer.h"

#include <functional>

/// @addtogroup core
/// @{

struct BQueueableAudioBuffer;

/// Processes a buffer that was passed to a worker. May block, allocate and throw. Runs on the worker's thread.
using BQueueableAudioBufferBlock = std::function<void(BQueueableAudioBuffer* buffer)>;

/// A frame buffer that can be passed to a worker. The in-progress flag says who owns its samples and positions: the
/// worker while it is true, the real-time side while it is false.
struct BQueueableAudioBuffer {
    BAudioBuffer mAudioBuffer; ///< first, so that every BAudioBuffer function applies to it
    BQueueableAudioBufferBlock mProcessingBlock;
    std::atomic<bool> mInProgress;             ///< set by the side that passes the buffer on, cleared by the worker
    std::atomic<SInt64> mFileStartFrame;       ///< position in the file of the first frame; read by both sides
    std::atomic<Float64> mPlaybackRate;        ///< when the buffer was filled; negative in reverse; read by both sides
    std::atomic<BQueueableAudioBuffer*> mNext; ///< link of the atomic stack
};

extern "C" {

/// Creates an empty buffer that is not in progress; null if that fails. Copies `block`.
BRAQ_EXPORT BQueueableAudioBuffer* BQueueableAudioBufferCreate(const BQueueableAudioBufferBlock& block, UInt32 frames,
                                                               UInt32 channels);
/// Initialises a buffer in place. @return false if out of memory for the samples
BRAQ_EXPORT bool BQueueableAudioBufferInitialize(BQueueableAudioBuffer* buffer, const BQueueableAudioBufferBlock& block,
                                                 UInt32 frames, UInt32 channels);
/// Releases the block, then frees the samples. A worker that had the buffer must have been idle since or be torn down:
/// it reads a buffer's link after clearing its flag.
BRAQ_EXPORT void BQueueableAudioBufferDealloc(BQueueableAudioBuffer* buffer);
/// Like `BQueueableAudioBufferDealloc`, then frees the record.
BRAQ_EXPORT void BQueueableAudioBufferDestroy(BQueueableAudioBuffer* buffer);

BRAQ_BEGIN_CXX_RETURN
/// The block that the buffer holds. Any thread but an I/O thread.
BRAQ_EXPORT const BQueueableAudioBufferBlock&
BQueueableAudioBufferProcessingBlock(const BQueueableAudioBuffer* buffer) noexcept;
BRAQ_END_CXX_RETURN
/// Whether the worker owns the buffer. Once this is false, everything that the worker did to the buffer is visible.
/// @realtime Any thread.
BRAQ_EXPORT bool BQueueableAudioBufferInProgress(const BQueueableAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BQueueableAudioBufferSetInProgress(BQueueableAudioBuffer* buffer, bool inProgress) noexcept;
/// @realtime Any thread.
BRAQ_EXPORT SInt64 BQueueableAudioBufferFileStartFrame(const BQueueableAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BQueueableAudioBufferSetFileStartFrame(BQueueableAudioBuffer* buffer, SInt64 frame) noexcept;
/// @realtime Any thread.
BRAQ_EXPORT Float64 BQueueableAudioBufferPlaybackRate(const BQueueableAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BQueueableAudioBufferSetPlaybackRate(BQueueableAudioBuffer* buffer, Float64 rate) noexcept;
/// @realtime
BRAQ_EXPORT BQueueableAudioBuffer* BQueueableAudioBufferNext(const BQueueableAudioBuffer* buffer) noexcept;
/// @realtime
BRAQ_EXPORT void BQueueableAudioBufferSetNext(BQueueableAudioBuffer* buffer, BQueueableAudioBuffer* next) noexcept;
}

/// @}
