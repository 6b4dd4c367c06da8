#include "platform/hardware/drivers/pipewire/StreamCycle.h"

#include "tests/platform/hardware/drivers/pipewire/NumberedCycles.h"
#include "tests/support/RealtimeGuard.h"

#include <gtest/gtest.h>
#include <spa/buffer/buffer.h>
#include <spa/node/io.h>

#include <thread>

using namespace braq;
using namespace braq::pipewire;
using namespace braq::tests;

namespace {

/// A buffer as the server hands it out: a block a channel.
class Buffer {
  public:
    Buffer(UInt32 channels, UInt32 room)
        : mSamples(channels, std::vector<Float32>(room, 99.0F)), mDatas(channels), mChunks(channels) {
        for (UInt32 channel = 0; channel < channels; ++channel) {
            mDatas[channel].data = mSamples[channel].data();
            mDatas[channel].maxsize = static_cast<UInt32>(room * sizeof(Float32));
            mDatas[channel].chunk = &mChunks[channel];
        }
        mBuffer.n_datas = channels;
        mBuffer.datas = mDatas.data();
    }
    spa_buffer& get() { return mBuffer; }
    spa_data& data(UInt32 channel) { return mDatas[channel]; }
    spa_chunk& chunk(UInt32 channel) { return mChunks[channel]; }
    Float32& sample(UInt32 channel, UInt32 frame) { return mSamples[channel][frame]; }

  private:
    std::vector<std::vector<Float32>> mSamples;
    std::vector<spa_data> mDatas;
    std::vector<spa_chunk> mChunks;
    spa_buffer mBuffer{};
};

spa_io_position graph(UInt32 rate, UInt32 frames) {
    spa_io_position position{};
    position.clock.rate = {1, rate};
    position.clock.duration = frames;
    position.clock.nsec = 5'000'000'000;
    position.clock.rate_diff = 1.0;
    return position;
}

/// Procedures that keep the last cycle.
struct LastCycle final : DeviceCycles {
    void runCycle(const DeviceCycle& cycle) noexcept override {
        last = cycle;
        ++count;
    }
    DeviceCycle last{};
    int count = 0;
};

struct Wakes {
    static void wake(void* self) noexcept { ++static_cast<Wakes*>(self)->count; }
    int count = 0;
};

} // namespace

