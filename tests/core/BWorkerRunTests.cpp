#include "library/core/BWorkerRun.h"

#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace {

struct PendingRecord {
    std::atomic<PendingRecord*> next{nullptr};
};

class PendingRecords : public testing::Test {
  protected:
    std::unique_ptr<BAtomicStack, decltype(&BAtomicStackDestroy)> pending{
        BAtomicStackCreate([](void* record) -> void* { return static_cast<PendingRecord*>(record)->next.load(); },
                           [](void* record, void* next) {
                               static_cast<PendingRecord*>(record)->next.store(static_cast<PendingRecord*>(next));
                           }),
        BAtomicStackDestroy};
    PendingRecord a, b, c;
};

TEST_F(PendingRecords, AreTakenWithTheOldestFirst) {
    for (PendingRecord* record : {&a, &b, &c}) {
        BAtomicStackPush(pending.get(), record);
    }
    EXPECT_EQ(braq::takePending(pending.get()), &a);
    EXPECT_EQ(a.next, &b);
    EXPECT_EQ(b.next, &c);
    EXPECT_EQ(c.next, nullptr);
    EXPECT_TRUE(BAtomicStackIsEmpty(pending.get()));
}

TEST_F(PendingRecords, MayBeOne) {
    BAtomicStackPush(pending.get(), &a);
    EXPECT_EQ(braq::takePending(pending.get()), &a);
    EXPECT_EQ(a.next, nullptr);
}

TEST_F(PendingRecords, MayBeNone) { EXPECT_EQ(braq::takePending(pending.get()), nullptr); }

TEST_F(PendingRecords, AreTakenWithoutTheHeap) {
    BAtomicStackPush(pending.get(), &a);
    BAtomicStackPush(pending.get(), &b);
    void* oldest = nullptr;
    braq::tests::runRealtime([&] { oldest = braq::takePending(pending.get()); });
    EXPECT_EQ(oldest, &a);
    EXPECT_EQ(a.next, &b);
}

} // namespace
