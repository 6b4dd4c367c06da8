#pragma once

#include "BRAQAudio/BRAQAudioFileStreamer.h"

#include <exception>

/// Writes what the real-time side records to a file, a buffer at a time.
///
/// Frames that could not be written, because the disk is full, stay in their buffer and are tried again when the ring comes
/// round to it. Until then the buffers after it wait, so that the file holds its frames in order; what finds no room in the
/// ring meanwhile is lost and counts as an overrun. The first failure of a run is logged, and the last one is `lastError`.
class BRAQ_EXPORT BRAQAudioFileWriter : public BRAQAudioFileStreamer {
  public:
    /// As that of the ring.
    static std::shared_ptr<BRAQAudioFileWriter>
    initWithBufferCount(UInt64 bufferCount, UInt32 numFrames,
                        const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);
    /// What was not written by `stop` is lost.
    ~BRAQAudioFileWriter() override;

    /// Writes a buffer to the file and empties it. Raises, without a file too, and then the buffer stays as it is.
    void processBuffer(BQueueableAudioBuffer* buffer) override;

    /// Clears `errorCount`.
    void start() override;
    /// Returns when everything that the real-time side has handed over so far is in the file, in order, the partly filled
    /// buffer last; nothing is taken from the real-time side meanwhile. Raises if that fails: then the writer is still
    /// running and what could not be written is kept for the next try.
    void stop() override;

  protected:
    using BRAQAudioFileStreamer::BRAQAudioFileStreamer;

  private:
    void write(BQueueableAudioBuffer* queued);
    void writeWhatIsLeft();
    UInt64 oldestBuffer() const;
    bool isFull(const BQueueableAudioBuffer* queued) const;

    // Where buffers are processed: on the worker, or behind the gate.
    BQueueableAudioBuffer* mUnwritten = nullptr; // the oldest that could not be written
    std::exception_ptr mWhyUnwritten;
};
