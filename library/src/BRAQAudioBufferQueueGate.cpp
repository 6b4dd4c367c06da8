#include "BRAQAudio/BRAQAudioBufferQueueGate.h"

#include "BRAQAudio/platform/threads.h"
#include "library/core/BAssert.h"

#include <cassert>
#include <chrono>
#include <thread>

namespace {

using OrderKeeper = BRAQAudioBufferQueueGate::OrderKeeper;

// Every thread of the process passes a memory barrier before this returns. A process that forbids itself the call after
// it created a ring ends here: otherwise both sides could enter.
void passBarrierOnAllThreads() noexcept {
    BAssertAt(BRAQThreadBarrierAll(), __func__, "BRAQAudioBufferQueueGate", __LINE__, "BRAQThreadBarrierAll()");
}

} // namespace

BRAQAudioBufferQueueGate::BRAQAudioBufferQueueGate() : BRAQAudioBufferQueueGate(OrderKeeper::controlSide) {}

BRAQAudioBufferQueueGate::BRAQAudioBufferQueueGate(OrderKeeper wanted)
    : mOrderKeeper(wanted == OrderKeeper::controlSide && BRAQThreadCanBarrierAll() ? OrderKeeper::controlSide
                                                                                   : OrderKeeper::realtimeSide) {}

BRAQAudioBufferQueueGate::ClosedStretch::ClosedStretch(BRAQAudioBufferQueueGate& gate)
    : mGate(gate), mControl(gate.mControlMutex) {
    mGate.mClosures.fetch_add(1);
    if (mGate.mOrderKeeper == OrderKeeper::controlSide) {
        passBarrierOnAllThreads();
    }
    // Polls, because the real-time side makes no system call to announce its end. A copy takes microseconds. A thread
    // that waited by yielding could keep a lower-priority one from finishing it.
    constexpr std::chrono::microseconds pause{20};
    while (mGate.mCopying.load()) {
        std::this_thread::sleep_for(pause);
    }
}

BRAQAudioBufferQueueGate::ClosedStretch::~ClosedStretch() { mGate.mClosures.fetch_sub(1); }

void BRAQAudioBufferQueueGate::assertOneRealtimeThread() noexcept {
    assert(false && "two real-time threads use one ring");
}
