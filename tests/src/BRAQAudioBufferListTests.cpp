#include "BRAQAudio/BRAQAudioBufferList.h"

#include "tests/support/FrameLists.h"
#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace {

TEST(AudioBufferList, InterleavedHasOneBufferWithAllChannels) {
    AudioBufferList* const list = BRAQAudioBufferListCreate(6, 4, 100, true);
    ASSERT_EQ(list->mNumberBuffers, 1U);
    EXPECT_EQ(list->mBuffers[0].mNumberChannels, 6U);
    EXPECT_EQ(list->mBuffers[0].mDataByteSize, 2400U);
    std::memset(list->mBuffers[0].mData, 1, 2400); // all of it is there
    BRAQAudioBufferListDestroy(list);
}

TEST(AudioBufferList, NotInterleavedHasOneBufferAChannel) {
    AudioBufferList* const list = BRAQAudioBufferListCreate(3, 100, 4, false);
    ASSERT_EQ(list->mNumberBuffers, 3U);
    for (UInt32 i = 0; i < 3; ++i) {
        EXPECT_EQ(list->mBuffers[i].mNumberChannels, 1U);
        EXPECT_EQ(list->mBuffers[i].mDataByteSize, 400U);
        std::memset(list->mBuffers[i].mData, 1, 400);
    }
    BRAQAudioBufferListDestroy(list);
}

TEST(AudioBufferList, OfNoFramesCanBeMade) {
    AudioBufferList* const list = BRAQAudioBufferListCreate(2, 4, 0, false);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(list->mBuffers[1].mDataByteSize, 0U);
    BRAQAudioBufferListDestroy(list);
}

TEST(AudioBufferList, ACopySharesTheSamples) {
    const braq::tests::FrameList list(2, 16);
    AudioBufferList* const copy = BRAQAudioBufferListCopy(list.get());
    EXPECT_EQ(std::memcmp(copy, list.get(), 8 + 2 * 16), 0);
    std::free(copy);
}

TEST(AudioBufferList, CopiesItsDescriptorsIntoStorageOfTheCaller) {
    const braq::tests::FrameList list(2, 16);
    alignas(AudioBufferList) std::byte storage[8 + 2 * 16 + 1];
    storage[8 + 2 * 16] = std::byte{0x5A};
    auto* const destination = reinterpret_cast<AudioBufferList*>(storage);
    braq::tests::runRealtime([&] { BRAQAudioBufferListCopyTo(list.get(), destination); });
    EXPECT_EQ(std::memcmp(storage, list.get(), 8 + 2 * 16), 0);
    EXPECT_EQ(storage[8 + 2 * 16], std::byte{0x5A}) << "not a byte beyond the list";
}

TEST(AudioBufferList, CapacityIsThatOfTheFirstBuffer) {
    AudioBufferList* const interleaved = BRAQAudioBufferListCreate(2, 4, 100, true);
    UInt32 capacity = 0;
    braq::tests::runRealtime([&] { capacity = BRAQAudioBufferListCapacityInFrames(interleaved, 4); });
    EXPECT_EQ(capacity, 100U);
    EXPECT_EQ(BRAQAudioBufferListCapacityInFrames(interleaved, 3), 133U) << "integer division";
    EXPECT_EQ(BRAQAudioBufferListCapacityInFrames(interleaved, 0), 0U);
    interleaved->mBuffers[0].mNumberChannels = 0;
    EXPECT_EQ(BRAQAudioBufferListCapacityInFrames(interleaved, 4), 0U);
    BRAQAudioBufferListDestroy(interleaved);
}

} // namespace
