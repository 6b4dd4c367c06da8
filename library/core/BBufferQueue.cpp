#include "BRAQAudio/core/BBufferQueue.h"

#include "library/core/BAssert.h"
#include "library/core/BRecord.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* file = "BBufferQueue";

// A queue without elements has only index 0; a modulo by its length would divide by zero.
UInt64 wrapped(const BBufferQueue* queue, UInt64 index) { return queue->mLength == 0 ? 0 : index % queue->mLength; }

void copyElements(void* destination, const void* source, UInt64 count) {
    if (count != 0) { // without elements the source may be null, which memcpy does not allow
        std::memcpy(destination, source, count * sizeof(UInt32));
    }
}

} // namespace

BBufferQueue* BBufferQueueCreate(UInt32 length) {
    return braq::createRecord<BBufferQueue>(
        [length](BBufferQueue* queue) { return BBufferQueueInitialize(queue, length); });
}

bool BBufferQueueInitialize(BBufferQueue* queue, UInt32 length) {
    *queue = BBufferQueue{};
    queue->mLength = length;
    // At least one element: an empty allocation may return null, which would look like a failure.
    queue->mBuffer = static_cast<UInt32*>(std::calloc(std::max<UInt32>(length, 1), sizeof(UInt32)));
    return queue->mBuffer != nullptr;
}

void BBufferQueueDealloc(BBufferQueue* queue) { std::free(queue->mBuffer); }

void BBufferQueueDestroy(BBufferQueue* queue) {
    BBufferQueueDealloc(queue);
    std::free(queue);
}

void BBufferQueueAppend(BBufferQueue* queue, const void* source, UInt64 count) noexcept {
    BAssertAt(count <= queue->mLength, __func__, file, 32, "inLength <= self->mLength");
    BAssertAt(queue->mUsed + count <= queue->mLength, __func__, file, 36, "0");
    const UInt64 first = std::min(count, queue->mLength - queue->mWriteIndex);
    copyElements(queue->mBuffer + queue->mWriteIndex, source, first);
    copyElements(queue->mBuffer, static_cast<const UInt32*>(source) + first, count - first);
    queue->mWriteIndex = wrapped(queue, queue->mWriteIndex + count);
    queue->mUsed += count;
}

void BBufferQueueRead(const BBufferQueue* queue, void* destination, UInt64 count) noexcept {
    BAssertAt(destination != nullptr, __func__, file, 54, "inDestination");
    BAssertAt(count <= queue->mLength, __func__, file, 55, "inLength <= self->mLength");
    BAssertAt(count <= queue->mUsed, __func__, file, 56, "inLength <= self->mUsed");
    const UInt64 first = std::min(count, queue->mLength - queue->mReadIndex);
    copyElements(destination, queue->mBuffer + queue->mReadIndex, first);
    copyElements(static_cast<UInt32*>(destination) + first, queue->mBuffer, count - first);
}

void BBufferQueueAdvance(BBufferQueue* queue, UInt64 count) noexcept {
    BAssertAt(count <= queue->mLength, __func__, file, 71, "inLength <= self->mLength");
    BAssertAt(count <= queue->mUsed, __func__, file, 72, "inLength <= self->mUsed");
    queue->mReadIndex = wrapped(queue, queue->mReadIndex + count);
    queue->mUsed -= count;
}

void BBufferQueueClear(BBufferQueue* queue) noexcept {
    queue->mReadIndex = 0;
    queue->mWriteIndex = 0;
    queue->mUsed = 0;
}

UInt64 BBufferQueueLength(const BBufferQueue* queue) noexcept { return queue->mLength; }

UInt64 BBufferQueueUsed(const BBufferQueue* queue) noexcept { return queue->mUsed; }
