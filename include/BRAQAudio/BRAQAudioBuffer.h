#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <memory>

/// A frame buffer as an object: a block of non-interleaved 32-bit samples with a read and a write position. One thread
/// at a time uses it.
class BRAQ_EXPORT BRAQAudioBuffer {
  public:
    /// @param numberFrames capacity in frames
    /// @param channels at least 1
    /// @return null if there is no memory. Never on an I/O thread.
    static std::shared_ptr<BRAQAudioBuffer> initWithNumberFrames(UInt32 numberFrames, UInt32 channels);

    virtual ~BRAQAudioBuffer();
    BRAQAudioBuffer(const BRAQAudioBuffer&) = delete;
    BRAQAudioBuffer& operator=(const BRAQAudioBuffer&) = delete;

    /// Moves frames out, one channel a buffer of `list`, behind those already produced.
    /// @param bytesPerFrame bytes of one frame of one channel buffer
    /// @param framesProduced in and out: frames in `list`; null fails an assertion
    /// @param framesRequired in and out: frames still wanted; null fails an assertion
    /// @return true when this emptied the buffer and it is not the last of its stream
    /// @realtime With both counters given: only their absence raises.
    bool copyFramesIntoAudioBufferList(AudioBufferList* list, UInt32 bytesPerFrame, UInt32* framesProduced,
                                       UInt32* framesRequired);
    /// Moves frames from `list`, behind those already produced from it, to the end of what the buffer holds.
    /// @param bytesPerFrame bytes of one frame of one channel buffer
    /// @param framesProduced in and out: frames taken from `list`; null fails an assertion
    /// @param framesRequired in and out: frames of `list` not taken yet; null fails an assertion
    /// @return true when the buffer is full now
    /// @realtime With both counters given: only their absence raises.
    bool copyFramesFromAudioBufferList(const AudioBufferList* list, UInt32 bytesPerFrame, UInt32* framesProduced,
                                       UInt32* framesRequired);

    /// The owned list, one channel a buffer; its samples may be written directly.
    AudioBufferList* audioBufferList() const noexcept { return mAudioBufferList; }
    /// The next frame to be read out.
    UInt32 startFrame() const noexcept { return mStartFrame; }
    void setStartFrame(UInt32 frame) noexcept { mStartFrame = frame; }
    /// One past the last frame written in.
    UInt32 endFrame() const noexcept { return mEndFrame; }
    void setEndFrame(UInt32 frame) noexcept { mEndFrame = frame; }
    /// Whether the frames up to the end frame are the last of the stream.
    bool endOfStream() const noexcept { return mEndOfStream; }
    void setEndOfStream(bool endOfStream) noexcept { mEndOfStream = endOfStream; }
    /// Frames held: end frame minus start frame.
    UInt32 frameCount() const noexcept { return mEndFrame - mStartFrame; }
    /// Sets both positions to 0 and leaves the end-of-stream flag as it is.
    void setEmpty() noexcept;

  protected:
    /// Throws std::bad_alloc if there is no memory.
    BRAQAudioBuffer(UInt32 numberFrames, UInt32 channels);

  private:
    AudioBufferList* mAudioBufferList;
    UInt32 mByteSize;
    UInt32 mStartFrame = 0;
    UInt32 mEndFrame = 0;
    bool mEndOfStream = false;
};
