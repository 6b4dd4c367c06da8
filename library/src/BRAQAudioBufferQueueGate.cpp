#include "BRAQAudio/BRAQAudioBufferQueueGate.h"

#include "BRAQAudio/platform/threads.h"
#include "library/core/BAssert.h"

#include <cassert>
#include <chrono>
#include <thread>

namespace {

using OrderKeeper = BRAQAudioBufferQueueGate::OrderKeeper;

// Every thread of the process passes a memory barrier before this returns. A process that forbids itself the call after
// it made a ring ends here: going on, both sides could come in.
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
    // Looked at again and again because the real-time side spends no system call on saying that it is done. A copy takes
    // microseconds; a thread that waited by yielding could keep a lower-priority one from ending it.
    constexpr std::chrono::microseconds pause{20};
    while (mGate.mCopying.load()) {
        std::this_thread::sleep_for(pause);
    }
}

BRAQAudioBufferQueueGate::ClosedStretch::~ClosedStretch() { mGate.mClosures.fetch_sub(1); }

void BRAQAudioBufferQueueGate::assertOneRealtimeThread() noexcept {
    assert(false && "two real-time threads use one ring");
}
