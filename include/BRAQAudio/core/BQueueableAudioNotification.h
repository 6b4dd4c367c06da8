#pragma once

#include "BRAQAudio/platform/export.h"

#include <atomic>
#include <functional>

struct BQueueableAudioNotification;

/// What a notification worker runs. May block, allocate and throw; runs on the worker's thread, which runs nothing else
/// meanwhile.
using BQueueableAudioNotificationBlock = std::function<void(BQueueableAudioNotification* notification)>;

/// An event that a real-time thread can hand to a notification worker, again and again.
struct BQueueableAudioNotification {
    BQueueableAudioNotificationBlock mProcessingBlock;
    std::atomic<bool> mInProgress;                   ///< from hand-over until the worker has run the block
    std::atomic<BQueueableAudioNotification*> mNext; ///< link of the atomic stack
};

extern "C" {

/// A new notification, or null if there is no memory. Keeps a copy of `block`.
BRAQ_EXPORT BQueueableAudioNotification*
BQueueableAudioNotificationCreate(const BQueueableAudioNotificationBlock& block);
/// Makes a notification in place; always true.
BRAQ_EXPORT bool BQueueableAudioNotificationInitialize(BQueueableAudioNotification* notification,
                                                       const BQueueableAudioNotificationBlock& block);
/// Releases the block; null does nothing. The notification must not be in progress, and since its flag was cleared the
/// worker's wake guard must have been held once: the worker looks at a notification's link after clearing its flag.
BRAQ_EXPORT void BQueueableAudioNotificationDealloc(BQueueableAudioNotification* notification);
/// As `BQueueableAudioNotificationDealloc`, then frees the record; null does nothing.
BRAQ_EXPORT void BQueueableAudioNotificationDestroy(BQueueableAudioNotification* notification);

BRAQ_BEGIN_CXX_RETURN
/// The copy that the notification keeps. Any thread but an I/O thread.
BRAQ_EXPORT const BQueueableAudioNotificationBlock&
BQueueableAudioNotificationProcessingBlock(const BQueueableAudioNotification* notification) noexcept;
BRAQ_END_CXX_RETURN
/// @realtime Any thread.
BRAQ_EXPORT bool BQueueableAudioNotificationInProgress(const BQueueableAudioNotification* notification) noexcept;
/// @realtime
BRAQ_EXPORT void BQueueableAudioNotificationSetInProgress(BQueueableAudioNotification* notification,
                                                          bool inProgress) noexcept;
/// @realtime
BRAQ_EXPORT BQueueableAudioNotification*
BQueueableAudioNotificationNext(const BQueueableAudioNotification* notification) noexcept;
/// @realtime
BRAQ_EXPORT void BQueueableAudioNotificationSetNext(BQueueableAudioNotification* notification,
                                                    BQueueableAudioNotification* next) noexcept;
}
