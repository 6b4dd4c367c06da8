#pragma once

#include "BRAQAudio/BRAQAudioBufferQueue.h"
#include "library/src/BRAQHeardFrames.h"

#include <atomic>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

/// The rings that an output unit plays one after the other, and its transitions: at the start, at a stop, and from one
/// ring to another. A transition is a raised cosine, 0.5 - 0.5 cos(pi t) for t from 0 to 1.
///
/// One thread at a time calls `render`, an I/O thread; one other thread at a time calls the rest, unless stated
/// otherwise.
class BRAQQueueSequence {
  public:
    /// @param channels of every ring
    explicit BRAQQueueSequence(UInt32 channels);
    BRAQQueueSequence(const BRAQQueueSequence&) = delete;
    BRAQQueueSequence& operator=(const BRAQQueueSequence&) = delete;

    /// Length of a transition in frames of the rings; 0: none. A transition that has begun goes on at the new pace.
    void setTransition(double frames) noexcept { mTransition.store(frames, std::memory_order_relaxed); }
    bool hasTransition() const noexcept { return mTransition.load(std::memory_order_relaxed) > 0.0; }

    /// Plays this ring, and none after it. Not while something renders.
    void set(const std::shared_ptr<BRAQAudioBufferQueue>& queue);
    /// Changes to this ring with the next call of `render`, or when the change before it is over. Replaces a ring that
    /// waits for that.
    void changeTo(const std::shared_ptr<BRAQAudioBufferQueue>& queue);
    /// The same, as if this ring had been rendered since `pulledBefore` frames were pulled: as many of its frames as were
    /// pulled since are left out.
    /// @param alike that many frames are the same in both rings; without a transition as long as they last
    void continueIn(const std::shared_ptr<BRAQAudioBufferQueue>& queue, UInt64 pulledBefore, UInt64 alike);
    /// Calls `look` while no frames are pulled, again if some were meanwhile. Any thread.
    /// @return the frames of all rings that were pulled by then, less those that the current ring lags behind
    template <class Look>
    UInt64 pulled(Look look) const {
        while (true) {
            const UInt64 before = mPulls.load();
            const UInt64 frames = mPulled.load() - mSkip.load();
            look();
            if (before % 2 == 0 && mPulls.load() == before) {
                return frames;
            }
            std::this_thread::yield();
        }
    }
    /// Plays this ring when the current one has ended, from the frame after its last; null: none.
    void setNext(const std::shared_ptr<BRAQAudioBufferQueue>& queue);
    /// Whether a ring to change to waits. Any thread.
    bool willChange() const noexcept { return mOffered.isFull(); }
    /// Goes on without the change that waits.
    /// @return false if none did
    bool takeBack() noexcept { return mOffered.put(nullptr) != nullptr; }
    /// The most frames that a change takes, whatever the transition: for rings that do not go on once another one follows.
    /// Before anything renders.
    void setLongestChange(double frames) noexcept { mLongestChange = frames; }
    /// Releases the rings that are no longer used.
    void release() { keep(nullptr); }
    /// The ring whose frames are rendered, or will be with the next call. Null if there is none.
    std::shared_ptr<BRAQAudioBufferQueue> current() const;
    /// Whether frames of the ring may still be rendered. Any thread.
    bool isUsing(const BRAQAudioBufferQueue* queue) const noexcept;
    /// How often a ring has followed another one at its end. Any thread.
    UInt64 follows() const noexcept { return mFollows.load(std::memory_order_acquire); }

    /// Tells which place a ring's reader has reached; nothing if it has none. @realtime
    using PlaceOf = std::optional<BRAQReaderPlace> (*)(const BRAQAudioBufferQueue* queue) noexcept;
    /// From now on keeps which frames were rendered for when. Before anything renders.
    void keepHeard(PlaceOf placeOf);
    bool keepsHeard() const noexcept { return mHeard != nullptr; }
    /// Frames of the rings that are heard in a second.
    void setFrameRate(double rate) noexcept { mFrameRate.store(rate, std::memory_order_relaxed); }
    /// What was rendered for that time, in nanoseconds of the host's clock; nothing if that is not known. Any thread.
    std::optional<BRAQHeardRun> heardAt(Float64 hostTime) const noexcept;
    /// Forgets what was rendered. Not while something renders.
    void forgetHeard() noexcept;

