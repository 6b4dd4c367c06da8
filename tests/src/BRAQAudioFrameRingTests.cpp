#include "BRAQAudio/BRAQAudioFrameRing.h"

#include "BRAQAudio/platform/foundation.h"
#include "tests/support/FrameLists.h"
#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <numeric>
#include <thread>
#include <utility>
#include <vector>

namespace {

using braq::tests::FrameList;
using braq::tests::number;
using braq::tests::sampleOf;
using testing::Each;
using testing::ElementsAre;

/// A list of one interleaved buffer.
struct InterleavedList {
    InterleavedList(UInt32 channels, UInt32 frames)
        : samples(std::size_t{channels} * frames),
          list{1, {{channels, static_cast<UInt32>(samples.size() * sizeof(Float32)), samples.data()}}} {}
    InterleavedList(const InterleavedList&) = delete;
    InterleavedList& operator=(const InterleavedList&) = delete;

    std::vector<Float32> samples;
    AudioBufferList list;
};

TEST(AudioFrameRing, DeliversFramesInTheirOrderAroundItsEnd) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(7, 3);
    EXPECT_EQ(ring->capacity(), 7U);
    EXPECT_EQ(ring->channels(), 3U);
    UInt64 written = 0;
    UInt64 read = 0;
    const FrameList list(3, 7);
    for (int round = 0; round < 50; ++round) {
        for (const UInt32 frames : {1U, 5U, 2U, 7U, 3U}) {
            number(list.get(), written, frames);
            ASSERT_EQ(ring->write(list.get(), frames), frames);
            written += frames;
            ASSERT_EQ(ring->framesHeld(), frames);
            ASSERT_EQ(ring->read(list.get(), frames), frames);
            list.expectNumbered(0, read, frames);
            read += frames;
            ASSERT_EQ(ring->framesHeld(), 0U);
        }
    }
    EXPECT_EQ(ring->overruns(), 0U);
    EXPECT_EQ(ring->underruns(), 0U);
}

TEST(AudioFrameRing, TakesWhatFitsAndCountsTheOverrun) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(8, 2);
    FrameList list(2, 8);
    number(list.get(), 0, 8);
    EXPECT_EQ(ring->write(list.get(), 5), 5U);
    EXPECT_EQ(ring->overruns(), 0U);
    number(list.get(), 5, 8);
    EXPECT_EQ(ring->write(list.get(), 8), 3U);
    EXPECT_EQ(ring->overruns(), 1U);
    EXPECT_EQ(ring->write(list.get(), 1), 0U);
    EXPECT_EQ(ring->writeSilence(1), 0U);
    EXPECT_EQ(ring->overruns(), 3U);
    EXPECT_EQ(ring->write(list.get(), 0), 0U);
    EXPECT_EQ(ring->overruns(), 3U) << "none is no frame too many";
    EXPECT_EQ(ring->read(list.get(), 8), 8U);
    list.expectNumbered(0, 0, 8);
}

TEST(AudioFrameRing, GivesWhatThereIsAndCountsTheUnderrun) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(8, 2);
    FrameList list(2, 8);
    number(list.get(), 0, 3);
    EXPECT_EQ(ring->write(list.get(), 3), 3U);
    list.fill(99.0F);
    EXPECT_EQ(ring->read(list.get(), 5), 3U);
    list.expectNumbered(0, 0, 3);
    EXPECT_EQ(list.sample(0, 3), 99.0F) << "what lies beyond stays";
    EXPECT_EQ(list.sample(1, 4), 99.0F);
    EXPECT_EQ(list.get()->mBuffers[0].mDataByteSize, 8 * sizeof(Float32));
    EXPECT_EQ(ring->underruns(), 1U);
    EXPECT_EQ(ring->read(list.get(), 1), 0U);
    EXPECT_EQ(ring->underruns(), 2U);
    EXPECT_EQ(ring->read(list.get(), 0), 0U);
    EXPECT_EQ(ring->underruns(), 2U);
}

