#pragma once

#include "BRAQAudio/BRAQAudioFileStreamer.h"

#include <exception>

/// @addtogroup record
/// @{

/// Writes what the real-time side records to a file, one buffer at a time.
///
/// Frames that cannot be written, for example because the disk is full, stay in their buffer and are retried when the
/// ring comes round to it. Until then the buffers after it wait, so that the file keeps its frames in order. Frames
/// that find no room in the ring meanwhile are lost and count as an overrun. The log has the first failure of a run;
/// `lastError` is the last.
class BRAQ_EXPORT BRAQAudioFileWriter : public BRAQAudioFileStreamer {
  public:
    /// Like that of `BRAQAudioBufferQueue`.
    static std::shared_ptr<BRAQAudioFileWriter>
    initWithBufferCount(UInt64 bufferCount, UInt32 numFrames,
                        const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);
    /// Frames not written by `stop` are lost.
    ~BRAQAudioFileWriter() override;

    /// Writes a buffer to the file and empties it. If that fails, or there is no file, it raises and the buffer stays
    /// as it is.
    void processBuffer(BQueueableAudioBuffer* buffer) override;

    /// Clears `errorCount`.
    void start() override;
    /// Returns when all frames that the real-time side has delivered so far are in the file, in order, the partly
    /// filled buffer last. Nothing is taken from the real-time side meanwhile. Raises if writing fails: the writer
    /// keeps running, and the unwritten frames are kept for the next attempt.
    void stop() override;

  protected:
    using BRAQAudioFileStreamer::BRAQAudioFileStreamer;

  private:
    void write(BQueueableAudioBuffer* queued);
    void writeWhatIsLeft();
    UInt64 oldestBuffer() const;
    bool isFull(const BQueueableAudioBuffer* queued) const;

    // Where buffers are processed: on the worker, or on a control thread behind the gate.
    BQueueableAudioBuffer* mUnwritten = nullptr; // the oldest that could not be written
    std::exception_ptr mWhyUnwritten;
};

/// @}
