#include "BRAQAudio/BRAQAudioBufferQueueGate.h"

#include <cassert>

BRAQAudioBufferQueueGate::ClosedStretch::ClosedStretch(BRAQAudioBufferQueueGate& gate)
    : mGate(gate), mControl(gate.mControlMutex) {
    mGate.mClosures.fetch_add(1);
    mGate.mCopy.waitUntilLeft();
}

BRAQAudioBufferQueueGate::ClosedStretch::~ClosedStretch() { mGate.mClosures.fetch_sub(1); }

void BRAQAudioBufferQueueGate::assertOneRealtimeThread() noexcept {
    assert(false && "two real-time threads use one ring");
}
