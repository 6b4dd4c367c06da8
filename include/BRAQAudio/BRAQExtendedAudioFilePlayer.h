#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQAudioFileReader.h"
#include "BRAQAudio/BRAQAudioUnit.h"
#include "BRAQAudio/BRAQDelegateEntry.h"
#include "BRAQAudio/BRAQExtendedAudioFile.h"
#include "BRAQAudio/BRAQOutputAudioUnit.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/// @addtogroup play
/// @{

class BRAQExtendedAudioFilePlayer;
class BRAQPlayerDecks;

BRAQ_DELEGATE_OPERATION(audioFilePlayerDidReachEndOfFile)
BRAQ_DELEGATE_OPERATION(audioFilePlayerDidStop)
BRAQ_DELEGATE_OPERATION(audioFilePlayerDeviceDidChange)
BRAQ_DELEGATE_OPERATION(audioFilePlayerDeviceIsGone)
BRAQ_DELEGATE_OPERATION(audioFilePlayerDeviceIsBack)
BRAQ_DELEGATE_OPERATION(audioFilePlayerDidBeginNextFile)
BRAQ_DELEGATE_OPERATION(audioFilePlayerDidLoseFrames)

/// A class whose objects can be the delegate of a player: what it has of the operations of
/// `BRAQExtendedAudioFilePlayerDelegateEntry` can be called as stated there.
template <class Delegate>
concept BRAQExtendedAudioFilePlayerDelegate =
    std::is_class_v<Delegate> &&
    (!braq::delegates::Has_audioFilePlayerDidReachEndOfFile<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player) {
         delegate.audioFilePlayerDidReachEndOfFile(player);
     }) &&
    (!braq::delegates::Has_audioFilePlayerDidStop<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player) {
         delegate.audioFilePlayerDidStop(player);
     }) &&
    (!braq::delegates::Has_audioFilePlayerDidBeginNextFile<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player) {
         delegate.audioFilePlayerDidBeginNextFile(player);
     }) &&
    (!braq::delegates::Has_audioFilePlayerDidLoseFrames<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player, UInt64 frames) {
         delegate.audioFilePlayerDidLoseFrames(player, frames);
     }) &&
    (!braq::delegates::Has_audioFilePlayerDeviceDidChange<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player,
              const std::shared_ptr<BRAQAudioDevice>& device) {
         delegate.audioFilePlayerDeviceDidChange(player, device);
     }) &&
    (!braq::delegates::Has_audioFilePlayerDeviceIsGone<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player) {
         delegate.audioFilePlayerDeviceIsGone(player);
     }) &&
    (!braq::delegates::Has_audioFilePlayerDeviceIsBack<Delegate> ||
     requires(Delegate & delegate, const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player,
              const std::shared_ptr<BRAQAudioDevice>& device) {
         delegate.audioFilePlayerDeviceIsBack(player, device);
     });

/// The delegate of a player: any object, not owned by the player. Those of these operations that it has are called on
/// the main thread:
///
///     void audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
///     void audioFilePlayerDidStop(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
///     void audioFilePlayerDidBeginNextFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
///     void audioFilePlayerDidLoseFrames(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player, UInt64 frames);
///     void audioFilePlayerDeviceDidChange(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player,
///                                         const std::shared_ptr<BRAQAudioDevice>& device);
///     void audioFilePlayerDeviceIsGone(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
///     void audioFilePlayerDeviceIsBack(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player,
///                                      const std::shared_ptr<BRAQAudioDevice>& device);
///
/// `audioFilePlayerDidLoseFrames` tells of dropouts: the frames lost since its last call, see `lostFrames`. The last three
/// tell what has happened to the device, see `BRAQDeviceChange`.
class BRAQExtendedAudioFilePlayerDelegateEntry {
  public:
    /// No delegate.
    BRAQExtendedAudioFilePlayerDelegateEntry(std::nullptr_t = nullptr) {}
    /// @param delegate may be null; must live until the player has another one
    template <BRAQExtendedAudioFilePlayerDelegate Delegate>
    BRAQExtendedAudioFilePlayerDelegateEntry(Delegate* delegate) : object(delegate) {
        using Player = std::shared_ptr<BRAQExtendedAudioFilePlayer>;
        if (delegate == nullptr) {
            return;
        }
        if constexpr (requires(const Player& player) { delegate->audioFilePlayerDidReachEndOfFile(player); }) {
            audioFilePlayerDidReachEndOfFile = [delegate](const Player& player) {
                delegate->audioFilePlayerDidReachEndOfFile(player);
            };
        }
        if constexpr (requires(const Player& player) { delegate->audioFilePlayerDidStop(player); }) {
            audioFilePlayerDidStop = [delegate](const Player& player) { delegate->audioFilePlayerDidStop(player); };
        }
        if constexpr (requires(const Player& player) { delegate->audioFilePlayerDidBeginNextFile(player); }) {
            audioFilePlayerDidBeginNextFile = [delegate](const Player& player) {
                delegate->audioFilePlayerDidBeginNextFile(player);
            };
        }
        if constexpr (requires(const Player& player, UInt64 frames) {
                          delegate->audioFilePlayerDidLoseFrames(player, frames);
                      }) {
            audioFilePlayerDidLoseFrames = [delegate](const Player& player, UInt64 frames) {
                delegate->audioFilePlayerDidLoseFrames(player, frames);
            };
        }
        using Device = std::shared_ptr<BRAQAudioDevice>;
        if constexpr (requires(const Player& player, const Device& device) {
                          delegate->audioFilePlayerDeviceDidChange(player, device);
                      }) {
            audioFilePlayerDeviceDidChange = [delegate](const Player& player, const Device& device) {
                delegate->audioFilePlayerDeviceDidChange(player, device);
            };
        }
        if constexpr (requires(const Player& player) { delegate->audioFilePlayerDeviceIsGone(player); }) {
            audioFilePlayerDeviceIsGone = [delegate](const Player& player) {
                delegate->audioFilePlayerDeviceIsGone(player);
            };
        }
        if constexpr (requires(const Player& player, const Device& device) {
                          delegate->audioFilePlayerDeviceIsBack(player, device);
                      }) {
            audioFilePlayerDeviceIsBack = [delegate](const Player& player, const Device& device) {
                delegate->audioFilePlayerDeviceIsBack(player, device);
            };
        }
    }

