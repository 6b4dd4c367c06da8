#include "BRAQAudio/core/BAudioBuffer.h"

#include "tests/support/FrameLists.h"
#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

namespace {

using braq::tests::FrameList;

constexpr UInt32 bytesPerFrame = sizeof(Float32);
using OwnedAudioBuffer = std::unique_ptr<BAudioBuffer, decltype(&BAudioBufferDestroy)>;

class AudioBufferRecord : public testing::Test {
  protected:
    void hold(UInt32 frames) {
        braq::tests::number(BAudioBufferAudioBufferList(buffer.get()), 0, frames);
        BAudioBufferSetEndFrame(buffer.get(), frames);
    }

    OwnedAudioBuffer buffer{BAudioBufferCreate(512, 2), BAudioBufferDestroy};
    FrameList list{2, 1024};
    UInt32 produced = 0;
    UInt32 required = 0;
};

TEST(AudioBufferRecords, BeginTheirChannelsAtCacheLines) {
    constexpr std::uintptr_t cacheLineBytes = 64;
    for (const UInt32 frames : {0U, 1U, 15U, 17U, 4096U}) {
        const OwnedAudioBuffer buffer(BAudioBufferCreate(frames, 3), BAudioBufferDestroy);
        const AudioBufferList* made = BAudioBufferAudioBufferList(buffer.get());
        for (UInt32 i = 0; i < 3; ++i) {
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(made->mBuffers[i].mData) % cacheLineBytes, 0U) << frames;
            EXPECT_EQ(made->mBuffers[i].mDataByteSize, frames * bytesPerFrame);
        }
    }
}

TEST_F(AudioBufferRecord, IsMadeEmptyWithOneChannelABuffer) {
    const AudioBufferList* made = BAudioBufferAudioBufferList(buffer.get());
    ASSERT_EQ(made->mNumberBuffers, 2U);
    for (UInt32 i = 0; i < 2; ++i) {
        EXPECT_EQ(made->mBuffers[i].mNumberChannels, 1U);
        EXPECT_EQ(made->mBuffers[i].mDataByteSize, 2048U);
        EXPECT_NE(made->mBuffers[i].mData, nullptr);
    }
    EXPECT_NE(made->mBuffers[0].mData, made->mBuffers[1].mData);
    EXPECT_EQ(buffer->mByteSize, 2048U);
    EXPECT_EQ(BAudioBufferStartFrame(buffer.get()), 0U);
    EXPECT_EQ(BAudioBufferEndFrame(buffer.get()), 0U);
    EXPECT_FALSE(BAudioBufferReachedEndOfStream(buffer.get()));
}

TEST_F(AudioBufferRecord, CanBeMadeInPlace) {
    BAudioBuffer inPlace;
    ASSERT_TRUE(BAudioBufferInitialize(&inPlace, 16, 1));
    EXPECT_EQ(BAudioBufferFrameCount(&inPlace), 0U);
    BAudioBufferDealloc(&inPlace);
}

TEST_F(AudioBufferRecord, FrameCountIsEndMinusStart) {
    BAudioBufferSetEndFrame(buffer.get(), 300);
    BAudioBufferSetStartFrame(buffer.get(), 100);
    EXPECT_EQ(BAudioBufferFrameCount(buffer.get()), 200U);
}

TEST_F(AudioBufferRecord, EndOfStreamIsSetByAnythingBut0) {
    BAudioBufferSetReachedEndOfStream(buffer.get(), 256);
    EXPECT_TRUE(BAudioBufferReachedEndOfStream(buffer.get()));
    BAudioBufferSetReachedEndOfStream(buffer.get(), 0);
    EXPECT_FALSE(BAudioBufferReachedEndOfStream(buffer.get()));
}

TEST_F(AudioBufferRecord, SetEmptyLeavesTheEndOfStream) {
    hold(100);
    BAudioBufferSetStartFrame(buffer.get(), 7);
    BAudioBufferSetReachedEndOfStream(buffer.get(), 1);
    BAudioBufferSetEmpty(buffer.get());
    EXPECT_EQ(BAudioBufferStartFrame(buffer.get()), 0U);
    EXPECT_EQ(BAudioBufferEndFrame(buffer.get()), 0U);
    EXPECT_TRUE(BAudioBufferReachedEndOfStream(buffer.get()));
}

