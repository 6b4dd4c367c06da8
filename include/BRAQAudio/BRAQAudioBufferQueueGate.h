#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <atomic>
#include <mutex>

/// Keeps the real-time side of a ring out while a control thread works on it. The real-time side never waits: it finds
/// the gate closed and goes without. The control side waits for a copy that is under way.
///
/// Each side announces itself and then looks for the other, so at least one of them sees the other, provided that no
/// processor does the two in the opposite order. Seeing to that would cost the real-time side a tenth of the copy of a
/// block, so the control side does it for both where the system lets it: once it has announced itself, it has every
/// thread of the process pass a memory barrier. That interrupts other processors for about a microsecond.
class BRAQ_EXPORT BRAQAudioBufferQueueGate {
  public:
    /// Which side keeps the order of what the real-time side does.
    enum class OrderKeeper { realtimeSide, controlSide };

    /// With the control side as keeper if the system has the call for it. Never on an I/O thread; the first one of a
    /// process may take milliseconds.
    BRAQAudioBufferQueueGate();
    /// @param wanted becomes the real-time side if the system has no call for the control side
    explicit BRAQAudioBufferQueueGate(OrderKeeper wanted);
    OrderKeeper orderKeeper() const noexcept { return mOrderKeeper; }

    /// Holds the gate closed until it is destroyed. Stretches of one thread nest; another thread's wait for their end.
    class [[nodiscard]] ClosedStretch {
      public:
        /// Returns when no copy is under way. Never on an I/O thread.
        explicit ClosedStretch(BRAQAudioBufferQueueGate& gate);
        ~ClosedStretch();
        ClosedStretch(const ClosedStretch&) = delete;
        ClosedStretch& operator=(const ClosedStretch&) = delete;

      private:
        BRAQAudioBufferQueueGate& mGate;
        std::lock_guard<std::recursive_mutex> mControl;
    };

    /// Begins a copy. @return false when the gate is closed; `leave` is not called then
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

    /// Leaves the gate closed for good, beyond the closed stretch that the calling thread is in.
    void closeForGood() noexcept { mClosures.fetch_add(1); }

  private:
    /// Fails in debug builds of the library.
    static void assertOneRealtimeThread() noexcept;

    std::atomic<bool> mCopying{false}; // written by the real-time side only
    const OrderKeeper mOrderKeeper;
    std::atomic<UInt32> mClosures{0};   // written by the control side only
    std::recursive_mutex mControlMutex; // control threads
};
