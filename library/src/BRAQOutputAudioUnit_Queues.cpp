#include "BRAQAudio/BRAQOutputAudioUnit.h"

#include "library/src/BRAQQueueSequence.h"

#include <algorithm>
#include <chrono>
#include <thread>

// The rings that are played, and the transitions between them and silence.

std::shared_ptr<BRAQAudioBufferQueue> BRAQOutputAudioUnit::audioBufferQueue() const {
    const std::lock_guard lock(mQueuesMutex);
    return mQueues->current();
}

void BRAQOutputAudioUnit::setAudioBufferQueue(const std::shared_ptr<BRAQAudioBufferQueue>& queue) {
    const std::lock_guard lock(mQueuesMutex);
    mQueues->set(queue);
}

void BRAQOutputAudioUnit::checkIsOfStream(const std::shared_ptr<BRAQAudioBufferQueue>& queue) const {
    const auto of = queue != nullptr ? queue->streamDescription() : nullptr;
    const auto own = streamDescription();
    const bool isOfStream = of != nullptr && own != nullptr && of->channelsPerFrame() == mLevelChannels &&
                            (of->sampleRate() == 0.0 || of->sampleRate() == own->sampleRate()); // 0: it states none
    if (!isOfStream) {
        throw NSException(NSInvalidArgumentException,
                          "a ring that is played after another one has to have its channels and its rate");
    }
}

void BRAQOutputAudioUnit::changeAudioBufferQueue(const std::shared_ptr<BRAQAudioBufferQueue>& queue) {
    checkIsOfStream(queue);
    const std::lock_guard lock(mQueuesMutex);
    mQueues->changeTo(queue);
}

void BRAQOutputAudioUnit::continueInAudioBufferQueue(const std::shared_ptr<BRAQAudioBufferQueue>& queue,
                                                     UInt64 pulledBefore, UInt64 alike) {
    checkIsOfStream(queue);
    const std::lock_guard lock(mQueuesMutex);
    mQueues->continueIn(queue, pulledBefore, alike);
}

bool BRAQOutputAudioUnit::takeBackChange() {
    const std::lock_guard lock(mQueuesMutex);
    return mQueues->takeBack();
}

UInt64 BRAQOutputAudioUnit::pulledFrames(const std::function<void()>& look) const { return mQueues->pulled(look); }

void BRAQOutputAudioUnit::setNextAudioBufferQueue(const std::shared_ptr<BRAQAudioBufferQueue>& queue) {
    if (queue != nullptr) {
        checkIsOfStream(queue);
    }
    const std::lock_guard lock(mQueuesMutex);
    mQueues->setNext(queue);
}

bool BRAQOutputAudioUnit::isUsing(const std::shared_ptr<BRAQAudioBufferQueue>& queue) const {
    return queue != nullptr && mQueues->isUsing(queue.get());
}

bool BRAQOutputAudioUnit::willChange() const { return mQueues->willChange(); }

void BRAQOutputAudioUnit::releaseRings() {
    const std::lock_guard lock(mQueuesMutex);
    mQueues->release();
}

// Told once for those that have followed since it was told last.
void BRAQOutputAudioUnit::setQueueChangeNotificationBlock(const BQueueableAudioNotificationBlock& block) {
    replace(mChangeNotification, [this, block](BQueueableAudioNotification* notification) {
        const UInt64 follows = mQueues->follows();
        if (mNotifiedFollows.exchange(follows, std::memory_order_relaxed) != follows && block) {
            block(notification);
        }
    });
}

void BRAQOutputAudioUnit::setTransitionTime(double milliseconds) {
    constexpr double longest = 1000.0;
    if (!(milliseconds >= 0.0 && milliseconds <= longest)) {
        throw NSException(NSInvalidArgumentException, "a transition takes 0 to 1000 milliseconds");
    }
    mTransitionTime.store(milliseconds, std::memory_order_relaxed);
    setPace(playbackRate());
}

// The rings are read so much faster or slower than they are heard.
void BRAQOutputAudioUnit::setPace(double playbackRate) {
    constexpr double millisecondsPerSecond = 1000.0;
    const auto description = streamDescription();
    const double sampleRate = description != nullptr ? description->sampleRate() : 0.0;
    mQueues->setFrameRate(sampleRate * playbackRate);
    mQueues->setTransition(transitionTime() / millisecondsPerSecond * sampleRate * playbackRate);
}

bool BRAQOutputAudioUnit::isCycling() const noexcept {
    UInt32 isRunning = 0;
    UInt32 size = sizeof(isRunning);
    return AudioUnitGetProperty(mOutputUnit, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0, &isRunning,
                                &size) == 0 &&
           isRunning != 0;
}

// After the end of the stream there is nothing left that could fade.
void BRAQOutputAudioUnit::fadeOut() {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds pause{1};
    constexpr std::chrono::milliseconds patience{250};
    if (!mQueues->hasTransition() || !isCycling() || mDone.load() == mStarts.load()) {
        return;
    }
    mQueues->fadeOut();
    UInt64 renders = mQueues->renders();
    for (auto last = Clock::now(); !mQueues->isSilent() && Clock::now() - last < patience;) {
        std::this_thread::sleep_for(pause);
        if (const UInt64 now = mQueues->renders(); now != renders) {
            renders = now;
            last = Clock::now();
        }
    }
}