TEST(AudioFrameRing, SkipsTheOldestFrames) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(8, 2);
    FrameList list(2, 8);
    number(list.get(), 0, 8);
    ring->write(list.get(), 8);
    EXPECT_EQ(ring->skip(5), 5U);
    EXPECT_EQ(ring->framesHeld(), 3U);
    EXPECT_EQ(ring->read(list.get(), 1), 1U);
    list.expectNumbered(0, 5, 1);
    EXPECT_EQ(ring->skip(9), 2U);
    EXPECT_EQ(ring->framesHeld(), 0U);
    EXPECT_EQ(ring->underruns(), 0U);
    number(list.get(), 8, 8);
    EXPECT_EQ(ring->write(list.get(), 8), 8U);
    EXPECT_EQ(ring->read(list.get(), 8), 8U);
    list.expectNumbered(0, 8, 8);
}

TEST(AudioFrameRing, DelaysBySilence) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(8, 2);
    FrameList list(2, 8);
    list.fill(99.0F);
    ring->write(list.get(), 6); // stale frames where the silence is to be
    ring->skip(6);
    EXPECT_EQ(ring->writeSilence(5), 5U);
    number(list.get(), 1, 3);
    EXPECT_EQ(ring->write(list.get(), 3), 3U);
    EXPECT_EQ(ring->read(list.get(), 8), 8U);
    for (UInt32 frame = 0; frame < 5; ++frame) {
        EXPECT_EQ(list.sample(0, frame), 0.0F);
        EXPECT_EQ(list.sample(1, frame), 0.0F);
    }
    list.expectNumbered(5, 1, 3);
}

TEST(AudioFrameRing, TakesAndGivesInterleavedFramesToo) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(5, 3);
    ring->writeSilence(4);
    ring->skip(4); // so that they go around the end
    FrameList planes(3, 4);
    number(planes.get(), 0, 4);
    EXPECT_EQ(ring->write(planes.get(), 2), 2U);
    InterleavedList interleaved(3, 2);
    EXPECT_EQ(ring->read(&interleaved.list, 2), 2U);
    EXPECT_THAT(interleaved.samples, ElementsAre(sampleOf(0, 0), sampleOf(0, 1), sampleOf(0, 2), sampleOf(1, 0),
                                                 sampleOf(1, 1), sampleOf(1, 2)));
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(ring->write(&interleaved.list, 2), 2U);
        planes.fill(99.0F);
        EXPECT_EQ(ring->read(planes.get(), 2), 2U);
        planes.expectNumbered(0, 0, 2);
    }
}

TEST(AudioFrameRing, ASingleChannelIsBoth) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(4, 1);
    InterleavedList list(1, 3);
    std::iota(list.samples.begin(), list.samples.end(), 1.0F);
    EXPECT_EQ(ring->write(&list.list, 3), 3U);
    std::ranges::fill(list.samples, 0.0F);
    EXPECT_EQ(ring->read(&list.list, 3), 3U);
    EXPECT_THAT(list.samples, ElementsAre(1.0F, 2.0F, 3.0F));
}

TEST(AudioFrameRing, MovesNothingOfAListOfAnotherShape) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(16, 2);
    ring->writeSilence(8);
    FrameList three(3, 4);
    FrameList one(1, 4);
    FrameList shortList(2, 3);
    InterleavedList interleaved(3, 4);
    InterleavedList shortInterleaved(2, 3);
    FrameList withoutMemory(2, 4);
    void* const memory = std::exchange(withoutMemory.get()->mBuffers[1].mData, nullptr);
    for (AudioBufferList* const list :
         {three.get(), one.get(), shortList.get(), &interleaved.list, &shortInterleaved.list, withoutMemory.get(),
          static_cast<AudioBufferList*>(nullptr)}) {
        EXPECT_EQ(ring->write(list, 4), 0U);
        EXPECT_EQ(ring->read(list, 4), 0U);
        EXPECT_EQ(ring->framesHeld(), 8U);
    }
    withoutMemory.get()->mBuffers[1].mData = memory;
    EXPECT_EQ(ring->overruns(), 0U);
    EXPECT_EQ(ring->underruns(), 0U);
    EXPECT_EQ(ring->read(shortList.get(), 3), 3U) << "as many as it has room for";
}

