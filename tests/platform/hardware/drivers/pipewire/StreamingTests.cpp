#include "tests/platform/hardware/drivers/pipewire/ClientStream.h"
#include "tests/platform/hardware/drivers/pipewire/NumberedCycles.h"
#include "tests/platform/hardware/drivers/pipewire/OtherRecording.h"
#include "tests/platform/hardware/drivers/pipewire/RecordingHost.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

using namespace braq;
using namespace braq::tests;

namespace {

namespace fs = std::filesystem;

// Long cycles: a machine that is busy and gives no real-time scheduling keeps up with them all the same.
constexpr UInt64 kLongCycle = 4096;
constexpr std::chrono::milliseconds kLongCycleTime{kLongCycle * 1000 / 48000};
constexpr UInt64 kPlayedFrames = 110'000; // more than two seconds

class PipeWire_Streaming : public testing::Test {
  protected:
    void start(const std::string& positions) {
        server.configure("default.clock.quantum", std::to_string(kLongCycle));
        server.configure("default.clock.max-quantum", "8192");
        server.configure("default.clock.allowed-rates", "[ 44100 48000 ]");
        server.keep({.name = "test.sink", .positions = positions});
        server.start();
        host = &RecordingHost::withStartedDriver();
        sink = host->waitForDevice("test.sink");
        monitor = host->waitForDevice("test.sink.monitor");
        ASSERT_NE(sink, nullptr);
        ASSERT_NE(monitor, nullptr);
    }

    PrivateSoundServer server;
    RecordingHost* host = nullptr;
    std::shared_ptr<DriverDevice> sink;
    std::shared_ptr<DriverDevice> monitor;
};

class PipeWire_StreamingTo : public PipeWire_Streaming, public ::testing::WithParamInterface<const char*> {};

UInt32 channelsOf(std::string_view positions) { return static_cast<UInt32>(1 + std::ranges::count(positions, ',')); }

} // namespace

TEST_P(PipeWire_StreamingTo, ASinkBringsItBitForBitFromTheFirstFrameToTheLast) {
    start(GetParam());
    const UInt32 channels = channelsOf(GetParam());
    KeptRecording recording(channels, 3 * kPlayedFrames);
    ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    ASSERT_TRUE(eventually([&] { return playback.frames() >= kPlayedFrames; }));
    sink->stopIO();
    const UInt64 played = playback.frames();
    const UInt64 recorded = recording.frames();
    ASSERT_TRUE(eventually([&] { return recording.frames() >= recorded + 2 * kLongCycle; }));
    monitor->stopIO();

    EXPECT_EQ(playback.frames(), played) << "a cycle ran after the stop";
    EXPECT_TRUE(playback.timesWereRight());
    EXPECT_EQ(playback.rate(), 48000.0);
    EXPECT_EQ(playback.cycleFrames(), kLongCycle);
    expectNumberedRounds(recording.interleaved(), channels, {played}, {playback.lostFrames(), recording.lostFrames()});
}

INSTANTIATE_TEST_SUITE_P(, PipeWire_StreamingTo, ::testing::Values("FL,FR", "FL,FR,FC,LFE,SL,SR"),
                         [](const auto& test) { return std::to_string(channelsOf(test.param)) + "Channels"; });

