#pragma once

#include "BRAQAudio/BRAQAtomicProperty.h"
#include "BRAQAudio/BRAQAudioBufferQueue.h"
#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQReleasable.h"
#include "BRAQAudio/core/BAudioNotificationQueueWorker.h"
#include "BRAQAudio/platform/graphs.h"

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

/// Plays the frames of a ring on one device, at a rate and a level that may change while it plays. At rate 1 and level 1, on a
/// device of the same sample rate, the device gets the ring's frames as they are.
///
/// What the platform refuses is raised as NSException `NSXErrorExceptionName`. Any thread but an I/O thread.
class BRAQ_EXPORT BRAQOutputAudioUnit : public BRAQReleasable,
                                        public std::enable_shared_from_this<BRAQOutputAudioUnit> {
  public:
    /// Ring and end-of-stream block are to be set before it is started.
    /// @param streamDescription of the ring's frames: 32-bit float, not interleaved, at any rate
    /// @param device null: the default one
    /// A step that fails is raised, and those before it are not undone.
    static std::shared_ptr<BRAQOutputAudioUnit>
    initWithStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                              const std::shared_ptr<BRAQAudioDevice>& device);
    ~BRAQOutputAudioUnit() override;

    /// Plays on from where the ring is. A device that refuses is not reported; `isRunning` tells.
    void start();
    /// Returns when what was taken from the ring is heard.
    void stop();
    /// Whether the device runs it; that goes on at the end of the stream, until it is stopped.
    bool isRunning() const;

    /// Speed and pitch; 1 as made. From 1/32 to 32, else it is raised and stays. Reached smoothly, also while playing.
    void setPlaybackRate(double rate);
    double playbackRate() const;
    /// Linear gain from 0, 1 as made; below 0 is raised. Reached within 10 ms, also while playing.
    void setPlaybackLevel(double level);

    /// The loudspeaker that each channel of the stream is meant for. Unless they are set, those of `BRAQChannelPosition`'s table for so
    /// many channels.
    std::vector<BRAQChannelPosition> channelPositions() const;
    /// Has each channel played by the loudspeaker of its position. Where the device has none, it is heard from those beside it, as
    /// said at `setUnscaledDownmix`; where the device does not say what its channels are, channel i is played by its channel i. Not
    /// while the unit runs.
    /// @param positions one for each channel of the stream, else it is raised; none takes them back
    void setChannelPositions(const std::vector<BRAQChannelPosition>& positions);
    bool unscaledDownmix() const;
    /// How channels are mixed that the device has no loudspeakers for (ITU-R BS.775): the centre in left and right, surround channels
    /// in those of the front, each 3 dB lower, low frequencies not at all. As made, all channels are then scaled so that full scale
    /// in each of them is full scale again: of 5.1 on a stereo device, left and right to 0.414, centre and surround to 0.293. Unscaled,
    /// these are 1 and 0.707, and what is louder than the device's full scale is clipped there. Not while the unit runs.
    void setUnscaledDownmix(bool unscaled);

    /// The highest absolute sample of a channel since this was last asked, at the level that it was played at; of what was
    /// taken from the ring, so ahead of what is heard by as much as the device's latency.
    /// @param channel of the stream, from 0; 0.0 for one that it has not got
    float outputLevel(UInt32 channel) noexcept;

    /// Called on a thread of the unit when the last frame was taken from the ring, at most once a start; it may stop and start
    /// the unit and let it go. What it throws is logged. Set it before `start`, and not while the unit runs.
    void setEndOfStreamNotificationBlock(const BQueueableAudioNotificationBlock& block);

    std::shared_ptr<BRAQAudioStreamBasicDescription> streamDescription() const { return mStreamDescription.get(); }
    /// Held, not copied; the format that is played stays the one it was made with.
    void setStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& description) {
        mStreamDescription.set(description);
    }
    /// Kept for its user; not owned, never called.
    void* delegate() const noexcept { return mDelegate; }
    void setDelegate(void* delegate) noexcept { mDelegate = delegate; }
    std::shared_ptr<BRAQAudioBufferQueue> audioBufferQueue() const { return mAudioBufferQueue.get(); }
    /// Not while the unit runs.
    void setAudioBufferQueue(const std::shared_ptr<BRAQAudioBufferQueue>& queue) { mAudioBufferQueue.set(queue); }

  protected:
    BRAQOutputAudioUnit(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                        const std::shared_ptr<BRAQAudioDevice>& device);

    /// The first reference of an object that was made here or in a derived class.
    template <class Unit>
    static std::shared_ptr<Unit> handOut(Unit* made) {
        return own(made);
    }

    bool isOnThreadOfItsOwn() const noexcept override;

  private:
    friend OSStatus OAUOutputProc(void*, AudioUnitRenderActionFlags*, const AudioTimeStamp*, UInt32, UInt32,
                                  AudioBufferList*);

    void makeGraph();
    void setUpUnits(const std::shared_ptr<BRAQAudioDevice>& device);
    void setUpFormats();
    void setUpSliceLimit();
    void keepLevels(const AudioBufferList& list, UInt32 frames) noexcept;
    void signalEndOf(UInt64 start) noexcept;
    void retire(BQueueableAudioNotification* notification);
    static void finishAndDestroy(BAudioNotificationQueueWorker* worker, BQueueableAudioNotification* notification);

    BRAQAtomicProperty<std::shared_ptr<BRAQAudioStreamBasicDescription>> mStreamDescription;
    void* mDelegate = nullptr;
    AUGraph mGraph = nullptr;
    AudioUnit mVarispeedUnit = nullptr;
    AudioUnit mOutputUnit = nullptr;
    AUNode mVarispeedNode = 0;
    AUNode mOutputNode = 0;
    BRAQAtomicProperty<std::shared_ptr<BRAQAudioBufferQueue>> mAudioBufferQueue;
    BQueueableAudioNotification* mAudioNotification = nullptr;              // owned; null until there is a block
    BAudioNotificationQueueWorker* mAudioNotificationQueueWorker = nullptr; // owned
    std::atomic<UInt64> mDone{0}; // written by the I/O thread: the start whose end was signalled last

    std::atomic<UInt64> mStarts{1};        // counted by start
    std::atomic<UInt64> mNotifiedStart{0}; // the notification worker: the one whose end was notified last
    UInt32 mLevelChannels = 0;
    std::unique_ptr<std::atomic<float>[]> mLevels; // mLevelChannels of them; all: atomic
    std::atomic<float> mPlaybackLevel{1.0F};       // any thread: as it was set
    bool mIsMade = false;                          // what init does has all been done
};
