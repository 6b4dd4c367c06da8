#pragma once

#include "BRAQAudio/BRAQAtomicProperty.h"
#include "BRAQAudio/BRAQAudioBufferQueue.h"
#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQDeviceChange.h"
#include "BRAQAudio/BRAQReleasable.h"
#include "BRAQAudio/core/BAudioNotificationQueueWorker.h"
#include "BRAQAudio/platform/graphs.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class BRAQQueueSequence;

namespace braq {
class DeviceWatch;
class LossWatch;
} // namespace braq

/// @addtogroup play
/// @{

/// Plays the frames of a ring on one device, at a rate and a level that may change while it plays. At rate 1 and level
/// 1, on a device with the same sample rate, the device gets the ring's frames unchanged.
///
/// A unit that is given no device plays on the default device and goes where that goes, and where the user moves it: on a
/// sound server it is a stream without a target. It goes on where it was. While there is no device at all, it waits and
/// its position stands still; `isRunning` stays true. A unit that is given a device is never moved: it stops when that
/// device is gone.
///
/// Platform failures are raised as NSException `NSXErrorExceptionName`. Any thread but an I/O thread.
class BRAQ_EXPORT BRAQOutputAudioUnit : public BRAQReleasable,
                                        public std::enable_shared_from_this<BRAQOutputAudioUnit> {
  public:
    /// Set the ring and the end-of-stream block before you start the unit.
    /// @param streamDescription format of the ring's frames: 32-bit float, not interleaved, at any rate
    /// @param device null: the default device, wherever it goes
    /// A step that fails raises, and the steps before it are not undone; no thread is left.
    static std::shared_ptr<BRAQOutputAudioUnit>
    initWithStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                              const std::shared_ptr<BRAQAudioDevice>& device);
    ~BRAQOutputAudioUnit() override;

    /// Plays on from the ring's position. A device that refuses is not reported; check `isRunning`.
    void start();
    /// The same, but the first frame is as loud as the ring delivers it, whatever the transition time: for what begins
    /// here by itself, such as a piece of music, and is not gone on with.
    void startWithoutTransition();
    /// Returns when everything pulled from the ring was heard. With a transition time, frames are pulled and fade out
    /// for that time first; a device that makes no cycles any more is waited for a quarter of a second.
    void stop();
    /// Whether the device runs the unit. It keeps running at the end of the stream, until it is stopped.
    bool isRunning() const;

    /// Speed and pitch, initially 1. Raises and changes nothing outside 1/32 to 32, or 1/4 to 4 while the pitch is kept.
    /// Ramps smoothly, also while playing.
    void setPlaybackRate(double rate);
    double playbackRate() const;
    /// Has the rate change the speed only, and leave the pitch as it is; initially it changes both. Any time, also while
    /// playing, without a click. The whole is as long as at the same rate without it; in it, sounds are some 10 ms from where
    /// they would be, and at a half and a quarter of the speed 40 and 120 ms. At rates other than 1, a change of the rate and a change of the ring (a seek, the next file) are heard
    /// some 0.1 s later, and `stop` takes as much longer. At rate 1 nothing is changed.
    ///
    /// Raises and changes nothing if the rate is outside 1/4 to 4, or with more than 16 channels.
    void setKeepsPitch(bool keepsPitch);
    bool keepsPitch() const;
    /// Linear gain, initially 1; raises if negative. Fades within 10 ms, also while playing.
    void setPlaybackLevel(double level);

    /// The loudspeaker position of each channel of the stream. Unless set: the default of `BRAQChannelPosition`'s table
    /// for this channel count.
    std::vector<BRAQChannelPosition> channelPositions() const;
    /// Routes each channel to the loudspeaker of its position. A channel without a loudspeaker is mixed into those
    /// beside it, see `setUnscaledDownmix`. If the device does not state its channels, channel i goes to its channel i.
    /// Not while the unit runs.
    /// @param positions one for each channel of the stream, else it raises; empty restores the default
    void setChannelPositions(const std::vector<BRAQChannelPosition>& positions);
    bool unscaledDownmix() const;
    /// How channels are mixed for which the device has no loudspeaker (ITU-R BS.775): the centre into left and right,
    /// surround channels into the front, each 3 dB lower; low frequencies are dropped. By default all channels are then
    /// scaled so that full scale in every channel cannot exceed full scale: for 5.1 on a stereo device, left and right
    /// by 0.414, centre and surround by 0.293. Unscaled, these are 1 and 0.707, and samples beyond the device's full
    /// scale are clipped there. Not while the unit runs.
    void setUnscaledDownmix(bool unscaled);

    /// Milliseconds that a `start` rises from silence, a stop falls to it and `changeAudioBufferQueue` takes from one
    /// ring to the other: a raised cosine, 0.5 - 0.5 cos(pi t), of what the ring delivers. Initially 0: each begins
    /// and ends with whole samples, which may click. What is played in between is not touched. 8 is not heard as a
    /// fade and does not click.
    double transitionTime() const noexcept { return mTransitionTime.load(std::memory_order_relaxed); }
    /// @param milliseconds 0 to 1000; raises NSException `NSInvalidArgumentException` for others and NaN
    void setTransitionTime(double milliseconds);

    /// The highest absolute sample of a channel since the last call, after the playback level. Measured when frames are
    /// pulled from the ring, so it is ahead of what is heard by the device's latency.
    /// @param channel of the stream, from 0; returns 0.0 for a channel that it does not have
    float outputLevel(UInt32 channel) noexcept;

    /// Called on a thread of the unit when the last frame was pulled from the ring, at most once per start. It may stop
    /// and start the unit and release it. Exceptions are logged. Set it before `start`, not while the unit runs.
    void setEndOfStreamNotificationBlock(const BQueueableAudioNotificationBlock& block);

    /// Seconds from when the device takes a frame until it is heard, as `BRAQAudioUnit::latency`. Raises.
    Float64 latency() const;

    /// The device that it plays on now; null while that is gone.
    std::shared_ptr<BRAQAudioDevice> presentDevice() const;
    /// Called when the unit goes on with another device, when its device is gone, and when it has one again. Replaces the
    /// one before. Null: nothing is called.
    void setDeviceChangeBlock(const BRAQDeviceChangeBlock& block);

    /// Frames at the stream's rate that went missing since the unit was made, because the process or the device was held
    /// up: silence was heard for as long, once. Frames that the ring did not have in time are not among them.
    UInt64 lostFrames() const noexcept;
    /// Called on the main thread when frames were lost. Exceptions are logged. Replaces the one before. Null: nothing is
    /// called.
    /// @param block gets the frames since the last call
    void setLostFramesBlock(const std::function<void(UInt64 frames)>& block);

    std::shared_ptr<BRAQAudioStreamBasicDescription> streamDescription() const { return mStreamDescription.get(); }
    /// Retained, not copied. The format being played stays the one from creation.
    void setStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& description) {
        mStreamDescription.set(description);
    }
    /// A pointer for the user; not owned, never called.
    void* delegate() const noexcept { return mDelegate; }
    void setDelegate(void* delegate) noexcept { mDelegate = delegate; }
    /// The ring that is played, or will be in the next cycle.
    std::shared_ptr<BRAQAudioBufferQueue> audioBufferQueue() const;
    /// Not while the unit runs.
    void setAudioBufferQueue(const std::shared_ptr<BRAQAudioBufferQueue>& queue);
    /// Plays another ring from the next cycle on, also while the unit runs. The ring before it is heard for the
    /// transition time more; its owner leaves it its frames until `isUsing` is false. A transition from one ring to
    /// another is heard to its end first. Replaces a ring that still waits.
    /// @param queue primed, with the channels and the rate of the stream, or without a rate; else, and for null, it raises NSException
    ///        `NSInvalidArgumentException`
    void changeAudioBufferQueue(const std::shared_ptr<BRAQAudioBufferQueue>& queue);
    /// Plays this ring when the one that is played has reached its end: its first frame follows the last one directly,
    /// in the same cycle. The unit then signals no end. Any time before the end, also while the unit runs.
    /// @param queue as for `changeAudioBufferQueue`; null: none follows
    void setNextAudioBufferQueue(const std::shared_ptr<BRAQAudioBufferQueue>& queue);
    /// Whether frames of the ring may still be heard: it is played, or follows, or fades out.
    bool isUsing(const std::shared_ptr<BRAQAudioBufferQueue>& queue) const;
    /// Whether a ring that `changeAudioBufferQueue` was given waits: for the next cycle, or for the end of a transition.
    bool willChange() const;
    /// Releases the rings that are no longer used. Each of the operations above that sets a ring does so, too.
    void releaseRings();
    /// Called on a thread of the unit when a ring has followed another one. Exceptions are logged. Set it before
    /// `start`, not while the unit runs.
    void setQueueChangeNotificationBlock(const BQueueableAudioNotificationBlock& block);

  protected:
    BRAQOutputAudioUnit(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                        const std::shared_ptr<BRAQAudioDevice>& device);

    /// Takes ownership of an object that was made here or in a derived class.
    template <class Unit>
    static std::shared_ptr<Unit> handOut(Unit* made) {
        return own(made);
    }

    bool isOnThreadOfItsOwn() const noexcept override;

  private:
    friend class BRAQPlayerDecks;
    friend OSStatus OAUOutputProc(void*, AudioUnitRenderActionFlags*, const AudioTimeStamp*, UInt32, UInt32,
                                  AudioBufferList*);

    void makeGraph();
    void setUpUnits(const std::shared_ptr<BRAQAudioDevice>& device);
    void setUpFormats();
    void setUpSliceLimit();
    void keepLevels(const AudioBufferList& list, UInt32 frames) noexcept;
    void signalEndOf(UInt64 start) noexcept;
    void signalFollows() noexcept;
    void beginPlaying(bool rises);
    void fadeOut();
    bool isCycling() const noexcept;
    void setPace(double playbackRate);
    /// Like `changeAudioBufferQueue`, as if the ring had been played since `pulledBefore` frames were pulled: it goes on
    /// where the ring before it is. That many frames from there on are the same in both (`alike`).
    void continueInAudioBufferQueue(const std::shared_ptr<BRAQAudioBufferQueue>& queue, UInt64 pulledBefore,
                                    UInt64 alike);
    /// Goes on without the ring that waits; false if none does.
    bool takeBackChange();
    /// The frames pulled from all rings, as of when `look` is called. Calls it again if frames were pulled meanwhile.
    UInt64 pulledFrames(const std::function<void()>& look) const;
    void checkIsOfStream(const std::shared_ptr<BRAQAudioBufferQueue>& queue) const;
    void replace(BQueueableAudioNotification*& notification, const BQueueableAudioNotificationBlock& block);
    void retire(BQueueableAudioNotification* notification);
    static void finishAndDestroy(BAudioNotificationQueueWorker* worker, BQueueableAudioNotification* notification);

    BRAQAtomicProperty<std::shared_ptr<BRAQAudioStreamBasicDescription>> mStreamDescription;
    void* mDelegate = nullptr;
    AUGraph mGraph = nullptr;
    AudioUnit mVarispeedUnit = nullptr;
    AudioUnit mOutputUnit = nullptr;
    AUNode mVarispeedNode = 0;
    AUNode mOutputNode = 0;
    mutable std::mutex mQueuesMutex;                                        // any thread but an I/O thread
    std::unique_ptr<BRAQQueueSequence> mQueues;                             // changed under mQueuesMutex
    BQueueableAudioNotification* mAudioNotification = nullptr;              // owned; null until there is a block
    BAudioNotificationQueueWorker* mAudioNotificationQueueWorker = nullptr; // owned
    std::atomic<UInt64> mDone{0}; // written by the I/O thread: the last start whose end was signalled

    std::atomic<UInt64> mStarts{1};        // counted by start
    std::atomic<UInt64> mNotifiedStart{0}; // the notification worker: the last start whose end was notified
    UInt32 mLevelChannels = 0;
    std::unique_ptr<std::atomic<float>[]> mLevels;              // mLevelChannels of them; all: atomic
    std::atomic<float> mPlaybackLevel{1.0F};                    // any thread: as set
    std::atomic<double> mTransitionTime{0.0};                   // milliseconds
    BQueueableAudioNotification* mChangeNotification = nullptr; // owned; null until there is a block
    std::atomic<UInt64> mNotifiedFollows{0};                    // the notification worker: as many have been notified
    std::shared_ptr<braq::DeviceWatch> mDeviceWatch;
    std::shared_ptr<braq::LossWatch> mLossWatch;
    bool mIsMade = false; // init is complete
};

/// @}
