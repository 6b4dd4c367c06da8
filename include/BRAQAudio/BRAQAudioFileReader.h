#pragma once

#include "BRAQAudio/BRAQAudioFileStreamer.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

/// @addtogroup play
/// @{

class BRAQAudioFileReader;
struct BRAQLoopWalk;

/// A range of consecutive frames of a file.
struct BRAQFrameRange {
    UInt64 location = 0; ///< first frame
    UInt64 length = 0;   ///< frames

    /// One past the last frame.
    UInt64 end() const noexcept { return location + length; }
    bool operator==(const BRAQFrameRange&) const = default;
};

extern "C" {

/// The next frame of the file that the real-time side delivers: the file position at which its current buffer was
/// filled, plus the frames consumed since. In reverse this, too, counts up within a buffer.
/// @realtime
BRAQ_EXPORT SInt64 BRAQAudioFileReaderGetCurrentFrame(const BRAQAudioFileReader* reader) noexcept;
/// The place in the file that the real-time side has reached: forwards the next frame that it delivers, in reverse the
/// frame that it delivered last. Playback that turns round there goes on with the frame that was delivered last.
/// @realtime
BRAQ_EXPORT SInt64 BRAQAudioFileReaderGetPosition(const BRAQAudioFileReader* reader) noexcept;
}

/// Reads a file ahead of playback, forwards or in reverse, in a loop or to its end. All frames are counted at the
/// file's client rate.
///
/// A reverse loop deliberately plays its range once, backwards, and then delivers silence until the position or the
/// loop changes. Its last block may reach below the range. A loop of length 0 runs from its location to the end of the
/// file.
///
/// A failed read ends the stream, like the end of the file; the log says why. Exceptions of the file pass through, and end
/// the stream likewise; on the worker they become `lastError`. A later start tries again at the same place.
class BRAQ_EXPORT BRAQAudioFileReader : public BRAQAudioFileStreamer {
  public:
    /// Like that of `BRAQAudioBufferQueue`.
    static std::shared_ptr<BRAQAudioFileReader>
    initWithBufferCount(UInt64 bufferCount, UInt32 numFrames,
                        const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);
    ~BRAQAudioFileReader() override;

    /// Refills a buffer with the next frames of the file.
    void processBuffer(BQueueableAudioBuffer* queued) override;

    /// Clears `errorCount` and `endOfStream` and fills all buffers from the read head on, on the calling thread.
    void start() override;
    /// The frames already read stay in the ring.
    void stop() override;

    /// While running, the frame being played, as `BRAQAudioFileReaderGetCurrentFrame`; else the read head. Does not
    /// wait.
    SInt64 currentFrame() const noexcept;
    /// Like `currentFrame`, but in reverse it counts down: while running, as `BRAQAudioFileReaderGetPosition`. Does not
    /// wait.
    SInt64 position() const noexcept;
    /// Moves the read head. While running, drops the frames read ahead and refills the ring from the new position; the
    /// ring's gate is closed meanwhile.
    void setCurrentFrame(SInt64 frame);

    /// Loops over the range. While running, the ring is refilled from the frame being played, or from the start of the
    /// range if that frame is outside it. While stopped, the read head stays where it is; set it inside the range.
    void enableLoopingInRange(const BRAQFrameRange& range);
    /// Plays on without looping. While running, the ring is refilled from the frame being played. `loopRange` stays.
    void disableLooping();
    bool isLooping() const;
    /// Changes this flag only, from the next buffer on.
    void setLooping(bool looping);
    BRAQFrameRange loopRange() const;
    /// Changes the range only, from the next buffer on.
    void setLoopRange(const BRAQFrameRange& range);

    /// Plays the range `rounds` times, 0 for ever, and then what is behind it: without a seam, in both directions, also if
    /// the range is shorter than a buffer. The last frame of the range is followed by its first one, backwards the first
    /// by the last. The first round counts from where the range is entered, or from the frame being played if that is
    /// one of the range; who is behind the range goes on to the end of the file. `setCurrentFrame` begins the rounds
    /// anew. A range of length 0: no more repeats. While a range is repeated, `isLooping` has no effect.
    ///
    /// While running, the ring is refilled from the frame being played, unless all that was read ahead is to be played
    /// all the same. Waits for the buffer being filled.
    /// @param range raises NSException `NSInvalidArgumentException` if its end is beyond 2^63 - 1
    void setRepeat(const BRAQFrameRange& range, UInt64 rounds);
    /// The range that is repeated; of length 0 if there is none. Does not wait.
    BRAQFrameRange repeatRange() const;
    /// As set, 0 for ever. Does not wait.
    UInt64 repeatRounds() const;

