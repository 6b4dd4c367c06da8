#include "BRAQAudio/platform/BRAQRealtimeSection.h"
#include "platform/threads/Barrier.h"

#include <chrono>
#include <thread>

BRAQRealtimeSection::BRAQRealtimeSection(Threads threads, OrderKeeper wanted)
    : mState(threads == Threads::one && wanted == OrderKeeper::controlSide && braq::canPassBarrierOnAllThreads()
                 ? State::controlSide
                 : State::realtimeSide),
      mThreads(threads) {}

void BRAQRealtimeSection::waitUntilLeft() noexcept {
    if (mState.load() != State::realtimeSide && !braq::passBarrierOnAllThreads()) {
        leaveOrderToRealtimeSide();
    }
    // A thread that waited by yielding could keep one of lower priority from leaving.
    constexpr std::chrono::microseconds pause{20};
    const UInt32 before = mPassing.load();
    for (UInt32 now = before; isInside(now) && (mThreads == Threads::many || now == before); now = mPassing.load()) {
        std::this_thread::sleep_for(pause);
    }
}

// The process has forbidden itself the call, as sandboxes do. A thread that entered without a barrier of its own has
// its store under way to the other processors, which takes less than a microsecond, or was preempted, which is a
// barrier. So the moment that is waited here, once for each section, stands for the barrier.
void BRAQRealtimeSection::leaveOrderToRealtimeSide() noexcept {
    constexpr std::chrono::milliseconds moment{10};
    mState.store(State::changing);
    std::this_thread::sleep_for(moment);
    mState.store(State::realtimeSide); // until now, other control threads wait, too
}