    /// What is rendered from now on can be heard. Not while something renders.
    /// @param rises from silence, for the time of a transition
    void begin(bool rises) noexcept;
    /// What is rendered from now on falls to silence. Then no ring gives a frame.
    void fadeOut() noexcept { mIsOn.store(false, std::memory_order_relaxed); }
    /// Whether nothing has asked for silence.
    bool isOn() const noexcept { return mIsOn.load(std::memory_order_relaxed); }
    /// Whether it has fallen to silence, and as many silent frames have followed as a transition has, which flush
    /// converters. Any thread.
    bool isSilent() const noexcept { return mIsSilent.load(std::memory_order_acquire); }
    /// Counts the calls of `render`. Any thread.
    UInt64 renders() const noexcept { return mRenders.load(std::memory_order_relaxed); }

    /// Delivers frames. Those behind them are left as they were.
    /// @param hostTime when the first frame is heard, in nanoseconds of the host's clock; 0: not known
    /// @return frames delivered: fewer when the rings have no more, or none may be heard
    /// @realtime
    UInt32 render(AudioBufferList* list, UInt32 frames, UInt64 hostTime = 0) noexcept;
    /// Whether the current ring has reached its end, and none follows it. Real-time side.
    /// @realtime
    bool isAtEnd() const noexcept;

  private:
    using Queue = BRAQAudioBufferQueue*;

    /// A ring handed to the real-time side.
    class Handover {
      public:
        /// Replaces what was not taken.
        /// @return that; null if there was nothing
        Queue put(Queue queue) noexcept;
        /// Calls `receive` with what is there, if anything, before the other side sees that it is gone. It stays if
        /// `receive` returns false.
        template <class Receive>
        bool take(Receive receive) noexcept;
        /// Whether the ring is there, or being taken.
        bool mayHold(Queue queue) const noexcept;
        bool isFull() const noexcept { return mQueue.load(std::memory_order_acquire) != nullptr; }
        /// Null while it is being taken.
        Queue queue() const noexcept;

      private:
        Queue beingTaken() const noexcept;

        std::atomic<Queue> mQueue{nullptr};
    };

    static constexpr UInt64 atItsBeginning = ~UInt64{0};

    void offer(const std::shared_ptr<BRAQAudioBufferQueue>& queue, UInt64 pulledBefore, UInt64 alike);
    bool take(Queue offered) noexcept;
    bool skip(Queue queue) noexcept;
    void keep(const std::shared_ptr<BRAQAudioBufferQueue>& queue);
    AudioBufferList* partOf(AudioBufferList* list, UInt32 first) noexcept;
    UInt32 pull(AudioBufferList* list, UInt32 frames, UInt64 hostTime) noexcept;
    UInt32 pullFrom(Queue queue, AudioBufferList* list, UInt32 first, UInt32 frames, UInt64 hostTime) noexcept;
    UInt32 mixOld(AudioBufferList* list, UInt32 delivered, UInt32 frames) noexcept;
    void mixPart(AudioBufferList* list, UInt32 first, UInt32 frames) noexcept;
    void shape(AudioBufferList* list, UInt32 frames, double step) noexcept;
    double step() const noexcept;
    double changeStep() const noexcept;

    std::vector<std::shared_ptr<BRAQAudioBufferQueue>> mKept; // what the real-time side may use
    std::atomic<double> mTransition{0.0};
    std::atomic<Queue> mCurrent{nullptr};
    std::atomic<Queue> mOld{nullptr}; // heard less and less
    Handover mOffered;
    Handover mNext;
    std::atomic<UInt64> mOfferedAt{atItsBeginning}; // with mOffered
    std::atomic<UInt64> mOfferedAlike{0};           // with mOffered
    std::atomic<UInt64> mFollows{0};
    std::atomic<UInt64> mPulls{0};  // odd while frames are pulled
    std::atomic<UInt64> mPulled{0}; // frames
    std::atomic<UInt64> mSkip{0};   // frames of the current ring that are still to be left out
    std::atomic<UInt64> mRenders{0};
    std::atomic<bool> mIsOn{true};
    std::atomic<bool> mIsSilent{false};
    std::atomic<double> mFrameRate{0.0};
    std::unique_ptr<BRAQHeardFrames> mHeard;                         // null: not kept
    PlaceOf mPlaceOf = nullptr;                                      // with mHeard
    double mLongestChange = std::numeric_limits<double>::infinity(); // frames

    // Real-time side, or the other one while nothing renders.
    std::vector<std::byte> mPart;
    const std::unique_ptr<AudioBufferList, void (*)(AudioBufferList*)> mOldFrames;
    double mGainPlace = 1.0; // in the rise from silence, 0 to 1
    double mMixPlace = 1.0;  // in the change from the old ring, 0 to 1
    double mSilence = 0.0;   // since the fall to silence, in transitions
};
