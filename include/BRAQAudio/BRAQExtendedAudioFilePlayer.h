#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQAudioFileReader.h"
#include "BRAQAudio/BRAQAudioUnit.h"
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

class BRAQExtendedAudioFilePlayer;

/// The delegate of a player: any object, which the player does not own. What it has of these operations is called, on the main
/// thread:
///
///     void audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
///     void audioFilePlayerDidStop(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
class BRAQExtendedAudioFilePlayerDelegateEntry {
  public:
    /// No delegate.
    BRAQExtendedAudioFilePlayerDelegateEntry(std::nullptr_t = nullptr) {}
    /// @param delegate may be null; has to live until the player has another one
    template <class Delegate>
    requires std::is_class_v<Delegate> BRAQExtendedAudioFilePlayerDelegateEntry(Delegate* delegate) : object(delegate) {
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
    }

    const void* object = nullptr; ///< the delegate
    /// Calls the object; empty if it has no such operation.
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player)> audioFilePlayerDidReachEndOfFile;
    std::function<void(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player)> audioFilePlayerDidStop;
};

/// Plays one audio file on one device: a reader reads it ahead, and an output unit plays what was read. Each channel is heard from
/// the loudspeaker that the file says it is meant for (`BRAQOutputAudioUnit::setChannelPositions`).
///
/// A player keeps itself alive from the moment that it is made until `invalidate`. Its properties can be observed under the
/// names "currentFrame" and "currentTime"; setting the frame changes both, and playing on tells nobody.
///
/// What the platform or the file reports as failed is raised as NSException `NSXErrorExceptionName`. Any thread but an I/O
/// thread, also while it plays.
class BRAQ_EXPORT BRAQExtendedAudioFilePlayer : public NSKeyValueObserving,
                                                public BRAQAudioUnitDelegate,
                                                public std::enable_shared_from_this<BRAQExtendedAudioFilePlayer> {
  public:
    /// @param audioFile opened for playback; not to be read, moved or turned round by anyone else meanwhile
    /// @param device null: the default one
    static std::shared_ptr<BRAQExtendedAudioFilePlayer>
    initWithAudioFile(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile,
                      const std::shared_ptr<BRAQAudioDevice>& device);
    /// @return null for a file that cannot be opened; the log says why
    static std::shared_ptr<BRAQExtendedAudioFilePlayer> initWithFileURL(const std::shared_ptr<NSURL>& url,
                                                                        const std::shared_ptr<BRAQAudioDevice>& device);
    /// The same for a path in UTF-8.
    static std::shared_ptr<BRAQExtendedAudioFilePlayer>
    initWithFilename(const std::string& path, const std::shared_ptr<BRAQAudioDevice>& device);
    ~BRAQExtendedAudioFilePlayer() override;

    /// Plays on from `currentFrame`; nothing while it plays. After `stopFilePlaying` that is the frame that would have been
    /// read next, so what had been read ahead, up to 12,288 frames, is left out; after `pausePlaying` nothing is. At the end
    /// of the file, set the position first. A device that refuses is not reported; `isPlaying` tells.
    void startFilePlaying();
    /// Returns when what the unit has taken is heard.
    void stopFilePlaying();
    /// Stops the unit and leaves what was read ahead where it is.
    void pausePlaying();
    /// Plays on after `pausePlaying`, without leaving a frame out; nothing after `stopFilePlaying`.
    void resumePlaying();
    bool isPlaying() const;

    /// Stops for good and lets go of what keeps the player alive: it goes with its last user. Afterwards it neither starts nor
    /// tells that it reached the end. A second call does nothing.
    void invalidate();

    /// Below 0 it plays backwards. What was read ahead, up to 12,288 frames, is played in the old direction first. 0 and what is
    /// no number fail an assertion.
    /// @param speed 1 is the file's own; its magnitude from 1/32 to 32, else it is raised
    void setPlaybackSpeed(float speed);
    /// The magnitude of the speed; deliberately, the direction is not told.
    float playbackSpeed() const;
    /// @param decibels 0 leaves the samples as they are; a gain of 10^(decibels / 20)
    void setPlaybackVolume(double decibels);
    /// @param level linear gain, 1 as made; below 0 is raised
    void setPlaybackLevel(double level);

    /// The client frame of the file that the unit takes next; while stopped, the one that is read next. At other speeds than 1
    /// it is ahead of what is heard by a few hundred frames. Backwards it counts up within each buffer that was read, of 4,096
    /// frames, from the end of that.
    SInt64 currentFrame() const;
    /// What was read ahead is dropped. At the end of the file, a player that has not stopped yet plays on. If it is raised, the
    /// player has stopped.
    void setCurrentFrame(SInt64 frame);
    /// `currentFrame` in milliseconds at the rate of the file's client format.
    double currentTime() const;
    /// Goes to the frame in which that time is. What is no number raises NSException `NSInvalidArgumentException`.
    void setCurrentTime(double milliseconds);
    /// The length of the file in milliseconds.
    double maxTime() const;

    /// Only kept: deliberately, playback ends at the end of the file all the same. A loop is the reader's
    /// (`BRAQAudioFileReader::enableLoopingInRange`), with an output unit of one's own.
    bool looping() const noexcept { return mLooping.load(std::memory_order_relaxed); }
    void setLooping(bool looping) noexcept { mLooping.store(looping, std::memory_order_relaxed); }

    /// Null if there is none.
    const void* delegate() const { return mDelegate.get().object; }
    /// @param delegate pointer to any object; has to live until another one, or null, is set on the main thread
    void setDelegate(BRAQExtendedAudioFilePlayerDelegateEntry delegate) { mDelegate.set(std::move(delegate)); }

    const std::shared_ptr<BRAQOutputAudioUnit>& outputAudioUnit() const noexcept { return mOutputAudioUnit; }
    /// Underruns since playback was started: how many times the unit was short of frames.
    UInt64 errorCount() const noexcept { return mFileReader->errorCount(); }
    /// What went wrong in reading ahead; null if nothing did.
    std::shared_ptr<NSError> lastError() const { return mFileReader->lastError(); }

    /// Both tell the delegate at once. Main thread.
    void notifyDelegateOfEOF();
    void notifyDelegateOfStop();
    /// Has `notifyDelegateOfStop` called on the main thread, later. Deliberately, the player's own unit never calls this.
    void audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& unit) override;

    /// The time depends on the frame.
    std::vector<std::string> keyPathsForValuesAffectingValueForKey(const std::string& key) const override;

  private:
    BRAQExtendedAudioFilePlayer(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile,
                                const std::shared_ptr<BRAQAudioDevice>& device);

    void installEndOfStreamNotificationBlock();
    void callOnMainThread(std::function<void(BRAQExtendedAudioFilePlayer& player)> operation);
    void endOfStreamWasReached(UInt64 start);
    void stopAtEndSince(UInt64 start);
    bool isAtEndSince(UInt64 start) const;
    bool stopForGood();
    void restartReaderAtEnd();
    void startUnit();
    void moveTo(SInt64 frame);
    double sampleRate() const;

    const std::shared_ptr<BRAQExtendedAudioFile> mAudioFile;
    const std::shared_ptr<BRAQOutputAudioUnit> mOutputAudioUnit;
    std::atomic<bool> mLooping{false};
    BRAQAtomicProperty<BRAQExtendedAudioFilePlayerDelegateEntry> mDelegate;
    const std::shared_ptr<BRAQAudioFileReader> mFileReader;

    std::mutex mTransportMutex; // held while the unit or the reader is started, stopped or moved
    bool mIsInvalid = false;    // under mTransportMutex
    std::atomic<UInt64> mStarts{
        0}; // written under mTransportMutex: starts and moves; an end is that of the last of them
};
