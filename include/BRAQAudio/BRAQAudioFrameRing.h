#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <atomic>
#include <cstddef>
#include <memory>

/// @addtogroup core
/// @{

/// Hands 32-bit float frames from one thread to another, in order, such as from the I/O thread of an input to that of an
/// output. Neither side waits for the other: each call takes a bounded number of steps, whatever the other thread does.
/// Nothing is allocated after creation.
///
/// One thread at a time writes, and one thread at a time reads. Frames come in a list of one buffer per channel, or of one
/// interleaved buffer; the two sides may differ in that. A list of another shape, with fewer bytes than stated, or without
/// memory is not touched: no frame of it is moved.
class BRAQ_EXPORT BRAQAudioFrameRing {
  public:
    /// Creates an empty ring.
    /// @param frames that it has room for
    /// Raises NSException `NSInvalidArgumentException` if either is 0, std::bad_alloc without memory. Any thread but an
    /// I/O thread.
    static std::shared_ptr<BRAQAudioFrameRing> initWithCapacity(UInt32 frames, UInt32 channels);
    /// The same for frames of a sample rate, which tells how late they are (`delay`).
    /// @param sampleRate frames per second; raises NSException `NSInvalidArgumentException` unless it is positive
    static std::shared_ptr<BRAQAudioFrameRing> initWithCapacity(UInt32 frames, UInt32 channels, Float64 sampleRate);
    virtual ~BRAQAudioFrameRing();
    BRAQAudioFrameRing(const BRAQAudioFrameRing&) = delete;
    BRAQAudioFrameRing& operator=(const BRAQAudioFrameRing&) = delete;

    /// Frames that it has room for.
    /// @realtime Any thread.
    UInt32 capacity() const noexcept { return mCapacity; }
    /// @realtime Any thread.
    UInt32 channels() const noexcept { return mChannels; }

    /// Appends the first frames of a list.
    /// @return frames written: fewer than `frames` if the ring is full then, which counts as an overrun
    /// @realtime The writing thread.
    UInt32 write(const AudioBufferList* source, UInt32 frames) noexcept;
    /// The same for frames that were captured at a time, which `readLatest` compares with its own.
    /// @param time of the first frame; without a host time, or null, nothing is known of when they were captured
    UInt32 write(const AudioBufferList* source, UInt32 frames, const AudioTimeStamp* time) noexcept;
    /// Appends silence, such as for a delay.
    /// @return as `write`
    /// @realtime The writing thread.
    UInt32 writeSilence(UInt32 frames) noexcept;
    /// Moves the oldest frames into the beginning of a list. What lies beyond them there, and the byte sizes, stay.
    /// @return frames read: fewer than `frames` if the ring is empty then, which counts as an underrun
    /// @realtime The reading thread.
    UInt32 read(AudioBufferList* destination, UInt32 frames) noexcept;
    /// Reads for a device that plays what another one captures: as `read`, after dropping the oldest frames but for as many
    /// as are read now and were written last. Two devices have two clocks, and one may start long before the other: so no
    /// more than a cycle of each is kept.
    /// @param time when the first frame is played; without a host time, or null, `delay` stays
    UInt32 readLatest(AudioBufferList* destination, UInt32 frames, const AudioTimeStamp* time) noexcept;
    /// Seconds from the time at which frames were captured to that at which they are played, as of the last `readLatest` that
    /// found any; 0 before, and for a ring without a sample rate.
    /// @realtime Any thread.
    Float64 delay() const noexcept { return mDelay.load(std::memory_order_relaxed); }
    /// Drops the oldest frames.
    /// @return frames dropped: all that it holds if it holds fewer than `frames`; no underrun
    /// @realtime The reading thread.
    UInt32 skip(UInt32 frames) noexcept;

    /// Frames written and not read yet. To the reading thread, at least so many can be read; to the writing thread, at least
    /// the rest of the capacity can be written.
    /// @realtime Any thread.
    UInt32 framesHeld() const noexcept;
    /// Writes that found too little room, from creation.
    /// @realtime Any thread.
    UInt64 overruns() const noexcept { return mOverruns.load(std::memory_order_relaxed); }
    /// Reads that found too few frames, from creation.
    /// @realtime Any thread.
    UInt64 underruns() const noexcept { return mUnderruns.load(std::memory_order_relaxed); }

  protected:
    BRAQAudioFrameRing(UInt32 frames, UInt32 channels, Float64 sampleRate = 0.0);

  private:
    // So far apart that writing one does not slow the other thread down.
    static constexpr std::size_t cacheLine = 64;

    Float32* plane(UInt32 channel) const noexcept {
        return mSamples.get() + static_cast<std::size_t>(channel) * mCapacity;
    }
    UInt32 framesToWrite(UInt32 wanted) noexcept;
    UInt32 framesToRead(UInt32 wanted) const noexcept;
    void finishWrite(UInt32 frames) noexcept;
    void finishRead(UInt32 frames) noexcept;

    const UInt32 mCapacity; // frames
    const UInt32 mChannels;
    const Float64 mSampleRate;                 // frames per second; 0: not known
    const std::unique_ptr<Float32[]> mSamples; // channel after channel, mCapacity each

    alignas(cacheLine) std::atomic<UInt64> mWritten{0}; // frames, from creation; stored by the writing thread
    UInt32 mWriteIndex = 0;                             // writing thread: mWritten modulo mCapacity
    std::atomic<UInt64> mOverruns{0};                   // stored by the writing thread
    std::atomic<UInt32> mLastWrite{0};                  // frames; likewise
    std::atomic<Float64> mOrigin{0.0}; // likewise: host time of frame 0 in seconds, by the last write; 0: not known

    alignas(cacheLine) std::atomic<UInt64> mRead{0}; // frames, from creation; stored by the reading thread
    UInt32 mReadIndex = 0;                           // reading thread: mRead modulo mCapacity
    std::atomic<UInt64> mUnderruns{0};               // stored by the reading thread
    std::atomic<Float64> mDelay{0.0};                // seconds; likewise
};

/// @}
