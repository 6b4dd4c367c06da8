#pragma once

#include "BRAQAudio/BRAQAudioBufferQueueGate.h"
#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/core/BAudioBufferQueueWorker.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>

/// @addtogroup core
/// @{

class BRAQAudioBufferQueue;

extern "C" {

/// Copies frames out of the ring into `destination`, one channel per buffer, oldest first. A drained buffer goes to the
/// worker. If the worker still has the next buffer, the copy ends there and counts as an error. The buffer that carries
/// the end of the stream latches it; nothing more is delivered until the ring is primed.
/// @param frames in: frames wanted; out: frames delivered (fewer on underrun or at the end of the stream, 0 while the
///        gate is closed). The rest of `destination` is left as it was.
/// @realtime One thread at a time. Wakes the worker when a buffer is drained.
BRAQ_EXPORT void BRAQAudioBufferQueueCopyInto(BRAQAudioBufferQueue* queue, AudioBufferList* destination,
                                              UInt32* frames) noexcept;
/// Copies `frames` frames from `source`, one channel per buffer, into the ring. A full buffer goes to the worker. If
/// the worker still has the next buffer, the copy ends there and counts as an error: the remaining frames are dropped.
/// While the gate is closed nothing is copied.
/// @realtime One thread at a time. Wakes the worker when a buffer is full.
BRAQ_EXPORT void BRAQAudioBufferQueueCopyFrom(BRAQAudioBufferQueue* queue, const AudioBufferList* source,
                                              UInt32 frames) noexcept;
/// End frame of the current buffer: the frames that it was filled with, however many are left.
/// @realtime
BRAQ_EXPORT UInt32 BRAQAudioBufferQueueCurrentFrame(const BRAQAudioBufferQueue* queue) noexcept;
/// Whether the end of the stream was reached. False while the gate is closed.
/// @realtime
BRAQ_EXPORT bool BRAQAudioBufferQueueReachedEndOfStream(const BRAQAudioBufferQueue* queue) noexcept;
}

/// A ring of frame buffers between one real-time thread and one worker. The real-time side drains or fills buffers with
/// the functions above and never waits. The worker passes each buffer to `processBuffer`, which a derived class
/// overrides to refill the buffer or to write it out.
///
/// Control operations may be called while the real-time side runs, on any thread but the I/O thread and the worker's
/// own. Those that touch the ring close its gate, wait for a copy in progress and (`prime`, `flush`) wait until the
/// worker is idle. Calls from several control threads are serialised.
///
/// A derived class calls `teardownWorkerThread` in its destructor, before it destroys anything that `processBuffer`
/// uses.
class BRAQ_EXPORT BRAQAudioBufferQueue {
  public:
    /// Creates a ring of empty buffers and starts its worker.
    /// @param bufferCount buffers in the ring, at least 1
    /// @param numFrames frames per buffer, at least 1
    /// @param streamDescription format of the frames: at most 4 bytes per frame (not interleaved), at least 1 channel;
    ///        retained, not copied
    /// @return null, with a line in the log, if a parameter is out of range or memory or threads run out
    static std::shared_ptr<BRAQAudioBufferQueue>
    initWithBufferCount(UInt64 bufferCount, UInt32 numFrames,
                        const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);

    virtual ~BRAQAudioBufferQueue();
    BRAQAudioBufferQueue(const BRAQAudioBufferQueue&) = delete;
    BRAQAudioBufferQueue& operator=(const BRAQAudioBufferQueue&) = delete;

    /// Refills or writes out one buffer and leaves it ready for the other side. For playback: sets it empty, fills it
    /// from the start, sets its end frame, and sets the end-of-stream flag on the last buffer of the stream. For
    /// recording: writes its frames out and sets it empty. An override leaves the in-progress flag alone and calls no
    /// control operation. If it keeps leaving a buffer empty without setting the end of the stream, the buffer
    /// circulates as fast as both sides can run.
    ///
    /// Runs on the worker's thread, or on the caller's inside `prime` and `flush`; never on two threads at once. An
    /// exception on the worker's thread is kept as `lastError` and logged, unless the buffer before failed too; the
    /// buffer counts as processed. `prime` and `flush` pass exceptions on to their caller.
    ///
    /// The implementation of this class raises NSException `NSInvalidArgumentException`.
    virtual void processBuffer(BQueueableAudioBuffer* buffer);

    /// Clears the end of the stream, processes every buffer on the calling thread in ring order, and starts at the
    /// first. Also reclaims buffers that a worker which was torn down left in progress. The error count stays. If `processBuffer` throws,
    /// the buffers before that one are filled and the ring's position stays; the gate opens all the same.
    void prime();
    /// Processes the current buffer on the calling thread if it holds frames. When recording, this writes the last,
    /// partly filled buffer.
    void flush();
    /// Does nothing: the worker runs from creation.
    void startWorker();
    /// Wakes the worker once.
    void stopWorker();
    /// Ends the worker and leaves the gate closed for good. Waits for a copy in progress and for the buffer that the
    /// worker is processing; pending buffers are not processed. Idempotent.
    void teardownWorkerThread();

