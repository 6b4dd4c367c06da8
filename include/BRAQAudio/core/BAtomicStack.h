#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/types.h"

#include <functional>

/// Answers the link of a record. Must not block, allocate or throw: it runs where the stack's operations run.
using BAtomicStackGetNext = std::function<void*(void* record)>;
/// Stores `next` as the link of `record`. Must not block, allocate or throw.
using BAtomicStackSetNext = std::function<void(void* record, void* next)>;

/// A lock-free last-in-first-out list of records that carry their own link. It owns no record and allocates nothing to
/// push or pop; the link is reached only through the two callbacks, so one stack type serves every record type. A record
/// stays alive until it is popped; its link means something only while it is on a stack or on a chain of a pop-all.
///
/// Any number of threads push, one thread pops: the tag is too weak to keep two popping threads from an ABA mix-up.
struct alignas(16) BAtomicStack {
    // The two words that are always replaced together. Any thread; read and written as the functions below do.
    UInt64 mTag;
    void* mHead; ///< newest record, null when empty
    BAtomicStackSetNext mSetNext;
    BAtomicStackGetNext mGetNext;
};

extern "C" {

/// A new, empty stack, or null if there is no memory. Keeps copies of both callbacks.
BRAQ_EXPORT BAtomicStack* BAtomicStackCreate(const BAtomicStackGetNext& getNext, const BAtomicStackSetNext& setNext);
/// Makes a stack in place, in 16-byte-aligned storage; always true.
BRAQ_EXPORT bool BAtomicStackInitialize(BAtomicStack* stack, const BAtomicStackGetNext& getNext,
                                        const BAtomicStackSetNext& setNext);
/// Releases both callbacks. Records still on the stack are left alone.
BRAQ_EXPORT void BAtomicStackDealloc(BAtomicStack* stack);
/// As `BAtomicStackDealloc`, then frees the stack.
BRAQ_EXPORT void BAtomicStackDestroy(BAtomicStack* stack);

/// Puts `record` on top. Never fails and never waits: it repeats only while other threads change the stack.
/// @realtime Any number of threads.
BRAQ_EXPORT void BAtomicStackPush(BAtomicStack* stack, void* record) noexcept;
/// Takes the top record off; its link is left as it was.
/// @return the newest record, or null when the stack is empty (nothing is written then)
/// @realtime The one popping thread.
BRAQ_EXPORT void* BAtomicStackPop(BAtomicStack* stack) noexcept;
/// Takes everything off.
/// @return the newest record, linked through to the oldest, or null
/// @realtime The one popping thread.
BRAQ_EXPORT void* BAtomicStackPopAll(BAtomicStack* stack) noexcept;
/// Takes everything off and turns it round. Allocates and frees a temporary stack. Throws std::bad_alloc,
/// with everything still on the stack, if there is no memory for it.
/// @return the oldest record, linked through to the newest, or null
/// The one popping thread, never an I/O thread.
BRAQ_EXPORT void* BAtomicStackPopAllReversed(BAtomicStack* stack);
/// Push for a stack that only the calling thread can see.
BRAQ_EXPORT void BAtomicStackNonAtomicPush(BAtomicStack* stack, void* record);
/// Pop for a stack that only the calling thread can see.
BRAQ_EXPORT void* BAtomicStackNonAtomicPop(BAtomicStack* stack);
/// Whether there was no record; old by the time it is looked at.
/// @realtime Any thread.
BRAQ_EXPORT bool BAtomicStackIsEmpty(const BAtomicStack* stack) noexcept;
}