/// A time stamp of that many milliseconds.
AudioTimeStamp at(UInt64 milliseconds) {
    AudioTimeStamp time{};
    time.mHostTime = milliseconds * 1'000'000;
    time.mFlags = kAudioTimeStampHostTimeValid;
    return time;
}

TEST(AudioFrameRing, TellsHowLateFramesAreThatAreRead) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(100, 2, 1000.0);
    const FrameList list(2, 100);
    EXPECT_EQ(ring->delay(), 0.0);
    auto time = at(5000);
    ring->write(list.get(), 10, &time);
    EXPECT_EQ(ring->delay(), 0.0) << "nothing was read";
    time = at(5030);
    ring->readLatest(list.get(), 6, &time);
    EXPECT_NEAR(ring->delay(), 0.030, 1e-9);
    time = at(5036);
    ring->readLatest(list.get(), 4, &time);
    EXPECT_NEAR(ring->delay(), 0.030, 1e-9) << "frame 6, which was captured 6 ms later";
    time = at(5090);
    ring->readLatest(list.get(), 4, &time);
    EXPECT_NEAR(ring->delay(), 0.030, 1e-9) << "there was nothing to read";
    EXPECT_EQ(ring->underruns(), 1U);
    time = at(5100); // the input has lost frames, or its clock drifts
    ring->write(list.get(), 10, &time);
    time = at(5111);
    ring->readLatest(list.get(), 10, &time);
    EXPECT_NEAR(ring->delay(), 0.011, 1e-9);
}

TEST(AudioFrameRing, KeepsNoMoreThanACycleOfEachSide) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(100, 1, 1000.0);
    const FrameList list(1, 100);
    for (UInt64 cycle = 0; cycle < 10; ++cycle) {
        number(list.get(), cycle * 8, 8);
        const auto time = at(1000 + cycle * 8);
        ASSERT_EQ(ring->write(list.get(), 8, &time), 8U);
    }
    const auto time = at(1100);
    EXPECT_EQ(ring->readLatest(list.get(), 5, &time), 5U);
    list.expectNumbered(0, 80 - 13, 5);
    EXPECT_EQ(ring->framesHeld(), 8U);
    EXPECT_NEAR(ring->delay(), 0.100 - 0.067, 1e-9);
    EXPECT_EQ(ring->readLatest(list.get(), 5, &time), 5U) << "that is little enough";
    list.expectNumbered(0, 72, 5);
    EXPECT_EQ(ring->underruns(), 0U);
}

TEST(AudioFrameRing, WithoutTimesItKnowsNothingOfThem) {
    const auto timed = BRAQAudioFrameRing::initWithCapacity(100, 1, 1000.0);
    const auto plain = BRAQAudioFrameRing::initWithCapacity(100, 1);
    const FrameList list(1, 100);
    const auto known = at(1000);
    const auto later = at(2000);
    AudioTimeStamp none = known;
    none.mFlags = 0;
    EXPECT_EQ(plain->write(list.get(), 4, &known), 4U);
    EXPECT_EQ(plain->readLatest(list.get(), 4, &later), 4U);
    EXPECT_EQ(plain->delay(), 0.0) << "it has no rate";
    for (const AudioTimeStamp* const time : {static_cast<const AudioTimeStamp*>(nullptr), &std::as_const(none)}) {
        EXPECT_EQ(timed->write(list.get(), 4, time), 4U);
        EXPECT_EQ(timed->readLatest(list.get(), 4, &later), 4U);
        EXPECT_EQ(timed->write(list.get(), 4, &known), 4U);
        EXPECT_EQ(timed->readLatest(list.get(), 4, time), 4U);
        EXPECT_EQ(timed->delay(), 0.0);
    }
}