    /// Whether playback reached the end of the stream. Any thread.
    bool endOfStream() const noexcept { return mEndOfStream.load(std::memory_order_relaxed); }
    /// The object passed at creation.
    const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription() const noexcept {
        return mStreamDescription;
    }
    /// Buffers in the ring.
    UInt64 bufferCount() const noexcept { return mNumberBuffers; }
    /// How often the real-time side found the current buffer still with the worker: underruns on playback, overruns on
    /// recording. Any thread.
    UInt64 errorCount() const noexcept { return mErrorCount.load(std::memory_order_relaxed); }
    /// Frames that `BRAQAudioBufferQueueCopyFrom` found no room for, or the gate closed, since creation. Any thread.
    UInt64 droppedFrames() const noexcept { return mDroppedFrames.load(std::memory_order_relaxed); }
    /// The last exception that `processBuffer` threw on the worker's thread, also after teardown. Null if there was
    /// none. Any thread but the I/O thread.
    std::shared_ptr<NSError> lastError() const;

  protected:
    /// Raises NSException where `initWithBufferCount` returns null.
    BRAQAudioBufferQueue(UInt64 bufferCount, UInt32 numFrames,
                         const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);

    /// Waits until the worker is idle and has nothing pending. Only in a closed stretch of `mGate`, where nothing can
    /// be added.
    void waitUntilWorkerIsIdle();

    BQueueableAudioBuffer* currentBuffer() const noexcept { return mCurrent.load(std::memory_order_relaxed); }
    /// Makes the buffer at `index` the current one. Real-time side, or the control side behind the gate.
    void setCurrentBuffer(UInt64 index) noexcept {
        mCurrentBuffer.store(index, std::memory_order_relaxed);
        mCurrent.store(mBufferArray[index], std::memory_order_relaxed);
    }

    std::unique_ptr<BQueueableAudioBuffer*[]> mBufferArray; // mNumberBuffers of them, owned
    BAudioBufferQueueWorker* mQueueWorker = nullptr;        // owned; null after teardown
    std::shared_ptr<BRAQAudioStreamBasicDescription> mStreamDescription;
    UInt64 mBufferSizeFrames;
    UInt64 mNumberBuffers;

    // From here to the gate's flags: what the real-time side reads for every block, in one cache line.
    static constexpr std::size_t cacheLineBytes = 64;
    alignas(cacheLineBytes) UInt32 mBytesPerFrame;         // of all copies
    std::atomic<UInt64> mCurrentBuffer{0};                 // real-time side, or the control side behind the gate
    std::atomic<UInt64> mErrorCount{0};                    // real-time side, or the control side behind the gate
    std::atomic<bool> mEndOfStream{false};                 // real-time side, or the control side behind the gate
    std::atomic<BQueueableAudioBuffer*> mCurrent{nullptr}; // at mCurrentBuffer, saves the lookup in the array
    BRAQAudioBufferQueueGate mGate;

  private:
    friend void BRAQAudioBufferQueueCopyInto(BRAQAudioBufferQueue* queue, AudioBufferList* destination,
                                             UInt32* frames) noexcept;
    friend void BRAQAudioBufferQueueCopyFrom(BRAQAudioBufferQueue* queue, const AudioBufferList* source,
                                             UInt32 frames) noexcept;
    friend UInt32 BRAQAudioBufferQueueCurrentFrame(const BRAQAudioBufferQueue*) noexcept;
    friend bool BRAQAudioBufferQueueReachedEndOfStream(const BRAQAudioBufferQueue*) noexcept;

    void createBuffers(UInt32 numFrames);
    void destroyBuffers() noexcept;
    bool drainInsideBuffer(AudioBufferList* destination, UInt32 frames) noexcept;
    bool fillInsideBuffer(const AudioBufferList* source, UInt32 frames) noexcept;
    UInt32 drain(AudioBufferList* destination, UInt32 required) noexcept;
    void fill(const AudioBufferList* source, UInt32 required) noexcept;
    void countError() noexcept;
    void countDropped(UInt32 frames) noexcept;
    void handOver(BQueueableAudioBuffer* buffer) noexcept;

    std::atomic<UInt64> mDroppedFrames{0}; // written by the real-time side
    mutable std::mutex mWorkerMutex;       // whether there is a worker; any thread but the real-time side
    std::shared_ptr<NSError> mLastError;   // under mWorkerMutex: of a worker that was torn down
};

/// @}
