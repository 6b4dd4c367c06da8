#include "BRAQAudio/core/BQueueableAudioBuffer.h"
#include "BRAQAudio/core/BQueueableAudioNotification.h"

#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

TEST(QueueableAudioBuffer, IsMadeEmptyAndNotInProgress) {
    auto* const buffer = BQueueableAudioBufferCreate([](BQueueableAudioBuffer*) {}, 64, 2);
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(BAudioBufferFrameCount(&buffer->mAudioBuffer), 0U);
    EXPECT_EQ(BAudioBufferAudioBufferList(&buffer->mAudioBuffer)->mNumberBuffers, 2U);
    EXPECT_FALSE(BQueueableAudioBufferInProgress(buffer));
    EXPECT_EQ(BQueueableAudioBufferFileStartFrame(buffer), 0);
    EXPECT_EQ(BQueueableAudioBufferPlaybackRate(buffer), 0.0);
    EXPECT_EQ(BQueueableAudioBufferNext(buffer), nullptr);
    BQueueableAudioBufferDestroy(buffer);
}

TEST(QueueableAudioBuffer, KeepsItsBlockUntilItIsDestroyed) {
    const auto kept = std::make_shared<int>(0);
    BQueueableAudioBuffer* processed = nullptr;
    auto* const buffer =
        BQueueableAudioBufferCreate([kept, &processed](BQueueableAudioBuffer* given) { processed = given; }, 64, 1);
    EXPECT_EQ(kept.use_count(), 2);
    BQueueableAudioBufferProcessingBlock(buffer)(buffer);
    EXPECT_EQ(processed, buffer);
    BQueueableAudioBufferDestroy(buffer);
    EXPECT_EQ(kept.use_count(), 1);
}

TEST(QueueableAudioBuffer, FieldsKeepWhatIsSetUnderTheRealtimeRules) {
    alignas(BQueueableAudioBuffer) std::byte storage[sizeof(BQueueableAudioBuffer)];
    auto* const buffer = reinterpret_cast<BQueueableAudioBuffer*>(storage);
    ASSERT_TRUE(BQueueableAudioBufferInitialize(
        buffer, [](BQueueableAudioBuffer*) {}, 8, 1));
    bool asSet = false;
    braq::tests::runRealtime([&] {
        BQueueableAudioBufferSetInProgress(buffer, true);
        BQueueableAudioBufferSetFileStartFrame(buffer, -1LL << 40);
        BQueueableAudioBufferSetPlaybackRate(buffer, -0.75);
        BQueueableAudioBufferSetNext(buffer, buffer);
        asSet = BQueueableAudioBufferInProgress(buffer) && BQueueableAudioBufferFileStartFrame(buffer) == -1LL << 40 &&
                BQueueableAudioBufferPlaybackRate(buffer) == -0.75 && BQueueableAudioBufferNext(buffer) == buffer;
    });
    EXPECT_TRUE(asSet);
    BQueueableAudioBufferDealloc(buffer);
}

TEST(QueueableAudioNotification, KeepsItsBlockUntilItIsDestroyed) {
    const auto kept = std::make_shared<int>(0);
    BQueueableAudioNotification* run = nullptr;
    auto* const notification =
        BQueueableAudioNotificationCreate([kept, &run](BQueueableAudioNotification* given) { run = given; });
    ASSERT_NE(notification, nullptr);
    EXPECT_EQ(kept.use_count(), 2);
    BQueueableAudioNotificationProcessingBlock(notification)(notification);
    EXPECT_EQ(run, notification);
    BQueueableAudioNotificationDestroy(notification);
    EXPECT_EQ(kept.use_count(), 1);
}

TEST(QueueableAudioNotification, FieldsKeepWhatIsSetUnderTheRealtimeRules) {
    auto* const notification = BQueueableAudioNotificationCreate([](BQueueableAudioNotification*) {});
    bool asMade = false;
    bool asSet = false;
    braq::tests::runRealtime([&] {
        asMade = !BQueueableAudioNotificationInProgress(notification) &&
                 BQueueableAudioNotificationNext(notification) == nullptr;
        BQueueableAudioNotificationSetInProgress(notification, true);
        BQueueableAudioNotificationSetNext(notification, notification);
        asSet = BQueueableAudioNotificationInProgress(notification) &&
                BQueueableAudioNotificationNext(notification) == notification;
    });
    EXPECT_TRUE(asMade);
    EXPECT_TRUE(asSet);
    BQueueableAudioNotificationDestroy(notification);
}

TEST(QueueableAudioNotification, DestroyingNoneDoesNothing) {
    BQueueableAudioNotificationDealloc(nullptr);
    BQueueableAudioNotificationDestroy(nullptr);
}

} // namespace
