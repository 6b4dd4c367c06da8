#pragma once

#include "BRAQAudio/BRAQAudioFileStreamer.h"

class BRAQAudioFileReader;

/// Consecutive frames of a file.
struct BRAQFrameRange {
    UInt64 location = 0; ///< first frame
    UInt64 length = 0;   ///< frames

    /// One past the last frame.
    UInt64 end() const noexcept { return location + length; }
    bool operator==(const BRAQFrameRange&) const = default;
};

extern "C" {

/// The frame of the file that the real-time side delivers next: the place in the file at which its current buffer was
/// filled, and the frames taken out of it since. In reverse that counts up within a buffer, too.
/// @realtime
BRAQ_EXPORT SInt64 BRAQAudioFileReaderGetCurrentFrame(const BRAQAudioFileReader* reader) noexcept;
}

/// Reads a file ahead of playback, forwards or in reverse, in a loop or to its end. All frames are counted at the client rate
/// of the file.
///
/// A loop in reverse deliberately plays its range down once and then delivers silence, until the position or the loop is
/// changed; its last block may reach below the range. A loop of length 0 goes from its location to the end of the file.
///
/// A read that fails ends the stream, as the end of the file does; the log says why. What the file raises passes through,
/// or, on the worker, becomes `lastError`.
class BRAQ_EXPORT BRAQAudioFileReader : public BRAQAudioFileStreamer {
  public:
    /// As that of the ring.
    static std::shared_ptr<BRAQAudioFileReader>
    initWithBufferCount(UInt64 bufferCount, UInt32 numFrames,
                        const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);
    ~BRAQAudioFileReader() override;

    /// Refills a buffer with the next frames of the file.
    void processBuffer(BQueueableAudioBuffer* queued) override;

    /// Clears `errorCount` and `endOfStream` and fills all buffers on the calling thread, from the read head on.
    void start() override;
    /// What was read stays in the ring.
    void stop() override;

    /// While running what is heard, as `BRAQAudioFileReaderGetCurrentFrame`; else the read head. Waits for nothing.
    SInt64 currentFrame() const noexcept;
    /// Moves the read head. While running, what was read ahead is dropped and the ring filled anew from there, all while the
    /// gate of the ring is closed.
    void setCurrentFrame(SInt64 frame);

    /// Plays the range again and again. While running the ring is filled anew from what is heard, or from the beginning of
    /// the range if that is outside; else the read head stays where it is, and belongs inside the range.
    void enableLoopingInRange(const BRAQFrameRange& range);
    /// Plays on. While running the ring is filled anew from what is heard. The range stays as it was.
    void disableLooping();
    bool isLooping() const;
    /// Changes just this, from the next buffer on.
    void setLooping(bool looping);
    BRAQFrameRange loopRange() const;
    /// Changes just this, from the next buffer on.
    void setLoopRange(const BRAQFrameRange& range);

    /// The direction of the file; false without one. What was read before a change is played before it is heard.
    bool reverse() const;
    /// Waits for the buffer that is being filled.
    void setReverse(bool reverse);

  protected:
    using BRAQAudioFileStreamer::BRAQAudioFileStreamer;

  private:
    friend SInt64 BRAQAudioFileReaderGetCurrentFrame(const BRAQAudioFileReader*) noexcept;

    /// How a fill finds the loop.
    struct Loop {
        BRAQFrameRange range;
        bool looping;
        bool isActive() const { return looping && range.length != 0; }
    };

    Loop loop() const;
    UInt32 framesToRead(const Loop& now) const;
    UInt32 read(BRAQExtendedAudioFile& file, BQueueableAudioBuffer* queued, UInt32 frames, bool backwards);
    void moveHead(BRAQExtendedAudioFile& file, const Loop& now, UInt32 framesRead, bool backwards);
    void goTo(BRAQExtendedAudioFile* file, SInt64 frame);

    std::atomic<SInt64> mCurrentFrame{0}; // the read head
    BRAQFrameRange mLoopRange;            // under mLoopMutex
    bool mLooping = false;                // under mLoopMutex

    mutable std::mutex mLoopMutex;
    std::mutex mDirectionMutex;  // held while a buffer is filled: all of it is read in one direction
    bool mReadBackwards = false; // under mDirectionMutex: how the last buffer was filled
};