    /// The direction of the file; false without a file. After a change, the frames read ahead are played first.
    bool reverse() const;
    /// Waits for the buffer being filled.
    void setReverse(bool reverse);
    /// Changes the direction at once. While running, the frames read ahead are dropped, and the ring is refilled from
    /// `position`: the first frame delivered is the one that was delivered last. Does nothing if all frames in the ring
    /// have that direction.
    void turn(bool reverse);

  protected:
    /// Raises NSException where `initWithBufferCount` returns null.
    BRAQAudioFileReader(UInt64 bufferCount, UInt32 numFrames,
                        const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);

  private:
    friend class BRAQExtendedAudioFilePlayer;
    friend class BRAQPlayerDecks;
    friend SInt64 BRAQAudioFileReaderGetCurrentFrame(const BRAQAudioFileReader*) noexcept;
    friend SInt64 BRAQAudioFileReaderGetPosition(const BRAQAudioFileReader*) noexcept;

    /// Where the walk of a buffer begins.
    struct Beginning;
    /// What the real-time side has reached, at one moment.
    struct Place;

    /// The loop as one fill sees it.
    struct Loop {
        BRAQFrameRange range;
        bool looping;
        bool isActive() const { return looping && range.length != 0; }
    };

    Place place() const noexcept;
    /// Of the frame being played, and of the read head.
    BRAQLoopWalk walk() const;
    BRAQLoopWalk head() const;
    bool isAllInDirection(bool reverse) const;
    Beginning& beginningOf(const BQueueableAudioBuffer* buffer) const;
    void publishBeginning(BQueueableAudioBuffer* queued, bool backwards);
    /// Repeats the range from now on, if all that was read ahead is played all the same.
    /// @return the frames from the one being played on that are; nothing if all are
    std::optional<UInt64> tryRepeat(const BRAQFrameRange& range, UInt64 rounds);
    void keepRepeat(const BRAQFrameRange& range, UInt64 rounds);
    void seek(SInt64 frame);
    void beginRoundAtSeam();
    /// Has a stopped reader go on where `from` was.
    void goOnAt(const BRAQLoopWalk& from);
    /// The same, repeating another range.
    void goOnAt(const BRAQLoopWalk& from, const BRAQFrameRange& range, UInt64 rounds);
    /// Takes over what another reader repeats.
    void repeatLike(const BRAQAudioFileReader& other);
    Loop loop() const;
    UInt32 fill(BQueueableAudioBuffer* queued, const Loop& now, bool backwards);
    UInt32 framesToRead(const Loop& now) const;
    /// Reads behind the `filled` first frames of a buffer.
    UInt32 read(BRAQExtendedAudioFile& file, BQueueableAudioBuffer* queued, UInt32 filled, UInt32 frames,
                bool backwards);
    UInt32 readRounds(BRAQExtendedAudioFile& file, BQueueableAudioBuffer* queued, bool backwards);
    void moveHead(BRAQExtendedAudioFile& file, const Loop& now, UInt32 framesRead, bool backwards);
    void goTo(BRAQExtendedAudioFile* file, SInt64 frame);

    std::atomic<SInt64> mCurrentFrame{0}; // the read head
    BRAQFrameRange mLoopRange;            // under mLoopMutex
    bool mLooping = false;                // under mLoopMutex
    BRAQFrameRange mRepeatRange;          // under mLoopMutex
    UInt64 mRepeatRounds = 0;             // under mLoopMutex

    mutable std::mutex mLoopMutex;
    mutable std::mutex mDirectionMutex;       // held while a buffer is filled, so that all of it has one direction
    bool mReadBackwards = false;              // under mDirectionMutex: the direction of the last fill
    bool mIsFileElsewhere = false;            // under mDirectionMutex: whether the file's position is not the head
    bool mHasReadToEnd = false;               // under mDirectionMutex: whether the last fill found no frames
    std::unique_ptr<BRAQLoopWalk> mRepeat;    // under mDirectionMutex: of the read head, whose place is mCurrentFrame
    std::unique_ptr<Beginning[]> mBeginnings; // one for each buffer
};

/// @}
