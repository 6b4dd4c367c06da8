#pragma once

#include "BRAQAudio/platform/export.h"

#include <atomic>
#include <functional>

/// @addtogroup core
/// @{

struct BQueueableAudioNotification;

/// Runs on the thread of a notification worker, which does nothing else meanwhile. May block, allocate and throw.
using BQueueableAudioNotificationBlock = std::function<void(BQueueableAudioNotification* notification)>;

/// An event that a real-time thread can pass to a notification worker, any number of times.
struct BQueueableAudioNotification {
    BQueueableAudioNotificationBlock mProcessingBlock;
    std::atomic<bool> mInProgress;                   ///< from when it is added until the worker has run the block
    std::atomic<BQueueableAudioNotification*> mNext; ///< link of the atomic stack
};

extern "C" {

/// Creates a notification; null if out of memory. Copies `block`.
BRAQ_EXPORT BQueueableAudioNotification*
BQueueableAudioNotificationCreate(const BQueueableAudioNotificationBlock& block);
/// Initialises a notification in place. Always returns true.
BRAQ_EXPORT bool BQueueableAudioNotificationInitialize(BQueueableAudioNotification* notification,
                                                       const BQueueableAudioNotificationBlock& block);
/// Releases the block. Null does nothing. The notification must not be in progress.
BRAQ_EXPORT void BQueueableAudioNotificationDealloc(BQueueableAudioNotification* notification);
/// Like `BQueueableAudioNotificationDealloc`, then frees the record. Null does nothing.
BRAQ_EXPORT void BQueueableAudioNotificationDestroy(BQueueableAudioNotification* notification);

BRAQ_BEGIN_CXX_RETURN
/// The block that the notification holds. Any thread but an I/O thread.
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

/// @}
