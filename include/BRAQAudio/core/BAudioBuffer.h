#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <atomic>
#include <type_traits>

/// @addtogroup core
/// @{

/// A block of non-interleaved 32-bit samples with a read and a write position. One side owns it at a time; ownership is
/// passed on by other means (the in-progress flag of a queueable buffer). The functions check nothing.
struct BAudioBuffer {
    AudioBufferList* mAudioBufferList; ///< owned; one channel per buffer, each mByteSize bytes
    UInt32 mByteSize;                  ///< bytes per channel: frames x 4
    std::atomic<UInt32> mStartFrame;   ///< next frame to read; the other side may read it too
    std::atomic<UInt32> mEndFrame;     ///< one past the last frame written; the other side may read it too
    bool mEndOfStream;                 ///< the stream ends at mEndFrame
};
static_assert(std::is_standard_layout_v<BAudioBuffer>);
static_assert(offsetof(BAudioBuffer, mByteSize) == 8 && offsetof(BAudioBuffer, mStartFrame) == 12 &&
              offsetof(BAudioBuffer, mEndFrame) == 16 && offsetof(BAudioBuffer, mEndOfStream) == 20);

extern "C" {

/// Creates an empty buffer of `frames` frames and `channels` channels (at least 1); null if that fails.
BRAQ_EXPORT BAudioBuffer* BAudioBufferCreate(UInt32 frames, UInt32 channels);
/// Initialises a buffer in place. @return false if out of memory
BRAQ_EXPORT bool BAudioBufferInitialize(BAudioBuffer* buffer, UInt32 frames, UInt32 channels);
/// Frees the samples and the list.
BRAQ_EXPORT void BAudioBufferDealloc(BAudioBuffer* buffer);
/// Like `BAudioBufferDealloc`, then frees the record.
BRAQ_EXPORT void BAudioBufferDestroy(BAudioBuffer* buffer);

/// @realtime Any thread.
BRAQ_EXPORT UInt32 BAudioBufferStartFrame(const BAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BAudioBufferSetStartFrame(BAudioBuffer* buffer, UInt32 frame) noexcept;
/// @realtime Any thread.
BRAQ_EXPORT UInt32 BAudioBufferEndFrame(const BAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BAudioBufferSetEndFrame(BAudioBuffer* buffer, UInt32 frame) noexcept;
/// Frames in the buffer: end frame minus start frame.
/// @realtime The owning side.
BRAQ_EXPORT UInt32 BAudioBufferFrameCount(const BAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT bool BAudioBufferReachedEndOfStream(const BAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BAudioBufferSetReachedEndOfStream(BAudioBuffer* buffer, UInt32 reached) noexcept;
/// The list that the buffer owns. Its samples may be written directly.
/// @realtime The owning side.
BRAQ_EXPORT AudioBufferList* BAudioBufferAudioBufferList(const BAudioBuffer* buffer) noexcept;
/// Sets both positions to 0. The end-of-stream flag stays as it is.
/// @realtime The owning side.
BRAQ_EXPORT void BAudioBufferSetEmpty(BAudioBuffer* buffer) noexcept;

/// Moves frames out of the buffer into `destination`, one channel per buffer, after the frames already produced there.
/// @param bytesPerFrame bytes per frame of one channel buffer
/// @param framesProduced in and out: frames in `destination`
/// @param framesRequired in and out: frames still wanted
/// @return true if this call emptied the buffer and it is not the last of its stream: it may be refilled
/// @realtime The owning side.
BRAQ_EXPORT bool BAudioBufferCopyInto(BAudioBuffer* buffer, AudioBufferList* destination, UInt32 bytesPerFrame,
                                      UInt32* framesProduced, UInt32* framesRequired) noexcept;
/// Moves frames from `source`, after the frames already consumed there, to the end of this buffer. The buffer must have
/// been filled from empty: the write position is derived from the frames in it.
/// @param bytesPerFrame bytes per frame of one channel buffer
/// @param framesProduced in and out: frames consumed from `source`
/// @param framesRequired in and out: frames of `source` not consumed yet
/// @return true if the buffer is now full
/// @realtime The owning side.
BRAQ_EXPORT bool BAudioBufferCopyFrom(BAudioBuffer* buffer, const AudioBufferList* source, UInt32 bytesPerFrame,
                                      UInt32* framesProduced, UInt32* framesRequired) noexcept;
}

/// @}
