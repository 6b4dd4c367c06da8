#include "BRAQAudio/core/BQueueableAudioNotification.h"

#include "library/core/BRecord.h"

#include <cstdlib>
#include <memory>
#include <new>

BQueueableAudioNotification* BQueueableAudioNotificationCreate(const BQueueableAudioNotificationBlock& block) {
    return braq::createRecord<BQueueableAudioNotification>([&](BQueueableAudioNotification* notification) {
        return BQueueableAudioNotificationInitialize(notification, block);
    });
}

bool BQueueableAudioNotificationInitialize(BQueueableAudioNotification* notification,
                                           const BQueueableAudioNotificationBlock& block) {
    new (&notification->mProcessingBlock) BQueueableAudioNotificationBlock(block);
    new (&notification->mInProgress) std::atomic<bool>(false);
    new (&notification->mNext) std::atomic<BQueueableAudioNotification*>(nullptr);
    return true;
}

void BQueueableAudioNotificationDealloc(BQueueableAudioNotification* notification) {
    if (notification != nullptr) {
        std::destroy_at(&notification->mProcessingBlock);
    }
}

void BQueueableAudioNotificationDestroy(BQueueableAudioNotification* notification) {
    BQueueableAudioNotificationDealloc(notification);
    std::free(notification);
}

const BQueueableAudioNotificationBlock&
BQueueableAudioNotificationProcessingBlock(const BQueueableAudioNotification* notification) noexcept {
    return notification->mProcessingBlock;
}

bool BQueueableAudioNotificationInProgress(const BQueueableAudioNotification* notification) noexcept {
    return notification->mInProgress.load(std::memory_order_acquire);
}

void BQueueableAudioNotificationSetInProgress(BQueueableAudioNotification* notification, bool inProgress) noexcept {
    notification->mInProgress.store(inProgress, std::memory_order_release);
}

BQueueableAudioNotification* BQueueableAudioNotificationNext(const BQueueableAudioNotification* notification) noexcept {
    return notification->mNext.load(std::memory_order_acquire);
}

void BQueueableAudioNotificationSetNext(BQueueableAudioNotification* notification,
                                        BQueueableAudioNotification* next) noexcept {
    notification->mNext.store(next, std::memory_order_release);
}
