#include "BRAQAudio/core/BBufferQueue.h"

#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <memory>
#include <numeric>
#include <vector>

namespace {

using testing::ElementsAre;
using OwnedQueue = std::unique_ptr<BBufferQueue, decltype(&BBufferQueueDestroy)>;

class BufferQueue : public testing::Test {
  protected:
    static std::vector<UInt32> numbers(UInt32 first, std::size_t count) {
        std::vector<UInt32> values(count);
        std::iota(values.begin(), values.end(), first);
        return values;
    }
    void append(UInt32 first, std::size_t count) {
        BBufferQueueAppend(queue.get(), numbers(first, count).data(), count);
    }
    std::vector<UInt32> read(std::size_t count) {
        std::vector<UInt32> values;
        values.reserve(count + 1); // even for no elements there must be a destination
        values.resize(count);
        BBufferQueueRead(queue.get(), values.data(), count);
        return values;
    }

    OwnedQueue queue{BBufferQueueCreate(8), BBufferQueueDestroy};
};
using BufferQueueDeathTest = BufferQueue;

TEST_F(BufferQueue, IsEmptyAndZeroFilledWhenMade) {
    EXPECT_EQ(BBufferQueueLength(queue.get()), 8U);
    EXPECT_EQ(BBufferQueueUsed(queue.get()), 0U);
    EXPECT_EQ(std::vector<UInt32>(queue->mBuffer, queue->mBuffer + 8), std::vector<UInt32>(8, 0));
}

TEST_F(BufferQueue, CanBeMadeInPlace) {
    BBufferQueue inPlace;
    ASSERT_TRUE(BBufferQueueInitialize(&inPlace, 3));
    EXPECT_EQ(BBufferQueueLength(&inPlace), 3U);
    EXPECT_EQ(BBufferQueueUsed(&inPlace), 0U);
    BBufferQueueDealloc(&inPlace);
}

TEST_F(BufferQueue, GivesElementsBackInOrderAcrossTheEnd) {
    append(0, 6);
    BBufferQueueAdvance(queue.get(), 4);
    append(6, 5);
    EXPECT_EQ(queue->mWriteIndex, 3U) << "2 elements at the end, 3 at the start";
    EXPECT_THAT(read(7), ElementsAre(4, 5, 6, 7, 8, 9, 10));
}

TEST_F(BufferQueue, ReadOfAllThatIsUsedLeavesItUsed) {
    append(1, 5);
    EXPECT_THAT(read(5), ElementsAre(1, 2, 3, 4, 5));
    EXPECT_EQ(BBufferQueueUsed(queue.get()), 5U);
    EXPECT_THAT(read(5), ElementsAre(1, 2, 3, 4, 5));
}

TEST_F(BufferQueue, CanBeFilledAndEmptiedToTheLastElement) {
    append(0, 8);
    EXPECT_EQ(BBufferQueueUsed(queue.get()), 8U);
    EXPECT_EQ(queue->mWriteIndex, 0U);
    BBufferQueueAdvance(queue.get(), 8);
    EXPECT_EQ(BBufferQueueUsed(queue.get()), 0U);
    append(8, 1);
    EXPECT_THAT(read(1), ElementsAre(8));
}

TEST_F(BufferQueue, ClearLeavesCapacityAndMemoryAsTheyWere) {
    append(1, 3);
    const UInt32* const memory = queue->mBuffer;
    BBufferQueueClear(queue.get());
    EXPECT_EQ(BBufferQueueUsed(queue.get()), 0U);
    EXPECT_EQ(BBufferQueueLength(queue.get()), 8U);
    EXPECT_EQ(queue->mBuffer, memory);
    EXPECT_THAT(std::vector<UInt32>(memory, memory + 3), ElementsAre(1, 2, 3));
}

TEST_F(BufferQueue, OfNoElementsHoldsNone) {
    const OwnedQueue none(BBufferQueueCreate(0), BBufferQueueDestroy);
    ASSERT_NE(none, nullptr);
    UInt32 element = 7;
    BBufferQueueAppend(none.get(), nullptr, 0);
    BBufferQueueRead(none.get(), &element, 0);
    BBufferQueueAdvance(none.get(), 0);
    EXPECT_EQ(BBufferQueueUsed(none.get()), 0U);
    EXPECT_EQ(element, 7U);
}

TEST_F(BufferQueue, KeepsItsInvariantThroughManyUnevenSteps) {
    UInt32 written = 0;
    UInt32 expected = 0;
    for (std::size_t step = 0; step < 1000; ++step) {
        const std::size_t in = std::min<std::size_t>(step % 5, 8 - BBufferQueueUsed(queue.get()));
        append(written, in);
        written += static_cast<UInt32>(in);
        const std::size_t out = std::min<std::size_t>(step % 7, BBufferQueueUsed(queue.get()));
        ASSERT_EQ(read(out), numbers(expected, out));
        BBufferQueueAdvance(queue.get(), out);
        expected += static_cast<UInt32>(out);
        ASSERT_EQ(queue->mWriteIndex, (queue->mReadIndex + queue->mUsed) % 8);
    }
    EXPECT_GT(expected, 1000U);
}

TEST_F(BufferQueue, KeepsTheRealtimeRules) {
    const auto source = numbers(0, 6);
    std::vector<UInt32> destination(6);
    braq::tests::runRealtime([&] {
        BBufferQueueAppend(queue.get(), source.data(), 6);
        BBufferQueueRead(queue.get(), destination.data(), 6);
        BBufferQueueAdvance(queue.get(), BBufferQueueUsed(queue.get()) - 1);
        BBufferQueueClear(queue.get());
        BBufferQueueAppend(queue.get(), source.data(), BBufferQueueLength(queue.get()) - 2);
    });
    EXPECT_EQ(destination, source);
}

TEST_F(BufferQueueDeathTest, AppendingMoreThanFitsAborts) {
    const auto values = numbers(0, 9);
    append(0, 6);
    EXPECT_DEATH(BBufferQueueAppend(queue.get(), values.data(), 3),
                 "BBufferQueue:36: BBufferQueueAppend: Assertion `0' failed");
    EXPECT_DEATH(BBufferQueueAppend(queue.get(), values.data(), 9),
                 "BBufferQueue:32: BBufferQueueAppend: Assertion `inLength <= self->mLength' failed");
}

TEST_F(BufferQueueDeathTest, ReadingMoreThanIsUsedAborts) {
    UInt32 values[9];
    append(0, 3);
    EXPECT_DEATH(BBufferQueueRead(queue.get(), values, 4),
                 "BBufferQueue:56: BBufferQueueRead: Assertion `inLength <= self->mUsed' failed");
    EXPECT_DEATH(BBufferQueueRead(queue.get(), values, 9),
                 "BBufferQueue:55: BBufferQueueRead: Assertion `inLength <= self->mLength' failed");
    EXPECT_DEATH(BBufferQueueRead(queue.get(), nullptr, 1),
                 "BBufferQueue:54: BBufferQueueRead: Assertion `inDestination' failed");
}

TEST_F(BufferQueueDeathTest, AdvancingPastWhatIsUsedAborts) {
    append(0, 3);
    EXPECT_DEATH(BBufferQueueAdvance(queue.get(), 4),
                 "BBufferQueue:72: BBufferQueueAdvance: Assertion `inLength <= self->mUsed' failed");
    EXPECT_DEATH(BBufferQueueAdvance(queue.get(), 9),
                 "BBufferQueue:71: BBufferQueueAdvance: Assertion `inLength <= self->mLength' failed");
}

} // namespace