TEST_F(PipeWire_Streaming, LosesNothingInManyShortRounds) {
    start("FL,FR");
    KeptRecording recording(2, 600'000);
    ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
    std::vector<UInt64> rounds;
    LostFrames lost;
    for (int round = 0; round < 8; ++round) {
        NumberedPlayback playback;
        ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
        sink->stopIO();
        rounds.push_back(playback.frames());
        lost.played += playback.lostFrames();
        EXPECT_GT(playback.frames(), 0U);
        // A round ends where silence is heard, or the next one could not be told from it.
        const UInt64 recorded = recording.frames();
        ASSERT_TRUE(eventually([&] { return recording.frames() >= recorded + 2 * kLongCycle; }));
    }
    monitor->stopIO();
    lost.recorded = recording.lostFrames();
    expectNumberedRounds(recording.interleaved(), 2, rounds, lost);
}

TEST_F(PipeWire_Streaming, IsHeardToTheEndWhenAnotherProgramHoldsTheGraphUp) {
    start("FL,FR");
    // The sink gets what is played together with this program's part, late in the cycle and long after the stop.
    const ClientStream other({.properties = {{"target.object", "test.sink"}}, .timeInCycle = kLongCycleTime / 2});
    ASSERT_TRUE(eventually([&] { return other.cycles() > 0; }));
    KeptRecording recording(2, 600'000);
    ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
    std::vector<UInt64> rounds;
    LostFrames lost;
    for (int round = 0; round < 5; ++round) {
        NumberedPlayback playback;
        ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
        const UInt64 played = playback.frames();
        ASSERT_TRUE(eventually([&] { return playback.frames() > played; }));
        sink->stopIO();
        rounds.push_back(playback.frames());
        lost.played += playback.lostFrames();
        const UInt64 recorded = recording.frames();
        ASSERT_TRUE(eventually([&] { return recording.frames() >= recorded + 2 * kLongCycle; }));
    }
    monitor->stopIO();
    lost.recorded = recording.lostFrames();
    expectNumberedRounds(recording.interleaved(), 2, rounds, lost);
}

TEST_F(PipeWire_Streaming, BringsItBitForBitAfterAChangeOfRate) {
    start("FL,FR");
    ASSERT_EQ(sink->setNominalRate(44100.0), kAudioHardwareNoError);
    // Not yet reported: a stream may be connected at the old rate and find the new one.
    KeptRecording recording(2, 200'000);
    NumberedPlayback playback;
    ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    ASSERT_TRUE(eventually([&] { return playback.frames() >= 50'000; }));
    sink->stopIO();
    const UInt64 recorded = recording.frames();
    ASSERT_TRUE(eventually([&] { return recording.frames() >= recorded + 2 * kLongCycle; }));
    monitor->stopIO();
    EXPECT_EQ(playback.rate(), 44100.0);
    expectNumberedRounds(recording.interleaved(), 2, {playback.frames()},
                         {playback.lostFrames(), recording.lostFrames()});
}

TEST_F(PipeWire_Streaming, IsHeardTheSameByAnotherProgram) {
    start("FL,FR");
    const fs::path file = server.folder() / "other.wav";
    const auto recorder =
        server.spawn({"pw-record", "-P", "{ stream.capture.sink=true stream.dont-remix=true }", "--target", "test.sink",
                      "--rate", "48000", "--channels", "2", "--format", "f32", file});
    ASSERT_TRUE(eventually([&] { return fs::exists(file) && !samplesOf(file).empty(); })) << "it records";
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    ASSERT_TRUE(eventually([&] { return playback.frames() >= kPlayedFrames; }));
    sink->stopIO();
    const std::size_t recorded = samplesOf(file).size();
    ASSERT_TRUE(eventually([&] { return samplesOf(file).size() >= recorded + 8 * kLongCycle; }));
    recorder->signal(SIGTERM);
    recorder->wait();
    expectNumberedRounds(samplesOf(file), 2, {playback.frames()}, {.played = playback.lostFrames()});
}

TEST_F(PipeWire_Streaming, RecordsFromASource) {
    start("FL,FR");
    server.create({.name = "test.source", .positions = "MONO", .mediaClass = "Audio/Source/Virtual"});
    const auto source = host->waitForDevice("test.source");
    ASSERT_NE(source, nullptr);
    KeptRecording recording(1, 100'000);
    ASSERT_EQ(source->startIO(recording), kAudioHardwareNoError);
    EXPECT_TRUE(eventually([&] { return recording.frames() >= 3 * kLongCycle; }));
    source->stopIO();
    const UInt64 recorded = recording.frames();
    EXPECT_EQ(recording.soundFrames(), 0U) << "nothing is played into it";
    ASSERT_EQ(source->startIO(recording), kAudioHardwareNoError);
    EXPECT_TRUE(eventually([&] { return recording.frames() >= recorded + kLongCycle; }));
    source->stopIO();
}

TEST_F(PipeWire_Streaming, StartsAndStopsDevicesFromSeveralThreadsAtOnce) {
    start("FL,FR");
    server.create({.name = "test.other"});
    const auto other = host->waitForDevice("test.other");
    ASSERT_NE(other, nullptr);
    const auto runRounds = [](DriverDevice& device) {
        for (int round = 0; round < 5; ++round) {
            NumberedPlayback playback;
            EXPECT_EQ(device.startIO(playback), kAudioHardwareNoError);
            device.stopIO();
            EXPECT_GT(playback.frames(), 0U);
            EXPECT_TRUE(playback.timesWereRight());
        }
    };
    std::thread one([&] { runRounds(*sink); });
    std::thread two([&] { runRounds(*other); });
    KeptRecording recording(2, 1);
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
        monitor->stopIO();
    }
    one.join();
    two.join();
}
