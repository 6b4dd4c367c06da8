#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <memory>

/// @addtogroup core
/// @{

/// A frame buffer as an object: a block of non-interleaved 32-bit samples with a read and a write position. Not
/// thread-safe: one thread at a time.
class BRAQ_EXPORT BRAQAudioBuffer {
  public:
    /// @param numberFrames capacity in frames
    /// @param channels at least 1
    /// @return null if out of memory. Not on an I/O thread.
    static std::shared_ptr<BRAQAudioBuffer> initWithNumberFrames(UInt32 numberFrames, UInt32 channels);

    virtual ~BRAQAudioBuffer();
    BRAQAudioBuffer(const BRAQAudioBuffer&) = delete;
    BRAQAudioBuffer& operator=(const BRAQAudioBuffer&) = delete;

    /// Moves frames out of the buffer into `list`, one channel per buffer, after the frames already produced there.
    /// @param bytesPerFrame bytes per frame of one channel buffer
    /// @param framesProduced in and out: frames in `list`; null fails an assertion
    /// @param framesRequired in and out: frames still wanted; null fails an assertion
    /// @return true if this call emptied the buffer and it is not the last of its stream
    /// @realtime If both counters are given. Raises only if one is null.
    bool copyFramesIntoAudioBufferList(AudioBufferList* list, UInt32 bytesPerFrame, UInt32* framesProduced,
                                       UInt32* framesRequired);
    /// Moves frames from `list`, after the frames already consumed there, to the end of this buffer.
    /// @param bytesPerFrame bytes per frame of one channel buffer
    /// @param framesProduced in and out: frames consumed from `list`; null fails an assertion
    /// @param framesRequired in and out: frames of `list` not consumed yet; null fails an assertion
    /// @return true if the buffer is now full
    /// @realtime If both counters are given. Raises only if one is null.
    bool copyFramesFromAudioBufferList(const AudioBufferList* list, UInt32 bytesPerFrame, UInt32* framesProduced,
                                       UInt32* framesRequired);

    /// The list that this buffer owns, one channel per buffer. Its samples may be written directly.
    AudioBufferList* audioBufferList() const noexcept { return mAudioBufferList; }
    /// The next frame to read.
    UInt32 startFrame() const noexcept { return mStartFrame; }
    void setStartFrame(UInt32 frame) noexcept { mStartFrame = frame; }
    /// One past the last frame written.
    UInt32 endFrame() const noexcept { return mEndFrame; }
    void setEndFrame(UInt32 frame) noexcept { mEndFrame = frame; }
    /// Whether the stream ends at the end frame.
    bool endOfStream() const noexcept { return mEndOfStream; }
    void setEndOfStream(bool endOfStream) noexcept { mEndOfStream = endOfStream; }
    /// Frames in the buffer: end frame minus start frame.
    UInt32 frameCount() const noexcept { return mEndFrame - mStartFrame; }
    /// Sets both positions to 0. The end-of-stream flag stays as it is.
    void setEmpty() noexcept;

  protected:
    /// Throws std::bad_alloc if out of memory.
    BRAQAudioBuffer(UInt32 numberFrames, UInt32 channels);

  private:
    AudioBufferList* mAudioBufferList;
    UInt32 mByteSize;
    UInt32 mStartFrame = 0;
    UInt32 mEndFrame = 0;
    bool mEndOfStream = false;
};

/// @}
