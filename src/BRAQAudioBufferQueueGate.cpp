#include "BRAQAudio/BRAQAudioBufferQueueGate.h"

#include "core/BAssert.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cassert>
#include <chrono>
#include <thread>

#if defined(__SANITIZE_THREAD__)
#define BRAQ_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define BRAQ_THREAD_SANITIZER 1
#endif
#endif

namespace {

using OrderKeeper = BRAQAudioBufferQueueGate::OrderKeeper;

bool callBarrier(membarrier_cmd command) noexcept { return syscall(SYS_membarrier, command, 0, 0) == 0; }

bool mayUseBarriers() noexcept {
#if defined(BRAQ_THREAD_SANITIZER)
    return false; // it does not know what the call orders
#else
    // Once a process; children that it forks inherit it.
    static const bool registered = callBarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
    return registered;
#endif
}

// Every thread of the process passes a memory barrier before this returns. A process that forbids itself the call after
// it made a ring ends here: going on, both sides could come in.
void passBarrierOnAllThreads() noexcept {
    BAssertAt(callBarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED), __func__, "BRAQAudioBufferQueueGate", __LINE__,
              "membarrier");
}

} // namespace

BRAQAudioBufferQueueGate::BRAQAudioBufferQueueGate() : BRAQAudioBufferQueueGate(OrderKeeper::controlSide) {}

BRAQAudioBufferQueueGate::BRAQAudioBufferQueueGate(OrderKeeper wanted)
    : mOrderKeeper(wanted == OrderKeeper::controlSide && mayUseBarriers() ? OrderKeeper::controlSide
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
