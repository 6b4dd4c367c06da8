#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <atomic>
#include <cstddef>
#include <mutex>

/// Keeps the real-time side of a ring out while a control thread works on it. The real-time side never waits: it finds
/// the gate closed and goes without. The control side waits for a copy that is under way.
///
/// Each side announces itself and then looks for the other, all in one total order, so at least one of them sees the
/// other.
class BRAQ_EXPORT BRAQAudioBufferQueueGate {
  public:
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
        if (mCopying.exchange(true)) [[unlikely]] {
            assertOneRealtimeThread();
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

    static constexpr std::size_t cacheLineBytes = 64;

    alignas(cacheLineBytes) std::atomic<bool> mCopying{false};  // written by the real-time side only
    alignas(cacheLineBytes) std::atomic<UInt32> mClosures{0};   // written by the control side only
    alignas(cacheLineBytes) std::recursive_mutex mControlMutex; // control threads, apart from what the other side reads
};
