#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <atomic>
#include <type_traits>

/// A block of non-interleaved 32-bit samples with a read and a write position. One side at a time owns it: who hands it
/// on says so by other means (a queueable buffer's in-progress flag). The functions check nothing.
struct BAudioBuffer {
    AudioBufferList* mAudioBufferList; ///< owned; one channel a buffer, each mByteSize bytes
    UInt32 mByteSize;                  ///< bytes a channel: frames x 4
    std::atomic<UInt32> mStartFrame;   ///< next frame to be read out; also read by a side that does not own
    std::atomic<UInt32> mEndFrame;     ///< one past the last frame written in; also read by a side that does not own
    bool mEndOfStream;                 ///< the frames up to mEndFrame are the last of the stream
};
static_assert(std::is_standard_layout_v<BAudioBuffer>);
static_assert(offsetof(BAudioBuffer, mByteSize) == 8 && offsetof(BAudioBuffer, mStartFrame) == 12 &&
              offsetof(BAudioBuffer, mEndFrame) == 16 && offsetof(BAudioBuffer, mEndOfStream) == 20);

extern "C" {

/// A new, empty buffer of `frames` frames and `channels` channels (at least 1), or null if that fails.
BRAQ_EXPORT BAudioBuffer* BAudioBufferCreate(UInt32 frames, UInt32 channels);
/// Makes a buffer in place. @return false if there is no memory
BRAQ_EXPORT bool BAudioBufferInitialize(BAudioBuffer* buffer, UInt32 frames, UInt32 channels);
/// Frees the samples and the list.
BRAQ_EXPORT void BAudioBufferDealloc(BAudioBuffer* buffer);
/// As `BAudioBufferDealloc`, then frees the record.
BRAQ_EXPORT void BAudioBufferDestroy(BAudioBuffer* buffer);

/// @realtime Any thread.
BRAQ_EXPORT UInt32 BAudioBufferStartFrame(const BAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BAudioBufferSetStartFrame(BAudioBuffer* buffer, UInt32 frame) noexcept;
/// @realtime Any thread.
BRAQ_EXPORT UInt32 BAudioBufferEndFrame(const BAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BAudioBufferSetEndFrame(BAudioBuffer* buffer, UInt32 frame) noexcept;
/// Frames held: end frame minus start frame.
/// @realtime The owning side.
BRAQ_EXPORT UInt32 BAudioBufferFrameCount(const BAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT bool BAudioBufferReachedEndOfStream(const BAudioBuffer* buffer) noexcept;
/// @realtime The owning side.
BRAQ_EXPORT void BAudioBufferSetReachedEndOfStream(BAudioBuffer* buffer, UInt32 reached) noexcept;
/// The owned list; its samples may be written directly.
/// @realtime The owning side.
BRAQ_EXPORT AudioBufferList* BAudioBufferAudioBufferList(const BAudioBuffer* buffer) noexcept;
/// Sets both positions to 0 and leaves the end-of-stream flag as it is.
/// @realtime The owning side.
BRAQ_EXPORT void BAudioBufferSetEmpty(BAudioBuffer* buffer) noexcept;

/// Moves frames out of the buffer, one channel a buffer of `destination`, behind those already produced.
/// @param bytesPerFrame bytes of one frame of one channel buffer
/// @param framesProduced in and out: frames in `destination`
/// @param framesRequired in and out: frames still wanted
/// @return true when this emptied the buffer and it is not the last of its stream: it may be refilled
/// @realtime The owning side.
BRAQ_EXPORT bool BAudioBufferCopyInto(BAudioBuffer* buffer, AudioBufferList* destination, UInt32 bytesPerFrame,
                                      UInt32* framesProduced, UInt32* framesRequired) noexcept;
/// Moves frames from `source`, behind those already produced from it, to the end of what the buffer holds. The buffer
/// must have been filled from empty: the place is found from the frames held.
/// @param bytesPerFrame bytes of one frame of one channel buffer
/// @param framesProduced in and out: frames taken from `source`
/// @param framesRequired in and out: frames of `source` not taken yet
/// @return true when the buffer is full now
/// @realtime The owning side.
BRAQ_EXPORT bool BAudioBufferCopyFrom(BAudioBuffer* buffer, const AudioBufferList* source, UInt32 bytesPerFrame,
                                      UInt32* framesProduced, UInt32* framesRequired) noexcept;
}
