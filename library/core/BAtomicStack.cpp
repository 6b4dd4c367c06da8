#include "BRAQAudio/core/BAtomicStack.h"

#include "library/core/BRecord.h"

#include <cstdlib>
#include <new>
#include <utility>

namespace {

// The record's first 16 bytes as one number: tag in the low half, head in the high half.
__extension__ typedef unsigned __int128 Word __attribute__((may_alias, aligned(16)));

struct Pair {
    UInt64 tag;
    void* head;
};

// The order of the halves is little-endian, like every processor that the build accepts.
Word wordOf(Pair pair) { return Word{pair.tag} | (Word{reinterpret_cast<std::uintptr_t>(pair.head)} << 64); }

Pair pairOf(Word word) {
    return {static_cast<UInt64>(word), reinterpret_cast<void*>(static_cast<std::uintptr_t>(word >> 64))};
}

// Two loads: a torn pair only makes the first compare-and-swap fail.
Pair load(const BAtomicStack* stack) {
    const UInt64 tag = __atomic_load_n(&stack->mTag, __ATOMIC_ACQUIRE);
    return {tag, __atomic_load_n(&stack->mHead, __ATOMIC_ACQUIRE)};
}

// Replaces `expected` by `desired`; on failure `expected` receives the current value. This uses the __sync form because
// compilers inline it as one instruction; the 16-byte __atomic form calls a library that may lock.
bool compareAndSwap(BAtomicStack* stack, Pair& expected, Pair desired) {
    const Word before = wordOf(expected);
    const Word found = __sync_val_compare_and_swap(reinterpret_cast<Word*>(&stack->mTag), before, wordOf(desired));
    if (found == before) {
        return true;
    }
    expected = pairOf(found);
    return false;
}

} // namespace

BAtomicStack* BAtomicStackCreate(const BAtomicStackGetNext& getNext, const BAtomicStackSetNext& setNext) {
    return braq::createRecord<BAtomicStack>(
        [&](BAtomicStack* stack) { return BAtomicStackInitialize(stack, getNext, setNext); });
}

bool BAtomicStackInitialize(BAtomicStack* stack, const BAtomicStackGetNext& getNext,
                            const BAtomicStackSetNext& setNext) {
    // Copied first, because copying can throw.
    BAtomicStackGetNext getNextCopy(getNext);
    BAtomicStackSetNext setNextCopy(setNext);
    __sync_synchronize();
    __atomic_store_n(&stack->mTag, 0, __ATOMIC_RELAXED);
    __atomic_store_n(&stack->mHead, nullptr, __ATOMIC_RELAXED);
    __sync_synchronize();
    new (&stack->mGetNext) BAtomicStackGetNext(std::move(getNextCopy));
    new (&stack->mSetNext) BAtomicStackSetNext(std::move(setNextCopy));
    return true;
}

void BAtomicStackDealloc(BAtomicStack* stack) {
    std::destroy_at(&stack->mGetNext);
    std::destroy_at(&stack->mSetNext);
}

void BAtomicStackDestroy(BAtomicStack* stack) {
    BAtomicStackDealloc(stack);
    std::free(stack);
}

// Push and pop-all write the number of their attempt as the tag, not the old tag plus one. This is deliberate. It gives
// up the tag's protection against a second popping thread, which is why there is only one.

void BAtomicStackPush(BAtomicStack* stack, void* record) noexcept {
    Pair expected = load(stack);
    for (UInt64 attempt = 1;; ++attempt) {
        stack->mSetNext(record, expected.head);
        if (compareAndSwap(stack, expected, {attempt, record})) {
            return;
        }
    }
}

void* BAtomicStackPop(BAtomicStack* stack) noexcept {
    Pair expected = load(stack);
    while (expected.head != nullptr) {
        void* const top = expected.head;
        if (compareAndSwap(stack, expected, {expected.tag + 1, stack->mGetNext(top)})) {
            return top;
        }
    }
    return nullptr;
}

void* BAtomicStackPopAll(BAtomicStack* stack) noexcept {
    Pair expected = load(stack);
    for (UInt64 attempt = 1; expected.head != nullptr; ++attempt) {
        void* const newest = expected.head;
        if (compareAndSwap(stack, expected, {attempt, nullptr})) {
            return newest;
        }
    }
    return nullptr;
}

void* BAtomicStackPopAllReversed(BAtomicStack* stack) {
    BAtomicStack* const reversed = BAtomicStackCreate(stack->mGetNext, stack->mSetNext);
    if (reversed == nullptr) {
        throw std::bad_alloc(); // all records are still on the stack
    }
    for (void* record = BAtomicStackPopAll(stack); record != nullptr;) {
        void* const next = stack->mGetNext(record);
        BAtomicStackNonAtomicPush(reversed, record);
        record = next;
    }
    void* const oldest = reversed->mHead;
    BAtomicStackDestroy(reversed);
    return oldest;
}

void BAtomicStackNonAtomicPush(BAtomicStack* stack, void* record) {
    stack->mSetNext(record, stack->mHead);
    stack->mTag = 1;
    stack->mHead = record;
}

void* BAtomicStackNonAtomicPop(BAtomicStack* stack) {
    void* const top = stack->mHead;
    if (top != nullptr) {
        void* const next = stack->mGetNext(top);
        stack->mTag = 1;
        stack->mHead = next;
    }
    return top;
}

bool BAtomicStackIsEmpty(const BAtomicStack* stack) noexcept { return load(stack).head == nullptr; }
