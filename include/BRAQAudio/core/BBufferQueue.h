#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <cstddef>
#include <type_traits>

/// @addtogroup core
/// @{

/// A FIFO ring of 32-bit elements (one sample each). Reading does not consume; `BBufferQueueAdvance` does. No locks,
/// and no allocation after creation; one thread at a time uses it. Reading more than it holds, or appending more than
/// fits, ends the process with the C library's assertion message.
struct BBufferQueue {
    UInt32* mBuffer;    ///< owned, mLength elements
    UInt64 mLength;     ///< capacity in elements
    UInt64 mReadIndex;  ///< oldest element
    UInt64 mWriteIndex; ///< where the next element goes: (mReadIndex + mUsed) modulo mLength
    UInt64 mUsed;       ///< elements in the queue
};
static_assert(std::is_standard_layout_v<BBufferQueue> && sizeof(BBufferQueue) == 40);
static_assert(offsetof(BBufferQueue, mBuffer) == 0 && offsetof(BBufferQueue, mLength) == 8 &&
              offsetof(BBufferQueue, mReadIndex) == 16 && offsetof(BBufferQueue, mWriteIndex) == 24 &&
              offsetof(BBufferQueue, mUsed) == 32);

extern "C" {

/// Creates an empty queue of `length` elements; null if out of memory.
BRAQ_EXPORT BBufferQueue* BBufferQueueCreate(UInt32 length);
/// Initialises a queue in place. @return false if out of memory
BRAQ_EXPORT bool BBufferQueueInitialize(BBufferQueue* queue, UInt32 length);
/// Frees the elements.
BRAQ_EXPORT void BBufferQueueDealloc(BBufferQueue* queue);
/// Like `BBufferQueueDealloc`, then frees the record.
BRAQ_EXPORT void BBufferQueueDestroy(BBufferQueue* queue);

/// Appends `count` elements. They must fit.
/// @realtime
BRAQ_EXPORT void BBufferQueueAppend(BBufferQueue* queue, const void* source, UInt64 count) noexcept;
/// Copies the `count` oldest elements and leaves them in the queue, which must hold at least `count`.
/// @realtime
BRAQ_EXPORT void BBufferQueueRead(const BBufferQueue* queue, void* destination, UInt64 count) noexcept;
/// Removes the `count` oldest elements. The queue must hold at least `count`.
/// @realtime
BRAQ_EXPORT void BBufferQueueAdvance(BBufferQueue* queue, UInt64 count) noexcept;
/// Empties the queue. The memory is not cleared.
/// @realtime
BRAQ_EXPORT void BBufferQueueClear(BBufferQueue* queue) noexcept;
/// Capacity in elements.
/// @realtime
BRAQ_EXPORT UInt64 BBufferQueueLength(const BBufferQueue* queue) noexcept;
/// Elements in the queue.
/// @realtime
BRAQ_EXPORT UInt64 BBufferQueueUsed(const BBufferQueue* queue) noexcept;
}

/// @}
