// The fields of the records have a documented order, on which code that walks records in memory relies, such as a
// debugger script or the 16-byte swap of the stack. A closure is not a standard-layout type, so `offsetof` into a
// record with one is conditionally supported; both compilers that this library supports accept it.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

#include "BRAQAudio/core/BAtomicStack.h"
#include "BRAQAudio/core/BAudioBufferQueueWorker.h"
#include "BRAQAudio/core/BAudioNotificationQueueWorker.h"

namespace {

template <class... Offsets>
constexpr bool ascending(std::size_t first, Offsets... rest) {
    const std::size_t offsets[] = {first, static_cast<std::size_t>(rest)...};
    for (std::size_t i = 1; i < sizeof...(rest) + 1; ++i) {
        if (offsets[i - 1] >= offsets[i]) {
            return false;
        }
    }
    return first == 0;
}

static_assert(offsetof(BAtomicStack, mTag) == 0 && offsetof(BAtomicStack, mHead) == 8);
static_assert(offsetof(BAtomicStack, mSetNext) == 16);
static_assert(offsetof(BAtomicStack, mGetNext) == 16 + sizeof(BAtomicStackSetNext));
static_assert(alignof(BAtomicStack) == 16);

static_assert(ascending(offsetof(BQueueableAudioBuffer, mAudioBuffer),
                        offsetof(BQueueableAudioBuffer, mProcessingBlock), offsetof(BQueueableAudioBuffer, mInProgress),
                        offsetof(BQueueableAudioBuffer, mFileStartFrame),
                        offsetof(BQueueableAudioBuffer, mPlaybackRate), offsetof(BQueueableAudioBuffer, mNext)));

static_assert(ascending(offsetof(BQueueableAudioNotification, mProcessingBlock),
                        offsetof(BQueueableAudioNotification, mInProgress),
                        offsetof(BQueueableAudioNotification, mNext)));

static_assert(ascending(offsetof(BAudioBufferQueueWorker, mStopRequested),
                        offsetof(BAudioBufferQueueWorker, mWakeSemaphore),
                        offsetof(BAudioBufferQueueWorker, mPendingStack), offsetof(BAudioBufferQueueWorker, mExitMutex),
                        offsetof(BAudioBufferQueueWorker, mExitCondition), offsetof(BAudioBufferQueueWorker, mExited),
                        offsetof(BAudioBufferQueueWorker, mThread)));

static_assert(ascending(
    offsetof(BAudioNotificationQueueWorker, mStopRequested), offsetof(BAudioNotificationQueueWorker, mWakeGuard),
    offsetof(BAudioNotificationQueueWorker, mPendingStack), offsetof(BAudioNotificationQueueWorker, mExitMutex),
    offsetof(BAudioNotificationQueueWorker, mExitCondition), offsetof(BAudioNotificationQueueWorker, mExited),
    offsetof(BAudioNotificationQueueWorker, mThread)));

// Single bytes, and the flags used by the real-time side are lock-free.
static_assert(sizeof(BQueueableAudioBuffer::mInProgress) == 1 &&
              decltype(BQueueableAudioBuffer::mInProgress)::is_always_lock_free);
static_assert(decltype(BQueueableAudioBuffer::mNext)::is_always_lock_free);

} // namespace
