#pragma once

#include "BRAQAudio/BRAQAudioFileStreamer.h"
#include "BRAQAudio/BRAQLostStretch.h"

#include <atomic>
#include <exception>
#include <functional>
#include <memory>

class BRAQLostStretches;

/// @addtogroup record
/// @{

/// Writes what the real-time side records to a file, one buffer at a time.
///
/// Frames that cannot be written, for example because the disk is full, stay in their buffer and are retried when the
/// ring comes round to it. Until then the buffers after it wait, so that the file keeps its frames in order. Frames
/// that find no room in the ring meanwhile are lost and count as an overrun. The log has the first failure of a run;
/// `lastError` is the last.
///
/// Frames that went missing before they came to the ring can be told with `loseFrames`, and then be written as silence.
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

    /// Frames went missing before the next one that the real-time side delivers.
    /// @param stretch its place does not come before that of the stretch told before
    /// @realtime The real-time side.
    void loseFrames(const BRAQLostStretch& stretch) noexcept;
    bool writesLostFrames() const noexcept { return mWritesLostFrames.load(std::memory_order_relaxed); }
    /// Whether as many silent frames are written where some went missing. Initially not. Any thread, at any time.
    void setWritesLostFrames(bool writes) noexcept { mWritesLostFrames.store(writes, std::memory_order_relaxed); }
    /// Called in order for each lost stretch when the file has everything up to it, and the silence if that is written: on
    /// the worker, or in `stop`. The place is that in what was written since creation, silence included. Set it before
    /// anything is delivered.
    void setLostStretchBlock(std::function<void(const BRAQLostStretch& stretch)> block);

  protected:
    BRAQAudioFileWriter(UInt64 bufferCount, UInt32 numFrames,
                        const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);

  private:
    void write(BQueueableAudioBuffer* queued);
    void writeUntil(UInt64 end, const BAudioBuffer* buffer);
    void finish(const BRAQLostStretch& lost);
    void writeSilence(UInt64 frames);
    void writeWhatIsLeft();
    UInt64 oldestBuffer() const;
    bool isFull(const BQueueableAudioBuffer* queued) const;

    // Where buffers are processed: on the worker, or on a control thread behind the gate.
    BQueueableAudioBuffer* mUnwritten = nullptr; // the oldest that could not be written
    std::exception_ptr mWhyUnwritten;
    UInt64 mDeliveredBefore = 0; // frames of the buffers that are done with
    UInt64 mWritten = 0;         // of the delivered frames
    UInt64 mSilent = 0;          // frames written for lost ones
    UInt64 mSilentOfFirst = 0;   // for the oldest stretch that is not complete
    std::function<void(const BRAQLostStretch& stretch)> mTold;

    const std::unique_ptr<BRAQLostStretches> mLost; // both sides
    std::atomic<bool> mWritesLostFrames{false};
};

/// @}
