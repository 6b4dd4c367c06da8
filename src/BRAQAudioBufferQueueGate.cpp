#include "BRAQAudio/BRAQAudioBufferQueueGate.h"

#include <cassert>
#include <chrono>
#include <thread>

BRAQAudioBufferQueueGate::ClosedStretch::ClosedStretch(BRAQAudioBufferQueueGate& gate)
    : mGate(gate), mControl(gate.mControlMutex) {
    mGate.mClosures.fetch_add(1);
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
