#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <atomic>
#include <mutex>

/// @addtogroup core
/// @{

/// Keeps the real-time side of a ring out while a control thread works on it. The real-time side never waits: if the
/// gate is closed, it does without. The control side waits for a copy in progress.
///
/// Each side announces itself and then looks for the other, so at least one of them sees the other, provided that no
/// processor reorders the two steps. A full barrier on the real-time side would cost a tenth of the copy of a block. So
/// where the system allows it, the control side orders both: after it has announced itself, it makes every thread of
/// the process pass a memory barrier. That interrupts the other processors for about a microsecond.
class BRAQ_EXPORT BRAQAudioBufferQueueGate {
  public:
    /// Which side ensures the order on the real-time side.
    enum class OrderKeeper { realtimeSide, controlSide };

    /// The control side is the keeper if the system has the call for it. Not on an I/O thread; the first gate of a
    /// process may take milliseconds to create.
    BRAQAudioBufferQueueGate();
    /// @param wanted becomes the real-time side if the system lacks the call for the control side
    explicit BRAQAudioBufferQueueGate(OrderKeeper wanted);
    OrderKeeper orderKeeper() const noexcept { return mOrderKeeper; }

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
        if (mCopying.load(std::memory_order_relaxed)) [[unlikely]] {
            assertOneRealtimeThread();
        }
        if (mOrderKeeper == OrderKeeper::controlSide) [[likely]] {
            mCopying.store(true, std::memory_order_relaxed);
            std::atomic_signal_fence(std::memory_order_seq_cst); // the compiler keeps to the order by itself
        } else {
            mCopying.store(true);
        }
        if (mClosures.load() != 0) {
            leave();
            return false;
        }
        return true;
    }
    /// Ends a copy.
    /// @realtime The thread that entered.
    void leave() noexcept { mCopying.store(false, std::memory_order_release); }
    /// @realtime Any thread.
    bool isClosed() const noexcept { return mClosures.load(std::memory_order_acquire) != 0; }

    /// Leaves the gate closed for good, beyond the closed stretch that the calling thread holds.
    void closeForGood() noexcept { mClosures.fetch_add(1); }

  private:
    /// Fails in debug builds of the library.
    static void assertOneRealtimeThread() noexcept;

    std::atomic<bool> mCopying{false}; // written by the real-time side only
    const OrderKeeper mOrderKeeper;
    std::atomic<UInt32> mClosures{0};   // written by the control side only
    std::recursive_mutex mControlMutex; // control threads
};

/// @}
