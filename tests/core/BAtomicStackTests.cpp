#include "BRAQAudio/core/BAtomicStack.h"

#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

struct Record {
    std::atomic<Record*> next{nullptr};
    int producer = 0;
    int number = 0;
};

void* nextOf(void* record) { return static_cast<Record*>(record)->next.load(std::memory_order_relaxed); }
void setNextOf(void* record, void* next) {
    static_cast<Record*>(record)->next.store(static_cast<Record*>(next), std::memory_order_relaxed);
}

using OwnedStack = std::unique_ptr<BAtomicStack, decltype(&BAtomicStackDestroy)>;

class AtomicStack : public testing::Test {
  protected:
    void pushABC() {
        for (Record* record : {&a, &b, &c}) {
            BAtomicStackPush(stack.get(), record);
        }
    }
    void expectState(UInt64 tag, void* head) const {
        EXPECT_EQ(stack->mTag, tag);
        EXPECT_EQ(stack->mHead, head);
        EXPECT_EQ(BAtomicStackIsEmpty(stack.get()), head == nullptr);
    }

    OwnedStack stack{BAtomicStackCreate(nextOf, setNextOf), BAtomicStackDestroy};
    Record a, b, c;
};

TEST_F(AtomicStack, IsEmptyWithTag0WhenMade) { expectState(0, nullptr); }

