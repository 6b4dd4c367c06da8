#pragma once

#include "BRAQAudio/BRAQAudioBufferQueueGate.h"
#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/core/BAudioBufferQueueWorker.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>

class BRAQAudioBufferQueue;

extern "C" {

/// Copies frames out of the ring into `destination`, one channel a buffer, oldest first. A buffer that is drained goes to
/// the worker; one that the worker still has ends the copy and counts as an error. The buffer that carries the end of
/// the stream latches it, and nothing more is delivered until the ring is primed.
/// @param frames in: frames wanted; out: frames delivered (fewer on underrun or at the end of the stream, 0 while the
///        gate is closed). What lies beyond them in `destination` is left as it was.
/// @realtime One thread at a time. Wakes the worker when a buffer is drained.
BRAQ_EXPORT void BRAQAudioBufferQueueCopyInto(BRAQAudioBufferQueue* queue, AudioBufferList* destination,
                                              UInt32* frames) noexcept;
/// Copies `frames` frames from `source`, one channel a buffer, into the ring. A buffer that is full goes to the worker;
/// one that the worker still has ends the copy and counts as an error: the frames not yet stored are dropped. While the
/// gate is closed nothing is taken.
/// @realtime One thread at a time. Wakes the worker when a buffer is full.
BRAQ_EXPORT void BRAQAudioBufferQueueCopyFrom(BRAQAudioBufferQueue* queue, const AudioBufferList* source,
                                              UInt32 frames) noexcept;
/// End frame of the current buffer: the frames it was filled with, however many of them are left.
/// @realtime
BRAQ_EXPORT UInt32 BRAQAudioBufferQueueCurrentFrame(const BRAQAudioBufferQueue* queue) noexcept;
/// Whether the end of the stream was reached; false while the gate is closed.
/// @realtime
BRAQ_EXPORT bool BRAQAudioBufferQueueReachedEndOfStream(const BRAQAudioBufferQueue* queue) noexcept;
}

/// A ring of frame buffers between one real-time thread and one worker. The real-time side drains or fills buffers with
/// the functions above and never waits; the worker hands each to `processBuffer`, which a derived class overrides to
/// refill it from somewhere or to write it out.
///
/// Control operations may be called while the real-time side runs: those that touch the ring close its gate, wait until
/// no copy is under way and (`prime`, `flush`) until the worker is idle. They are called on any thread but the I/O
/// thread and the worker's own. Operations of several control threads follow one another.
///
/// A derived class calls `teardownWorkerThread` in its destructor, before anything that `processBuffer` uses is gone.
class BRAQ_EXPORT BRAQAudioBufferQueue {
  public:
    /// A ring of empty buffers with a worker that runs already.
    /// @param bufferCount buffers in the ring, at least 1
    /// @param numFrames frames a buffer, at least 1
    /// @param streamDescription format of the frames: at most 4 bytes a frame (not interleaved), at least 1 channel; held, not
    ///        copied
    /// @return null, with a line in the log, for a parameter out of these bounds or when memory or threads run out
    static std::shared_ptr<BRAQAudioBufferQueue>
    initWithBufferCount(UInt64 bufferCount, UInt32 numFrames,
                        const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);

    virtual ~BRAQAudioBufferQueue();
    BRAQAudioBufferQueue(const BRAQAudioBufferQueue&) = delete;
    BRAQAudioBufferQueue& operator=(const BRAQAudioBufferQueue&) = delete;

    /// Refills or writes out one buffer and leaves it ready for the other side. For playback: sets it empty, fills it from
    /// the start, sets its end frame, and sets its end-of-stream flag on the last buffer of the stream. For recording:
    /// writes its frames out and sets it empty. It leaves the in-progress flag alone and calls no control operation. A
    /// buffer that it keeps leaving empty, without the end of the stream, goes round as fast as both sides can.
    ///
    /// Runs on the worker's thread, or inside `prime` and `flush` on theirs, never on two threads at once. What it throws
    /// on the worker's thread is kept as `lastError` and, unless the buffer before failed too, logged; the buffer counts
    /// as processed. From `prime` and `flush` it is passed on to their caller.
    ///
    /// This class has no idea of either: it raises an NSException named `NSInvalidArgumentException`.
    virtual void processBuffer(BQueueableAudioBuffer* buffer);

    /// Clears the end of the stream, has every buffer processed on the calling thread in the ring's order, and starts at
    /// the first. Also takes back buffers that the worker left in progress. The error count stays. When `processBuffer`
    /// throws, the buffers before that one are filled and the ring stays where it was; the gate opens all the same.
    void prime();
    /// Has the current buffer processed on the calling thread if it holds frames: on recording, what the last buffer has.
    void flush();
    /// Does nothing: the worker runs from creation.
    void startWorker();
    /// Wakes the worker once.
    void stopWorker();
    /// Ends the worker; the gate stays closed for good. Waits for a copy that is under way and for the buffer that the
    /// worker is at; what is pending is not processed. A second call does nothing.
    void teardownWorkerThread();

    /// Whether playback reached the end of the stream. Any thread.
    bool endOfStream() const noexcept { return mEndOfStream.load(std::memory_order_relaxed); }
    /// The object that it was made with.
    const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription() const noexcept {
        return mStreamDescription;
    }
    /// Buffers in the ring.
    UInt64 bufferCount() const noexcept { return mNumberBuffers; }
    /// Times that the real-time side found the current buffer still with the worker: underruns on playback, overruns on
    /// recording. Any thread.
    UInt64 errorCount() const noexcept { return mErrorCount.load(std::memory_order_relaxed); }
    /// What `processBuffer` last threw on the worker's thread, also after its teardown; null if it never did. Any thread
    /// but the I/O thread.
    std::shared_ptr<NSError> lastError() const;

  protected:
    /// Raises an NSException for what makes `initWithBufferCount` answer null.
    BRAQAudioBufferQueue(UInt64 bufferCount, UInt32 numFrames,
                         const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);

    /// Waits until the worker has nothing pending and is at no buffer. In a closed stretch of `mGate` only, where nothing
    /// can be added meanwhile.
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

    // From here to the gate's flags: what the real-time side looks at for every block, in one cache line.
    static constexpr std::size_t cacheLineBytes = 64;
    alignas(cacheLineBytes) UInt32 mBytesPerFrame;         // of all copies
    std::atomic<UInt64> mCurrentBuffer{0};                 // real-time side, or the control side behind the gate
    std::atomic<UInt64> mErrorCount{0};                    // real-time side, or the control side behind the gate
    std::atomic<bool> mEndOfStream{false};                 // real-time side, or the control side behind the gate
    std::atomic<BQueueableAudioBuffer*> mCurrent{nullptr}; // at mCurrentBuffer, without the way through the array
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
    void handOver(BQueueableAudioBuffer* buffer) noexcept;

    mutable std::mutex mWorkerMutex;     // whether there is a worker; any thread but the real-time side
    std::shared_ptr<NSError> mLastError; // under mWorkerMutex: of a worker that is gone
};
