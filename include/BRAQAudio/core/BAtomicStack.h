#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <functional>

/// @addtogroup core
/// @{

/// Returns the link of a record. Must not block, allocate or throw: it runs wherever the stack operations run.
using BAtomicStackGetNext = std::function<void*(void* record)>;
/// Stores `next` as the link of `record`. Must not block, allocate or throw.
using BAtomicStackSetNext = std::function<void(void* record, void* next)>;

/// A lock-free LIFO list of records that carry their own link. The stack owns no record and does not allocate to push
/// or pop. It accesses the link only through the two callbacks, so one stack type serves every record type. A record
/// must stay alive until it is popped. Its link is meaningful only while it is on a stack or in a chain returned by a
/// pop-all.
///
/// Any number of threads may push, one thread pops: the tag is too weak to protect two popping threads from ABA.
struct alignas(16) BAtomicStack {
    // These two words are always replaced together. Any thread; accessed by the functions below.
    UInt64 mTag;
    void* mHead; ///< newest record, null when empty
    BAtomicStackSetNext mSetNext;
    BAtomicStackGetNext mGetNext;
};

extern "C" {

/// Creates an empty stack; null if out of memory. Copies both callbacks.
BRAQ_EXPORT BAtomicStack* BAtomicStackCreate(const BAtomicStackGetNext& getNext, const BAtomicStackSetNext& setNext);
/// Initialises a stack in 16-byte-aligned storage. Always returns true.
BRAQ_EXPORT bool BAtomicStackInitialize(BAtomicStack* stack, const BAtomicStackGetNext& getNext,
                                        const BAtomicStackSetNext& setNext);
/// Releases both callbacks. Records still on the stack are not touched.
BRAQ_EXPORT void BAtomicStackDealloc(BAtomicStack* stack);
/// Like `BAtomicStackDealloc`, then frees the stack.
BRAQ_EXPORT void BAtomicStackDestroy(BAtomicStack* stack);

/// Puts `record` on top. Never fails and never waits; it retries only while other threads change the stack.
/// @realtime Any number of threads.
BRAQ_EXPORT void BAtomicStackPush(BAtomicStack* stack, void* record) noexcept;
/// Removes the top record. Its link stays as it was.
/// @return the newest record, or null if the stack is empty (then nothing is written)
/// @realtime The one popping thread.
BRAQ_EXPORT void* BAtomicStackPop(BAtomicStack* stack) noexcept;
/// Removes all records.
/// @return the newest record, linked down to the oldest, or null
/// @realtime The one popping thread.
BRAQ_EXPORT void* BAtomicStackPopAll(BAtomicStack* stack) noexcept;
/// Removes all records and reverses their order. Allocates and frees a temporary stack. Throws std::bad_alloc if out of
/// memory; then all records are still on the stack.
/// @return the oldest record, linked up to the newest, or null
/// The one popping thread, not on an I/O thread.
BRAQ_EXPORT void* BAtomicStackPopAllReversed(BAtomicStack* stack);
/// Push onto a stack that only the calling thread can see.
BRAQ_EXPORT void BAtomicStackNonAtomicPush(BAtomicStack* stack, void* record);
/// Pop from a stack that only the calling thread can see.
BRAQ_EXPORT void* BAtomicStackNonAtomicPop(BAtomicStack* stack);
/// Whether the stack was empty. Other threads may have changed it by the time this returns.
/// @realtime Any thread.
BRAQ_EXPORT bool BAtomicStackIsEmpty(const BAtomicStack* stack) noexcept;
}

/// @}