TEST(PipeWire_StreamCycle, TakesBuffersOfAnotherShapeAndIsSilentUntilItIsOpenedAgain) {
    LastCycle procedures;
    Wakes wakes;
    StreamCycle cycle(procedures, 2, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer stereo(2, 64);
    spa_io_position position = graph(48000, 64);
    cycle.play(stereo.get(), 0, &position);
    EXPECT_EQ(procedures.last.outputChannels, 2U);
    Buffer wide(6, 64);
    position = graph(44100, 64);
    runRealtime([&] {
        cycle.reshape(44100, 6);
        cycle.play(wide.get(), 0, &position);
    });
    EXPECT_EQ(procedures.count, 1);
    EXPECT_EQ(wide.sample(5, 63), 0.0F);
    cycle.open();
    cycle.play(wide.get(), 0, &position);
    EXPECT_EQ(procedures.count, 2);
    EXPECT_EQ(procedures.last.outputChannels, 6U);
    EXPECT_EQ(procedures.last.nominalRate, 44100.0);
    EXPECT_EQ(procedures.last.sampleTime, 64.0) << "time goes on";
}

TEST(PipeWire_StreamCycle, FillsTheBufferWithAsMuchAsTheGraphAsksFor) {
    NumberedPlayback playback;
    Wakes wakes;
    StreamCycle cycle(playback, 2, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(2, 100);
    spa_io_position position = graph(48000, 64);
    cycle.play(buffer.get(), 0, &position);
    position.clock.nsec += 1;
    cycle.play(buffer.get(), 48, &position);
    for (UInt32 channel = 0; channel < 2; ++channel) {
        EXPECT_EQ(buffer.chunk(channel).offset, 0U);
        EXPECT_EQ(buffer.chunk(channel).size, 48 * sizeof(Float32));
        EXPECT_EQ(buffer.chunk(channel).stride, static_cast<int>(sizeof(Float32)));
        EXPECT_EQ(buffer.sample(channel, 0), numberedSample(64, channel));
        EXPECT_EQ(buffer.sample(channel, 47), numberedSample(64 + 47, channel));
    }
    EXPECT_EQ(playback.frames(), 64U + 48U);
    EXPECT_TRUE(playback.timesWereRight());
}

TEST(PipeWire_StreamCycle, NeverWritesBeyondTheBuffer) {
    NumberedPlayback playback;
    Wakes wakes;
    StreamCycle cycle(playback, 1, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(1, 100);
    const spa_io_position position = graph(48000, 1024);
    buffer.data(0).maxsize = 50 * sizeof(Float32);
    cycle.play(buffer.get(), 1024, &position);
    EXPECT_EQ(playback.frames(), 50U);
    EXPECT_EQ(buffer.sample(0, 50), 99.0F);

    buffer.data(0).data = nullptr;
    cycle.play(buffer.get(), 1024, &position);
    EXPECT_EQ(playback.frames(), 50U);
    EXPECT_EQ(buffer.chunk(0).size, 0U);
}

TEST(PipeWire_StreamCycle, PassesOverABufferWithTooFewBlocks) {
    LastCycle procedures;
    Wakes wakes;
    StreamCycle cycle(procedures, 2, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(1, 100);
    const spa_io_position position = graph(48000, 64);
    cycle.play(buffer.get(), 64, &position);
    cycle.record(buffer.get(), &position);
    EXPECT_EQ(procedures.count, 0);
    EXPECT_EQ(buffer.sample(0, 0), 99.0F);
}

TEST(PipeWire_StreamCycle, HandsOutWhatWasCaptured) {
    KeptRecording recording(2, 100);
    Wakes wakes;
    StreamCycle cycle(recording, 2, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(2, 16);
    for (UInt32 channel = 0; channel < 2; ++channel) {
        buffer.chunk(channel) = {.offset = 2 * sizeof(Float32), .size = 3 * sizeof(Float32), .stride = 4, .flags = 0};
        for (UInt32 frame = 0; frame < 3; ++frame) {
            buffer.sample(channel, 2 + frame) = numberedSample(frame, channel);
        }
    }
    const spa_io_position position = graph(48000, 3);
    cycle.record(buffer.get(), &position);
    EXPECT_EQ(recording.frames(), 3U);
    expectNumberedRounds(recording.interleaved(), 2, {3});
}

TEST(PipeWire_StreamCycle, NeverReadsBeyondTheBuffer) {
    KeptRecording recording(2, 100);
    Wakes wakes;
    StreamCycle cycle(recording, 2, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(2, 16);
    buffer.chunk(0) = {.offset = 10 * sizeof(Float32), .size = 1000, .stride = 4, .flags = 0};
    buffer.chunk(1) = {.offset = 0, .size = 16 * sizeof(Float32), .stride = 4, .flags = 0};
    const spa_io_position position = graph(48000, 16);
    cycle.record(buffer.get(), &position);
    EXPECT_EQ(recording.frames(), 6U);
    buffer.chunk(0).offset = 5000;
    cycle.record(buffer.get(), &position);
    EXPECT_EQ(recording.frames(), 6U) << "nothing lies behind the end";
}

TEST(PipeWire_StreamCycle, SaysWhenAndHowFastItsFramesGo) {
    LastCycle procedures;
    Wakes wakes;
    StreamCycle cycle(procedures, 1, Wakes::wake, &wakes);
    cycle.prepare(44100);
    cycle.open();
    Buffer buffer(1, 64);
    spa_io_position position = graph(44100, 64);
    position.clock.rate_diff = 1.25;
    cycle.play(buffer.get(), 64, &position);
    EXPECT_EQ(procedures.last.sampleTime, 0.0);
    EXPECT_EQ(procedures.last.hostTime, position.clock.nsec);
    EXPECT_EQ(procedures.last.nominalRate, 44100.0);
    EXPECT_EQ(procedures.last.rateScalar, 0.8) << "a clock that runs fast has short frames";
    EXPECT_EQ(procedures.last.outputChannels, 1U);
    EXPECT_EQ(procedures.last.inputChannels, 0U);
    position.clock.rate_diff = 0.0;
    cycle.play(buffer.get(), 64, &position);
    EXPECT_EQ(procedures.last.sampleTime, 64.0);
    EXPECT_EQ(procedures.last.rateScalar, 1.0) << "a clock that does not say";
}

TEST(PipeWire_StreamCycle, WaitsInSilenceUntilTheGraphIsKnown) {
    LastCycle procedures;
    Wakes wakes;
    StreamCycle cycle(procedures, 1, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(1, 64);
    cycle.play(buffer.get(), 64, nullptr);
    EXPECT_EQ(procedures.count, 0);
    EXPECT_FALSE(cycle.hasStarted());
    EXPECT_EQ(buffer.sample(0, 0), 0.0F);
    EXPECT_EQ(buffer.sample(0, 63), 0.0F);
    EXPECT_EQ(wakes.count, 0);
}

TEST(PipeWire_StreamCycle, WaitsInSilenceUntilAllChannelsAreConnected) {
    NumberedPlayback playback;
    Wakes wakes;
    StreamCycle cycle(playback, 1, Wakes::wake, &wakes);
    Buffer buffer(1, 64);
    const spa_io_position position = graph(48000, 64);
    for (const UInt64 playedBefore : {0U, 64U}) { // the second time after the stream was replaced
        cycle.prepare(48000);
        EXPECT_FALSE(cycle.isOpen());
        cycle.play(buffer.get(), 64, &position);
        EXPECT_EQ(buffer.sample(0, 0), 0.0F);
        EXPECT_EQ(playback.frames(), playedBefore);
        cycle.open();
        cycle.play(buffer.get(), 64, &position);
        EXPECT_EQ(playback.frames(), playedBefore + 64);
    }
}

TEST(PipeWire_StreamCycle, PlaysNothingIntoAStreamAtAnotherRateThanTheGraph) {
    NumberedPlayback playback;
    Wakes wakes;
    StreamCycle cycle(playback, 1, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(1, 64);
    spa_io_position position = graph(44100, 64);
    cycle.play(buffer.get(), 64, &position);
    EXPECT_EQ(playback.frames(), 0U);
    EXPECT_EQ(buffer.sample(0, 0), 0.0F);
    EXPECT_EQ(cycle.graphRate(), 44100U);
    EXPECT_EQ(wakes.count, 1) << "the owner is told";
    cycle.play(buffer.get(), 64, &position);
    EXPECT_EQ(wakes.count, 1) << "once";

    cycle.prepare(44100);
    cycle.open();
    cycle.play(buffer.get(), 64, &position);
    EXPECT_EQ(playback.frames(), 64U);
    EXPECT_EQ(playback.rate(), 44100.0);
}

TEST(PipeWire_StreamCycle, WakesItsOwnerOnlyWhenSomethingIsNew) {
    LastCycle procedures;
    Wakes wakes;
    StreamCycle cycle(procedures, 1, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(1, 64);
    const spa_io_position position = graph(48000, 64);
    cycle.play(buffer.get(), 64, &position);
    EXPECT_TRUE(cycle.hasStarted());
    EXPECT_EQ(cycle.graphFrames(), 64U);
    const int before = wakes.count;
    EXPECT_GE(before, 1);
    cycle.play(buffer.get(), 64, &position);
    EXPECT_EQ(wakes.count, before);
    cycle.play(buffer.get(), 32, &position);
    EXPECT_EQ(wakes.count, before + 1);
    EXPECT_EQ(cycle.graphFrames(), 32U);
}

TEST(PipeWire_StreamCycle, IsFinishedWhenTheGraphHasBegunACycleWithoutTheProcedures) {
    NumberedPlayback playback;
    Wakes wakes;
    StreamCycle cycle(playback, 1, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(1, 64);
    const spa_io_position position = graph(48000, 64);
    cycle.play(buffer.get(), 64, &position);
    cycle.finish();
    std::atomic<bool> isFinished{false};
    std::thread waiting([&] {
        cycle.waitUntilFinished(std::chrono::minutes(1));
        isFinished = true;
    });
    EXPECT_FALSE(isFinished);
    cycle.play(buffer.get(), 64, &position);
    waiting.join();
    EXPECT_EQ(playback.frames(), 64U);
    EXPECT_EQ(buffer.sample(0, 0), 0.0F);
}

TEST(PipeWire_StreamCycle, DoesNotWaitForAStreamThatIsGone) {
    LastCycle procedures;
    Wakes wakes;
    StreamCycle cycle(procedures, 1, Wakes::wake, &wakes);
    cycle.finish();
    cycle.abandon();
    cycle.waitUntilFinished(std::chrono::hours(1)); // a minute ends the test
    StreamCycle stuck(procedures, 1, Wakes::wake, &wakes);
    stuck.finish();
    stuck.waitUntilFinished(std::chrono::milliseconds(1)); // nobody ends this but the time
}

TEST(PipeWire_StreamCycle, KeepsTheRealTimeRules) {
    NumberedPlayback playback;
    KeptRecording recording(2, 1024);
    Wakes wakes;
    StreamCycle playing(playback, 2, Wakes::wake, &wakes);
    StreamCycle capturing(recording, 2, Wakes::wake, &wakes);
    playing.prepare(48000);
    playing.open();
    capturing.prepare(48000);
    capturing.open();
    Buffer buffer(2, 256);
    const spa_io_position position = graph(48000, 256);
    const spa_io_position otherRate = graph(44100, 256);
    runRealtime([&] {
        playing.play(buffer.get(), 0, &otherRate);
        playing.play(buffer.get(), 0, &position);
        playing.play(buffer.get(), 128, &position);
        capturing.record(buffer.get(), &position);
        playing.finish();
        playing.play(buffer.get(), 128, &position);
    });
    EXPECT_EQ(playback.frames(), 256U + 128U);
    EXPECT_EQ(recording.frames(), 128U);
}

TEST(PipeWire_StreamCycle, PassesOverWhatTheGraphHasPassedOver) {
    LastCycle procedures;
    Wakes wakes;
    StreamCycle cycle(procedures, 1, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(1, 64);
    buffer.chunk(0) = {.offset = 0, .size = 64 * sizeof(Float32), .stride = 4, .flags = 0};
    spa_io_position position = graph(48000, 64);
    cycle.record(buffer.get(), &position);
    position.clock.nsec += 1'000'000'000;
    position.clock.position += 64 + 640;
    runRealtime([&] { cycle.record(buffer.get(), &position); });
    EXPECT_EQ(procedures.last.sampleTime, 64.0 + 640.0);
    EXPECT_EQ(procedures.last.passedOverFrames, 640U);
    EXPECT_EQ(procedures.last.lostFrames(), 640U);
}

TEST(PipeWire_StreamCycle, CountsWhatIsRenderedAfterTheNextCycleHasBegun) {
    LastCycle procedures;
    Wakes wakes;
    StreamCycle cycle(procedures, 1, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(1, 64);
    spa_io_position position = graph(48000, 64);
    position.clock.next_nsec = position.clock.nsec + 1; // long ago
    runRealtime([&] { cycle.play(buffer.get(), 64, &position); });
    EXPECT_EQ(procedures.last.lostFrames(), 0U);
    position.clock.nsec += 1'000'000;
    position.clock.position += 64;
    position.clock.next_nsec = 0;
    cycle.play(buffer.get(), 64, &position);
    EXPECT_EQ(procedures.last.sampleTime, 64.0);
    EXPECT_EQ(procedures.last.lateFrames, 64U);
}

TEST(PipeWire_StreamCycle, LosesNothingWhileItIsClosed) {
    LastCycle procedures;
    Wakes wakes;
    StreamCycle cycle(procedures, 1, Wakes::wake, &wakes);
    cycle.prepare(48000);
    cycle.open();
    Buffer buffer(1, 64);
    spa_io_position position = graph(48000, 64);
    cycle.play(buffer.get(), 64, &position);
    cycle.close();
    position.clock.nsec += 1'000'000'000;
    position.clock.position += 64;
    cycle.play(buffer.get(), 64, &position);
    cycle.open();
    position.clock.nsec += 1'000'000'000;
    position.clock.position += 640;
    cycle.play(buffer.get(), 64, &position);
    EXPECT_EQ(procedures.last.sampleTime, 64.0);
    EXPECT_EQ(procedures.last.lostFrames(), 0U);
}