TEST_F(AtomicStack, CanBeMadeInPlaceAndReleasesItsCallbacks) {
    const auto kept = std::make_shared<int>(0);
    alignas(BAtomicStack) std::byte storage[sizeof(BAtomicStack)];
    auto* inPlace = reinterpret_cast<BAtomicStack*>(storage);
    ASSERT_TRUE(BAtomicStackInitialize(
        inPlace, [kept](void* record) { return nextOf(record); },
        [kept](void* record, void* next) { setNextOf(record, next); }));
    EXPECT_EQ(kept.use_count(), 3);
    BAtomicStackPush(inPlace, &a);
    EXPECT_EQ(BAtomicStackPop(inPlace), &a);
    BAtomicStackDealloc(inPlace);
    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(AtomicStack, PopTakesTheNewestFirstAndLeavesItsLink) {
    pushABC();
    EXPECT_EQ(BAtomicStackPop(stack.get()), &c);
    EXPECT_EQ(c.next, &b);
    EXPECT_EQ(BAtomicStackPop(stack.get()), &b);
    EXPECT_EQ(BAtomicStackPop(stack.get()), &a);
    EXPECT_TRUE(BAtomicStackIsEmpty(stack.get()));
}

TEST_F(AtomicStack, PopAllGivesTheChainNewestFirst) {
    pushABC();
    EXPECT_EQ(BAtomicStackPopAll(stack.get()), &c);
    EXPECT_EQ(c.next, &b);
    EXPECT_EQ(b.next, &a);
    EXPECT_EQ(a.next, nullptr);
    expectState(1, nullptr);
}

TEST_F(AtomicStack, PopAllReversedGivesTheChainOldestFirst) {
    pushABC();
    EXPECT_EQ(BAtomicStackPopAllReversed(stack.get()), &a);
    EXPECT_EQ(a.next, &b);
    EXPECT_EQ(b.next, &c);
    EXPECT_EQ(c.next, nullptr);
    expectState(1, nullptr);
}

TEST_F(AtomicStack, PopsOfAnEmptyStackWriteNothing) {
    stack->mTag = 77; // no operation writes this by itself
    EXPECT_EQ(BAtomicStackPop(stack.get()), nullptr);
    EXPECT_EQ(BAtomicStackPopAll(stack.get()), nullptr);
    EXPECT_EQ(BAtomicStackPopAllReversed(stack.get()), nullptr);
    expectState(77, nullptr);
}

// The temporary stack copies the closures.
TEST(AtomicStackClosures, AreCopiedForATemporaryStackByPopAllReversedAlsoOfAnEmptyStack) {
    struct Counted {
        explicit Counted(int& counter) : copies(counter) {}
        Counted(const Counted& other) : copies(other.copies) { ++copies; }
        Counted& operator=(const Counted&) = delete;
        ~Counted() = default;
        void* operator()(void* record) const { return record; }
        int& copies;
    };
    int copies = 0;
    const OwnedStack stack(BAtomicStackCreate(Counted(copies), [](void*, void*) {}), BAtomicStackDestroy);
    const int before = copies;
    EXPECT_EQ(BAtomicStackPopAllReversed(stack.get()), nullptr);
    EXPECT_GT(copies, before);
}

TEST_F(AtomicStack, PushWritesTheNumberOfItsAttemptAsTag) {
    BAtomicStackPush(stack.get(), &a);
    expectState(1, &a);
    BAtomicStackPush(stack.get(), &b);
    expectState(1, &b);
}

TEST_F(AtomicStack, PopAllWritesTheNumberOfItsAttemptAsTag) {
    using PopAll = void* (*)(BAtomicStack*);
    for (const PopAll popAll : {PopAll{BAtomicStackPopAll}, PopAll{BAtomicStackPopAllReversed}}) {
        pushABC();
        stack->mTag = 7; // neither kept nor counted on from
        popAll(stack.get());
        expectState(1, nullptr);
    }
}

TEST_F(AtomicStack, PopWritesThePreviousTagPlusOne) {
    pushABC();
    BAtomicStackPop(stack.get());
    expectState(2, &b);
    BAtomicStackPop(stack.get());
    expectState(3, &a);
    BAtomicStackPop(stack.get());
    expectState(4, nullptr);
    BAtomicStackPush(stack.get(), &a);
    expectState(1, &a);
}

// A set-next or get-next callback runs between the load and the swap, so what it does to the stack makes the swap fail.
TEST_F(AtomicStack, APushThatIsDisturbedTwiceWritesTag3) {
    int disturbances = 2;
    BAtomicStack* disturbed = nullptr;
    const OwnedStack owner(BAtomicStackCreate(nextOf,
                                              [&](void* record, void* next) {
                                                  setNextOf(record, next);
                                                  if (record == &a && disturbances > 0) {
                                                      --disturbances;
                                                      BAtomicStackPush(disturbed, disturbances == 1 ? &b : &c);
                                                  }
                                              }),
                           BAtomicStackDestroy);
    disturbed = owner.get();
    BAtomicStackPush(disturbed, &a);
    EXPECT_EQ(disturbed->mTag, 3U);
    EXPECT_EQ(BAtomicStackPopAll(disturbed), &a);
    EXPECT_EQ(a.next, &c);
    EXPECT_EQ(c.next, &b);
}

TEST_F(AtomicStack, APopThatIsDisturbedTakesWhatIsThereThen) {
    BAtomicStack* disturbed = nullptr;
    bool disturb = true;
    const OwnedStack owner(BAtomicStackCreate(
                               [&](void* record) {
                                   if (disturb) {
                                       disturb = false;
                                       BAtomicStackPush(disturbed, &b);
                                   }
                                   return nextOf(record);
                               },
                               setNextOf),
                           BAtomicStackDestroy);
    disturbed = owner.get();
    BAtomicStackPush(disturbed, &a);
    EXPECT_EQ(BAtomicStackPop(disturbed), &b);
    EXPECT_EQ(disturbed->mTag, 2U) << "the tag that the failed swap handed back, plus one";
    EXPECT_EQ(BAtomicStackPop(disturbed), &a);
}

TEST_F(AtomicStack, APopThatFindsTheStackEmptiedReturnsNull) {
    BAtomicStack* disturbed = nullptr;
    bool disturb = true;
    const OwnedStack owner(BAtomicStackCreate(
                               [&](void* record) {
                                   if (disturb) {
                                       disturb = false;
                                       BAtomicStackPopAll(disturbed);
                                   }
                                   return nextOf(record);
                               },
                               setNextOf),
                           BAtomicStackDestroy);
    disturbed = owner.get();
    BAtomicStackPush(disturbed, &a);
    EXPECT_EQ(BAtomicStackPop(disturbed), nullptr);
    EXPECT_TRUE(BAtomicStackIsEmpty(disturbed));
}

TEST_F(AtomicStack, NonAtomicOperationsWriteTag1) {
    BAtomicStackNonAtomicPush(stack.get(), &a);
    expectState(1, &a);
    EXPECT_EQ(a.next, nullptr);
    BAtomicStackNonAtomicPush(stack.get(), &b);
    expectState(1, &b);
    EXPECT_EQ(b.next, &a);
    stack->mTag = 9;
    EXPECT_EQ(BAtomicStackNonAtomicPop(stack.get()), &b);
    expectState(1, &a);
    EXPECT_EQ(BAtomicStackNonAtomicPop(stack.get()), &a);
    EXPECT_EQ(BAtomicStackNonAtomicPop(stack.get()), nullptr);
    expectState(1, nullptr);
}

TEST_F(AtomicStack, KeepsTheRealtimeRules) {
    void* popped = nullptr;
    void* rest = nullptr;
    bool empty = false;
    braq::tests::runRealtime([&] {
        pushABC();
        popped = BAtomicStackPop(stack.get());
        rest = BAtomicStackPopAll(stack.get());
        empty = BAtomicStackIsEmpty(stack.get());
    });
    EXPECT_EQ(popped, &c);
    EXPECT_EQ(rest, &b);
    EXPECT_TRUE(empty);
}

// Each producer numbers its records, so that a record that is lost, doubled or out of order shows.
void pushFromManyThreads(int producers, int recordsEach, void* (*takeAll)(BAtomicStack*)) {
    const OwnedStack stack(BAtomicStackCreate(nextOf, setNextOf), BAtomicStackDestroy);
    std::vector<std::vector<Record>> records;
    for (int i = 0; i < producers; ++i) {
        records.emplace_back(recordsEach);
    }
    std::vector<std::thread> threads;
    for (int i = 0; i < producers; ++i) {
        threads.emplace_back([&, i] {
            for (int number = 0; number < recordsEach; ++number) {
                Record& record = records[static_cast<std::size_t>(i)][static_cast<std::size_t>(number)];
                record.producer = i;
                record.number = number;
                BAtomicStackPush(stack.get(), &record);
            }
        });
    }
    std::vector<int> expected(static_cast<std::size_t>(producers), 0);
    for (long taken = 0, all = long{producers} * recordsEach; taken < all;) {
        auto* record = static_cast<Record*>(takeAll(stack.get()));
        if (record == nullptr) {
            std::this_thread::yield();
        }
        for (; record != nullptr; record = record->next.load(std::memory_order_relaxed), ++taken) {
            ASSERT_EQ(record->number, expected[static_cast<std::size_t>(record->producer)]++);
        }
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_TRUE(BAtomicStackIsEmpty(stack.get()));
}

TEST(AtomicStackStress, LosesAndDoublesNoneOf10MillionRecordsFrom8Threads) {
    pushFromManyThreads(8, 1'250'000, BAtomicStackPopAllReversed);
}

} // namespace