TEST_F(AudioBufferRecord, CopyIntoDrainsInSeveralCalls) {
    hold(100);
    required = 60;
    EXPECT_FALSE(BAudioBufferCopyInto(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    EXPECT_EQ(BAudioBufferStartFrame(buffer.get()), 60U);
    EXPECT_EQ(produced, 60U);
    EXPECT_EQ(required, 0U);

    required = 60;
    EXPECT_TRUE(BAudioBufferCopyInto(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    EXPECT_EQ(produced, 100U);
    EXPECT_EQ(required, 20U);
    list.expectNumbered(0, 0, 100);
}

TEST_F(AudioBufferRecord, CopyIntoOfTheLastBufferNeverCallsItEmptied) {
    hold(100);
    BAudioBufferSetReachedEndOfStream(buffer.get(), 1);
    for (const UInt32 wanted : {60U, 60U, 60U}) {
        required = wanted;
        EXPECT_FALSE(BAudioBufferCopyInto(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    }
    EXPECT_EQ(produced, 100U);
}

TEST_F(AudioBufferRecord, CopyIntoOfExactlyWhatIsHeldEmptiesIt) {
    hold(100);
    required = 100;
    EXPECT_TRUE(BAudioBufferCopyInto(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    EXPECT_EQ(required, 0U);
}

TEST_F(AudioBufferRecord, CopyIntoOfAnEmptyBufferIsEmptiedAtOnceAndTouchesNothing) {
    list.fill(0.25F);
    required = 10;
    EXPECT_TRUE(BAudioBufferCopyInto(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    EXPECT_EQ(produced, 0U);
    EXPECT_EQ(required, 10U);
    EXPECT_EQ(list.sample(0, 0), 0.25F);
}

TEST_F(AudioBufferRecord, CopyIntoFillsOnlyTheBuffersThatTheDestinationHas) {
    hold(10);
    FrameList mono(1, 16);
    required = 10;
    EXPECT_TRUE(BAudioBufferCopyInto(buffer.get(), mono.get(), bytesPerFrame, &produced, &required));
    mono.expectNumbered(0, 0, 10);
}

TEST_F(AudioBufferRecord, CopyFromTakesWhatFitsAndSaysFull) {
    hold(500);
    braq::tests::number(list.get(), 500, 20);
    required = 20;
    EXPECT_TRUE(BAudioBufferCopyFrom(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    EXPECT_EQ(produced, 12U);
    EXPECT_EQ(required, 8U);
    EXPECT_EQ(BAudioBufferEndFrame(buffer.get()), 512U);
    braq::tests::expectNumbered(BAudioBufferAudioBufferList(buffer.get()), 0, 0, 512);
}

TEST_F(AudioBufferRecord, CopyFromOfExactlyTheSpaceFills) {
    hold(500);
    required = 12;
    EXPECT_TRUE(BAudioBufferCopyFrom(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    EXPECT_EQ(required, 0U);
}

TEST_F(AudioBufferRecord, CopyFromOfLessThanTheSpaceDoesNotFill) {
    hold(500);
    required = 11;
    EXPECT_FALSE(BAudioBufferCopyFrom(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    EXPECT_EQ(BAudioBufferEndFrame(buffer.get()), 511U);
}

TEST_F(AudioBufferRecord, CopyFromIntoAFullBufferTakesNothing) {
    hold(512);
    required = 5;
    EXPECT_TRUE(BAudioBufferCopyFrom(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    EXPECT_EQ(produced, 0U);
    EXPECT_EQ(required, 5U);
}

TEST_F(AudioBufferRecord, CopyFromPutsFramesBehindThoseHeldAlsoWhereSomeWereTakenOut) {
    BAudioBufferSetStartFrame(buffer.get(), 10);
    BAudioBufferSetEndFrame(buffer.get(), 15);
    braq::tests::number(list.get(), 0, 20);
    required = 20;
    EXPECT_FALSE(BAudioBufferCopyFrom(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    EXPECT_EQ(BAudioBufferEndFrame(buffer.get()), 35U);
    braq::tests::expectNumbered(BAudioBufferAudioBufferList(buffer.get()), 5, 0, 20);
}

TEST_F(AudioBufferRecord, CopyFromDoesNotLookAtTheEndOfStream) {
    BAudioBufferSetReachedEndOfStream(buffer.get(), 1);
    required = 512;
    EXPECT_TRUE(BAudioBufferCopyFrom(buffer.get(), list.get(), bytesPerFrame, &produced, &required));
    EXPECT_EQ(produced, 512U);
}

TEST_F(AudioBufferRecord, WithoutBytesPerFrameThereIsNoSpace) {
    required = 5;
    EXPECT_TRUE(BAudioBufferCopyFrom(buffer.get(), list.get(), 0, &produced, &required));
    EXPECT_EQ(produced, 0U);
}

TEST_F(AudioBufferRecord, KeepsTheRealtimeRules) {
    braq::tests::number(list.get(), 0, 512);
    braq::tests::runRealtime([&] {
        BAudioBufferSetEmpty(buffer.get());
        required = 512;
        BAudioBufferCopyFrom(buffer.get(), list.get(), bytesPerFrame, &produced, &required);
        BAudioBufferSetReachedEndOfStream(buffer.get(), 1);
        BAudioBufferSetStartFrame(buffer.get(), BAudioBufferStartFrame(buffer.get()) + 12);
        BAudioBufferSetEndFrame(buffer.get(), BAudioBufferEndFrame(buffer.get()));
        produced = 0;
        required = BAudioBufferFrameCount(buffer.get());
        if (BAudioBufferReachedEndOfStream(buffer.get()) && BAudioBufferAudioBufferList(buffer.get()) != nullptr) {
            BAudioBufferCopyInto(buffer.get(), list.get(), bytesPerFrame, &produced, &required);
        }
    });
    EXPECT_EQ(produced, 500U);
    list.expectNumbered(0, 12, 500);
}

} // namespace