    const void* object = nullptr; ///< the delegate
    /// Calls the object. Empty if the object has no such operation.
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player)> audioFilePlayerDidReachEndOfFile;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player)> audioFilePlayerDidStop;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player)> audioFilePlayerDidBeginNextFile;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player, UInt64 frames)>
        audioFilePlayerDidLoseFrames;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player,
                       const std::shared_ptr<BRAQAudioDevice>& device)>
        audioFilePlayerDeviceDidChange;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player)> audioFilePlayerDeviceIsGone;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player,
                       const std::shared_ptr<BRAQAudioDevice>& device)>
        audioFilePlayerDeviceIsBack;
};

/// Plays an audio file on a device: a reader reads ahead, and an output unit plays what was read. Other files may follow
/// without a gap (`setNextAudioFile`). Each channel is played on the loudspeaker that the file states for it
/// (`BRAQOutputAudioUnit::setChannelPositions`).
///
/// A player keeps itself alive from creation until `invalidate`. Its properties "currentFrame" and "currentTime" can be
/// observed. Setting the frame changes both; normal progress of playback does not notify.
///
/// With a transition time of the unit (`BRAQOutputAudioUnit::setTransitionTime`), playing rises from silence where it
/// begins within a file, and its first frames are exact where it begins at the beginning of a file, or backwards at its
/// end.
///
/// Failures of the platform or the file are raised as NSException `NSXErrorExceptionName`. Any thread but an I/O
/// thread, also while playing.
class BRAQ_EXPORT BRAQExtendedAudioFilePlayer : public NSKeyValueObserving,
                                                public BRAQAudioUnitDelegate,
                                                public std::enable_shared_from_this<BRAQExtendedAudioFilePlayer> {
  public:
    /// @param audioFile opened for playback; nobody else may read it, seek in it or reverse it meanwhile
    /// @param device null: the default device, wherever it goes (`BRAQOutputAudioUnit`)
    static std::shared_ptr<BRAQExtendedAudioFilePlayer>
    initWithAudioFile(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile,
                      const std::shared_ptr<BRAQAudioDevice>& device);
    /// @return null if the file cannot be opened; the log says why
    static std::shared_ptr<BRAQExtendedAudioFilePlayer> initWithFileURL(const std::shared_ptr<NSURL>& url,
                                                                        const std::shared_ptr<BRAQAudioDevice>& device);
    /// The same for a UTF-8 path.
    static std::shared_ptr<BRAQExtendedAudioFilePlayer>
    initWithFilename(const std::string& path, const std::shared_ptr<BRAQAudioDevice>& device);
    ~BRAQExtendedAudioFilePlayer() override;

    /// Starts playing at `currentFrame`; does nothing while playing. After `stopFilePlaying`, that is the next frame to
    /// be read, so up to 12,288 frames read ahead are skipped; after `pausePlaying` none are. At the end of the file,
    /// set the position first. A device that refuses is not reported; check `isPlaying`.
    void startFilePlaying();
    /// Returns when everything that the unit has pulled was heard.
    void stopFilePlaying();
    /// Stops the unit and keeps the frames read ahead.
    void pausePlaying();
    /// Resumes after `pausePlaying` without skipping a frame. Does nothing after `stopFilePlaying`.
    void resumePlaying();
    bool isPlaying() const;

    /// Stops for good and drops the player's reference to itself, so that the last user's reference keeps it alive.
    /// Afterwards it does not start and does not report the end of the file. Idempotent.
    void invalidate();

    /// Negative speeds play backwards. Up to 12,288 frames read ahead are first played in the old direction. 0 and NaN
    /// fail an assertion.
    /// @param speed 1 is the file's own speed; raises if the magnitude is outside 1/32 to 32, or 1/4 to 4 while
    ///        the pitch is kept
    void setPlaybackSpeed(float speed);
    /// The same, except that a change of direction is heard at once: the frames read ahead are dropped, and the first
    /// frame in the new direction is the one that the unit pulled last.
    void setPlaybackSpeedAtOnce(float speed);
    /// The magnitude of the speed. The direction is deliberately left out.
    float playbackSpeed() const;
    /// Has the speed leave the pitch as it is, as for learning a piece or for speech; initially it changes both. Any time,
    /// also while playing; see `BRAQOutputAudioUnit::setKeepsPitch`. Positions stay true. Raises and changes nothing if the
    /// magnitude of the speed is outside 1/4 to 4, which is the range of speeds from then on, or if the file has more
    /// than 16 channels.
    void setKeepsPitch(bool keepsPitch);
    bool keepsPitch() const;
    /// @param decibels 0 leaves the samples unchanged; a gain of 10^(decibels / 20)
    void setPlaybackVolume(double decibels);
    /// @param level linear gain, initially 1; raises if negative
    void setPlaybackLevel(double level);

    /// The client frame that the unit pulls next; while stopped, the next one to be read. It is ahead
    /// of what is heard (`heardFrame`). Backwards it counts up within each buffer of 4,096 frames read,
    /// from the end of that buffer; `position` does not.
    SInt64 currentFrame() const;
    /// Like `currentFrame`, but backwards it counts down: it is the frame that the unit pulled last. A seek to it goes
    /// on there in either direction.
    SInt64 position() const;
    /// The frame that the loudspeaker plays now: `position` less what the converter, the device's buffer and its latency
    /// (`BRAQAudioUnit::latency`) hold, as far as the device tells that, to within a cycle. It follows what is heard, at all
    /// speeds and in both directions: after a seek it stays at the old place until the new one is heard, and in a loop it
    /// goes back when the seam is heard. A file that follows another one is at the frame that it begins with until that is
    /// heard. While nothing plays it is `position`. Raises if the device cannot be asked.
    SInt64 heardFrame() const;
    /// The same for another time, up to 2 seconds ago and as far ahead as the device has taken frames: the last one of them
    /// for a time behind that. A program can show a picture together with its sound so.
    /// @param hostTime in nanoseconds, as in `AudioTimeStamp`
    SInt64 heardFrameAt(UInt64 hostTime) const;
    /// `heardFrame` in milliseconds at the rate of the file's client format.
    double heardTime() const;
    /// Seeks. Frames read ahead are dropped; while playing, they are heard until those of the new place have been read,
    /// so that nothing is missing in between. At the end of the file, a player that has not stopped yet plays on. If
    /// this raises, the player has stopped.
    void setCurrentFrame(SInt64 frame);
    /// `currentFrame` in milliseconds at the rate of the file's client format.
    double currentTime() const;
    /// Seeks to the frame that contains this time. NaN raises NSException `NSInvalidArgumentException`.
    void setCurrentTime(double milliseconds);
    /// The length of the file in milliseconds.
    double maxTime() const;

    /// The file that is heard. Positions and length are those in it.
    std::shared_ptr<BRAQExtendedAudioFile> audioFile() const;
    /// The file that follows the one that is heard; null if none does.
    std::shared_ptr<BRAQExtendedAudioFile> nextAudioFile() const;
    /// Has a file follow the one that is heard: its first frame directly behind that one's last, without a frame of
    /// silence. The end of the file before it is not reported; `audioFilePlayerDidBeginNextFile` is called instead, with
    /// `currentFrame` in the new file. Any time before the end; reads the beginning of the file. Backwards, the file at
    /// hand ends at its beginning; the next one is played in its own direction: from its end if it is reversed.
    /// @param audioFile opened for playback with the channels and the rate of the player's first file, else it raises
    ///        NSException `NSInvalidArgumentException`; `setNextFileURL` opens any file so. Null: none follows.
    void setNextAudioFile(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile);
    /// The same, with a file that is converted to the channels and the rate of the player's first file if it has others.
    /// @param error may be null; written on failure only
    /// @return false if the file cannot be opened; what followed before still does
    bool setNextFileURL(const std::shared_ptr<NSURL>& url, std::shared_ptr<NSError>* error);

    /// The count of a loop that goes on until it is cleared.
    static constexpr UInt64 loopForever = 0;
    /// Plays a range of the file that is heard `count` times, and then what is behind it. Playing or not. The last frame
    /// of the range is followed by its first one directly, backwards its first by its last, without a transition.
    ///
    /// The first of these rounds is the one in which the range is entered, or the one at hand if the frame pulled next
    /// is in the range. Who is behind the range when it is set, or seeks there, is not brought back: playing goes on to
    /// the end of the file, and so to the next file. A seek begins the count anew, a change of direction does not. A
    /// loop that is set again, with another count for instance, counts from the round that is heard. The next file has
    /// no loop when it begins.
    ///
    /// While playing, nothing is interrupted. A loop that is set or cleared while the unit pulls the last frames before
    /// the seam is heard a moment late, then as if it had been in time. No delegate operation tells of rounds.
    /// @param firstFrame of the range, at the client's rate as all positions
    /// @param endFrame one past the last frame of the range
    /// @param count `loopForever`, or how often the range is played
    /// Raises NSException `NSInvalidArgumentException`, and changes nothing, if the range is empty or not all in the file.
    void setLoop(SInt64 firstFrame, SInt64 endFrame, UInt64 count = loopForever);
    /// Playing goes on behind the range when the round at hand has been played. Does nothing without a loop.
    void clearLoop();
    /// The range of the loop that was set, also when its rounds have been played; of length 0 if there is none.
    BRAQFrameRange loop() const;
    /// The count that was set; `loopForever` also if there is no loop.
    UInt64 loopCount() const;

    /// Stored only: playback deliberately ends at the end of the file all the same. `setLoop` loops.
    bool looping() const noexcept { return mLooping.load(std::memory_order_relaxed); }
    void setLooping(bool looping) noexcept { mLooping.store(looping, std::memory_order_relaxed); }

    /// Null if there is none.
    const void* delegate() const { return mDelegate.get().object; }
    /// @param delegate pointer to any object; must live until another one, or null, is set on the main thread
    void setDelegate(BRAQExtendedAudioFilePlayerDelegateEntry delegate) { mDelegate.set(std::move(delegate)); }

    const std::shared_ptr<BRAQOutputAudioUnit>& outputAudioUnit() const noexcept { return mOutputAudioUnit; }
    /// Underruns since playback was started: how often the unit ran out of frames.
    UInt64 errorCount() const;
    /// Frames at the rate of the file that went missing since the player was made, because the process or the device was
    /// held up: silence was heard for as long. Underruns of the reader (`errorCount`) are not among them.
    UInt64 lostFrames() const noexcept { return mOutputAudioUnit->lostFrames(); }
    /// The last failure in reading ahead; null if there was none.
    std::shared_ptr<NSError> lastError() const;

    /// Both call the delegate at once. Main thread.
    void notifyDelegateOfEOF();
    void notifyDelegateOfStop();
    /// Schedules `notifyDelegateOfStop` on the main thread. The player lives until then, whether it is invalidated or
    /// not. Deliberately, the player's own unit never calls this.
    void audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& unit) override;

    /// "currentTime" depends on "currentFrame".
    std::vector<std::string> keyPathsForValuesAffectingValueForKey(const std::string& key) const override;

  private:
    BRAQExtendedAudioFilePlayer(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile,
                                const std::shared_ptr<BRAQAudioDevice>& device);

    void installNotificationBlocks();
    void installDeviceBlocks();
    void callOnMainThread(std::function<void(BRAQExtendedAudioFilePlayer& player)> operation);
    void endOfStreamWasReached(UInt64 start);
    void stopAtEndSince(UInt64 start);
    bool isAtEndSince(UInt64 start) const;
    bool stopForGood();
    void restartReaderAtEnd();
    void setUnitSpeed(float speed, const char* method);
    void startUnit();
    bool isAtFirstFrame() const;
    void moveTo(SInt64 frame);
    void moveReader(const std::function<void(BRAQAudioFileReader&)>& inPlace, const std::function<bool()>& changeOver);
    void repeat(const BRAQFrameRange& range, UInt64 rounds);
    std::shared_ptr<BRAQAudioFileReader> reader() const;
    void notifyDelegateOfNextFile();
    double sampleRate() const;

    const std::shared_ptr<BRAQOutputAudioUnit> mOutputAudioUnit;
    std::atomic<bool> mLooping{false};
    BRAQAtomicProperty<BRAQExtendedAudioFilePlayerDelegateEntry> mDelegate;
    const std::unique_ptr<BRAQPlayerDecks> mDecks;

    std::mutex mTransportMutex; // held while the unit or the reader is started, stopped or moved
    bool mIsInvalid = false;    // under mTransportMutex
    std::atomic<UInt64> mStarts{
        0}; // written under mTransportMutex: counts starts and seeks; an end of file belongs to the last of them
};

/// @}
