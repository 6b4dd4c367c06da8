#pragma once

#include "BRAQAudio/platform/BRAQRealtimeSection.h"
#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <atomic>
#include <mutex>

/// @addtogroup core
/// @{

/// Keeps the real-time side of a ring out while a control thread works on it. The real-time side never waits: if the
/// gate is closed, it does without. The control side waits for a copy in progress.
class BRAQ_EXPORT BRAQAudioBufferQueueGate {
  public:
    /// Not on an I/O thread; the first gate of a process may take milliseconds to create.
    BRAQAudioBufferQueueGate() = default;

    /// Holds the gate closed for the lifetime of this object. Stretches of one thread nest; other threads wait for
    /// their end.
    class [[nodiscard]] ClosedStretch {
      public:
        /// Returns when no copy is in progress. Not on an I/O thread.
        explicit ClosedStretch(BRAQAudioBufferQueueGate& gate);
        ~ClosedStretch();
        ClosedStretch(const ClosedStretch&) = delete;
        ClosedStretch& operator=(const ClosedStretch&) = delete;

      private:
        BRAQAudioBufferQueueGate& mGate;
        std::lock_guard<std::recursive_mutex> mControl;
    };

    /// Begins a copy. @return false if the gate is closed; then `leave` must not be called
    /// @realtime One thread at a time.
    bool enter() noexcept {
        if (mCopy.isInUse()) [[unlikely]] {
            assertOneRealtimeThread();
        }
        mCopy.enter();
        if (mClosures.load() != 0) {
            leave();
            return false;
        }
        return true;
    }
    /// Ends a copy.
    /// @realtime The thread that entered.
    void leave() noexcept { mCopy.leave(); }
    /// @realtime Any thread.
    bool isClosed() const noexcept { return mClosures.load(std::memory_order_acquire) != 0; }

    /// Leaves the gate closed for good, beyond the closed stretch that the calling thread holds.
    void closeForGood() noexcept { mClosures.fetch_add(1); }

  private:
    /// Fails in debug builds of the library.
    static void assertOneRealtimeThread() noexcept;

    BRAQRealtimeSection mCopy{BRAQRealtimeSection::Threads::one, BRAQRealtimeSection::OrderKeeper::controlSide};
    std::atomic<UInt32> mClosures{0};   // written by the control side only
    std::recursive_mutex mControlMutex; // control threads
};

/// @}
