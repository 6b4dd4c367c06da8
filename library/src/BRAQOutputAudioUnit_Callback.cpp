#include "library/src/BRAQOutputAudioUnit_Callback.h"

#include "BRAQAudio/BRAQOutputAudioUnit.h"
#include "library/src/BRAQBackgroundThread.h"
#include "library/src/BRAQQueueSequence.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// Samples are 4 bytes, and all buffers have as many channels as the first: the unit is created so.
void silenceFrom(UInt32 first, UInt32 end, AudioBufferList* list) noexcept {
    if (first >= end || list->mNumberBuffers == 0) {
        return;
    }
    const std::size_t bytesPerFrame = list->mBuffers[0].mNumberChannels * sizeof(Float32);
    for (UInt32 buffer = 0; buffer < list->mNumberBuffers; ++buffer) {
        std::memset(static_cast<char*>(list->mBuffers[buffer].mData) + first * bytesPerFrame, 0,
                    (end - first) * bytesPerFrame);
    }
}

float peakOf(const float* samples, UInt32 frames) noexcept {
    float peak = 0.0F;
    for (UInt32 frame = 0; frame < frames; ++frame) {
        peak = std::max(peak, std::fabs(samples[frame]));
    }
    return peak;
}

void raise(std::atomic<float>& level, float peak) noexcept {
    float known = level.load(std::memory_order_relaxed);
    while (peak > known && !level.compare_exchange_weak(known, peak, std::memory_order_relaxed)) {
    }
}

UInt64 hostTimeOf(const AudioTimeStamp* time) noexcept {
    const bool isKnown = time != nullptr && (time->mFlags & kAudioTimeStampHostTimeValid) != 0;
    return isKnown ? time->mHostTime : 0;
}

} // namespace

OSStatus OAUOutputProc(void* unitObject, AudioUnitRenderActionFlags* /*flags*/, const AudioTimeStamp* time,
                       UInt32 /*bus*/, UInt32 frames, AudioBufferList* list) {
    const BRAQIOReference<BRAQOutputAudioUnit> unit(unitObject);
    if (!unit) {
        return 0;
    }
    // Read first: if a start comes after this, it is not done, even if the end is found after it.
    const UInt64 start = unit->mStarts.load(std::memory_order_relaxed);
    if (unit->mDone.load(std::memory_order_relaxed) == start) {
        unit->signalEndOf(start);
        return 0;
    }
    const UInt32 copied = unit->mQueues->render(list, frames, hostTimeOf(time));
    silenceFrom(copied, frames, list);
    unit->keepLevels(*list, copied);
    unit->signalFollows();
    if (unit->mQueues->isAtEnd()) {
        unit->mDone.store(start, std::memory_order_release);
        unit->signalEndOf(start);
    }
    return 0;
}

// Repeated in each cycle until it is notified: the worker accepts none while it runs that of the previous start.
void BRAQOutputAudioUnit::signalEndOf(UInt64 start) noexcept {
    if (mNotifiedStart.load(std::memory_order_relaxed) != start) {
        BAudioNotificationQueueWorkerAddNotification(mAudioNotificationQueueWorker, mAudioNotification);
    }
}

// Repeated likewise.
void BRAQOutputAudioUnit::signalFollows() noexcept {
    if (mChangeNotification != nullptr && mNotifiedFollows.load(std::memory_order_relaxed) != mQueues->follows()) {
        BAudioNotificationQueueWorkerAddNotification(mAudioNotificationQueueWorker, mChangeNotification);
    }
}

void BRAQOutputAudioUnit::keepLevels(const AudioBufferList& list, UInt32 frames) noexcept {
    const float level = mPlaybackLevel.load(std::memory_order_relaxed);
    for (UInt32 channel = 0; channel < std::min(list.mNumberBuffers, mLevelChannels); ++channel) {
        raise(mLevels[channel], level * peakOf(static_cast<const float*>(list.mBuffers[channel].mData), frames));
    }
}
