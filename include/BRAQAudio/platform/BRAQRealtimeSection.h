#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <atomic>

/// @addtogroup threads
/// @{

/// A section of code that real-time threads pass while control threads change what it uses. Real-time threads never
/// wait and make no system call. A control thread that has changed something waits until nobody is inside who may still
/// use what was there before.
///
/// A real-time thread enters and then looks at what it uses. A control thread changes that and then looks whether
/// anybody is inside. At least one of them sees the other, so whoever is not seen inside finds the change, provided that
/// no processor reorders the two steps of either side. So what is changed and looked at is an atomic with sequentially
/// consistent order.
///
/// A full barrier on the real-time side costs a tenth of the copy of a block. Where the system allows it, the control
/// side can keep the order for both: after its change, it makes every thread of the process pass a memory barrier. That
/// interrupts the other processors for about a microsecond.
class BRAQ_EXPORT BRAQRealtimeSection {
  public:
    /// How many threads may be inside at a time.
    enum class Threads : UInt8 { one, many };

    /// Which side ensures the order on the real-time side.
    enum class OrderKeeper : UInt8 { realtimeSide, controlSide };

    /// @param wanted becomes the real-time side for many threads, and if the system lacks the call for the control side,
    ///     now or later. The first control side of a process may take milliseconds to create. Not on an I/O thread.
    explicit BRAQRealtimeSection(Threads threads, OrderKeeper wanted = OrderKeeper::realtimeSide);
    BRAQRealtimeSection(const BRAQRealtimeSection&) = delete;
    BRAQRealtimeSection& operator=(const BRAQRealtimeSection&) = delete;

    /// Any thread.
    OrderKeeper orderKeeper() const noexcept {
        return isKeptByControlSide() ? OrderKeeper::controlSide : OrderKeeper::realtimeSide;
    }

    /// Each `enter` is followed by a `leave` on the same thread.
    /// @realtime
    void enter() noexcept {
        if (isKeptByControlSide()) [[likely]] {
            mPassing.store(mPassing.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
            std::atomic_signal_fence(std::memory_order_seq_cst); // the compiler keeps to the order by itself
        } else {
            mPassing.fetch_add(1);
        }
    }
    /// @realtime The thread that entered.
    void leave() noexcept {
        if (isKeptByControlSide()) [[likely]] {
            mPassing.store(mPassing.load(std::memory_order_relaxed) + 1, std::memory_order_release);
        } else if (mThreads == Threads::one) {
            mPassing.fetch_add(1, std::memory_order_release);
        } else {
            mPassing.fetch_sub(1, std::memory_order_release);
        }
    }
    /// Whether a thread is inside.
    /// @realtime Any thread.
    bool isInUse() const noexcept { return isInside(mPassing.load(std::memory_order_relaxed)); }

    /// Returns when everybody has left who entered before; for many threads, when nobody was inside for a moment. Polls,
    /// because the real-time side makes no system call to announce its end. Any thread that is not inside.
    void waitUntilLeft() noexcept;

  private:
    enum class State : UInt8 { realtimeSide, changing, controlSide };

    bool isInside(UInt32 passing) const noexcept { return mThreads == Threads::one ? passing % 2 != 0 : passing != 0; }
    bool isKeptByControlSide() const noexcept { return mState.load(std::memory_order_relaxed) == State::controlSide; }
    void leaveOrderToRealtimeSide() noexcept;

    // Written by the real-time side. One thread: how often it has entered or left, so odd while it is inside; it may
    // be inside most of the time, and the end of one passage must be seen all the same. Many: how many are inside.
    std::atomic<UInt32> mPassing{0};
    std::atomic<State> mState; // written by the control side
    const Threads mThreads;
};

/// Enters a section for the lifetime of this object.
class [[nodiscard]] BRAQRealtimePassage {
  public:
    /// @realtime
    explicit BRAQRealtimePassage(BRAQRealtimeSection& section) noexcept : mSection(section) { mSection.enter(); }
    ~BRAQRealtimePassage() { mSection.leave(); }
    BRAQRealtimePassage(const BRAQRealtimePassage&) = delete;
    BRAQRealtimePassage& operator=(const BRAQRealtimePassage&) = delete;

  private:
    BRAQRealtimeSection& mSection;
};

/// @}