TEST(AudioFrameRing, RefusesToBeWithoutFramesOrChannels) {
    for (const auto& [frames, channels] : {std::pair{0U, 2U}, std::pair{16U, 0U}}) {
        try {
            BRAQAudioFrameRing::initWithCapacity(frames, channels);
            ADD_FAILURE() << "nothing was raised";
        } catch (const NSException& raised) {
            EXPECT_EQ(raised.name(), NSInvalidArgumentException);
        }
    }
    for (const Float64 rate : {0.0, -1.0, std::nan("")}) {
        EXPECT_THROW(BRAQAudioFrameRing::initWithCapacity(16, 2, rate), NSException) << rate;
    }
}

TEST(AudioFrameRing, KeepsTheRealtimeRules) {
    const auto ring = BRAQAudioFrameRing::initWithCapacity(100, 2, 48000.0);
    FrameList planes(2, 64);
    InterleavedList interleaved(2, 64);
    const auto time = at(1000);
    UInt32 moved = 0;
    braq::tests::runRealtime([&] {
        for (int i = 0; i < 10; ++i) {
            moved += ring->write(planes.get(), 64);
            moved += ring->writeSilence(4);
            moved += ring->write(&interleaved.list, 64);
            moved += ring->skip(3);
            moved += ring->read(&interleaved.list, 64);
            moved += ring->read(planes.get(), 64);
            moved += ring->write(planes.get(), 64, &time);
            moved += ring->readLatest(planes.get(), 64, &time);
            moved += static_cast<UInt32>(ring->delay() >= 0.0);
            moved += ring->framesHeld() + ring->capacity() + ring->channels();
            moved += static_cast<UInt32>(ring->overruns() + ring->underruns());
        }
    });
    EXPECT_GT(moved, 0U);
}

// Each frame carries its number in both channels, so that one that is lost, doubled or torn shows.
TEST(AudioFrameRing, HandsOverEveryFrameBetweenTwoThreads) {
    constexpr UInt64 frames = 1'000'000;
    constexpr UInt32 most = 96;
    const auto ring = BRAQAudioFrameRing::initWithCapacity(100, 2);
    std::atomic<bool> isRight{true};
    std::thread writer([&] {
        FrameList list(2, most);
        UInt64 next = 0;
        for (UInt32 size = 1; next < frames && isRight; size = size % most + 1) {
            const auto wanted = static_cast<UInt32>(std::min<UInt64>(size, frames - next));
            number(list.get(), next, wanted);
            const UInt32 written = ring->write(list.get(), wanted);
            next += written;
            if (written == 0) {
                std::this_thread::yield();
            }
        }
    });
    FrameList planes(2, most);
    InterleavedList interleaved(2, most);
    UInt64 next = 0;
    for (UInt32 size = most; next < frames && isRight; size = size == 1 ? most : size - 1) {
        const bool asPlanes = size % 2 == 0;
        const UInt32 read = ring->read(asPlanes ? planes.get() : &interleaved.list, size);
        for (UInt32 frame = 0; frame < read; ++frame) {
            for (UInt32 channel = 0; channel < 2; ++channel) {
                const Float32 sample =
                    asPlanes ? planes.sample(channel, frame) : interleaved.samples[2 * frame + channel];
                isRight = isRight && sample == sampleOf(next + frame, channel);
            }
        }
        next += read;
        if (read == 0) {
            std::this_thread::yield();
        }
    }
    writer.join();
    EXPECT_TRUE(isRight) << "near frame " << next;
    EXPECT_EQ(ring->framesHeld(), 0U);
}

} // namespace
