#include "tests/platform/hardware/drivers/pipewire/ClientStream.h"
#include "tests/platform/hardware/drivers/pipewire/NumberedCycles.h"
#include "tests/platform/hardware/drivers/pipewire/RecordingHost.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

// What a device and the server's graph agree on.

using namespace braq;
using namespace braq::tests;

namespace {

class PipeWire_Graph : public testing::Test {
  protected:
    PipeWire_Graph() {
        server.configure("default.clock.allowed-rates", "[ 44100 48000 ]");
        server.configure("default.clock.quantum", "1024");
        server.configure("default.clock.min-quantum", "64");
        server.configure("default.clock.max-quantum", "8192");
        server.keep({.name = "test.sink"});
        server.start();
        host = &RecordingHost::withStartedDriver();
        sink = host->waitForDevice("test.sink");
        monitor = host->waitForDevice("test.sink.monitor");
    }

    bool waitForRate(Float64 rate, const std::string& uid = "test.sink") {
        return host->waitUntil([&] {
            const auto* const device = host->find(uid);
            return device != nullptr && device->description.nominalRate == rate;
        });
    }
    bool waitForBufferFrames(UInt32 frames) {
        return host->waitUntil([&] {
            const auto* const device = host->find("test.sink");
            return device != nullptr && device->description.bufferFrames == frames;
        });
    }

    PrivateSoundServer server;
    RecordingHost* host = nullptr;
    std::shared_ptr<DriverDevice> sink;
    std::shared_ptr<DriverDevice> monitor;
};

} // namespace

TEST_F(PipeWire_Graph, ChangesItsRateWhenAskedAndReportsIt) {
    ASSERT_NE(sink, nullptr);
    EXPECT_EQ(host->description("test.sink")->nominalRate, 48000.0);
    EXPECT_EQ(sink->setNominalRate(44100.0), kAudioHardwareNoError);
    EXPECT_TRUE(waitForRate(44100.0));
    EXPECT_TRUE(waitForRate(44100.0, "test.sink.monitor")) << "one graph, one rate";
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    EXPECT_EQ(playback.rate(), 44100.0);
    sink->stopIO();
    EXPECT_EQ(sink->setNominalRate(48000.0), kAudioHardwareNoError);
    EXPECT_TRUE(waitForRate(48000.0));
}

TEST_F(PipeWire_Graph, AsksForARateWithItsStreamAndLeavesTheServersSettingsAlone) {
    ASSERT_NE(sink, nullptr);
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    ASSERT_EQ(sink->setNominalRate(44100.0), kAudioHardwareNoError);
    ASSERT_TRUE(eventually([&] { return playback.rate() == 44100.0; }));
    const std::string settings = server.run({"pw-metadata", "-n", "settings"});
    EXPECT_NE(settings.find("key:'clock.force-rate' value:'0'"), std::string::npos) << settings;
    sink->stopIO();
}

TEST_F(PipeWire_Graph, RunsAtThePreferredRateWhenNobodyElseUsesTheDevice) {
    ASSERT_NE(sink, nullptr);
    for (const Float64 rate : {44100.0, 48000.0, 44100.0, 32000.0}) {
        const Float64 had = rate == 32000.0 ? 48000.0 : rate; // one that is not allowed is not had
        sink->preferRate(rate);
        EXPECT_EQ(host->description("test.sink")->nominalRate, had) << "before it starts";
        NumberedPlayback playback;
        ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
        EXPECT_EQ(playback.rate(), had);
        EXPECT_EQ(host->description("test.sink")->nominalRate, had);
        sink->stopIO();
    }
}

TEST_F(PipeWire_Graph, LeavesItsRateAsItIsWhenOthersUseTheDevice) {
    ASSERT_NE(sink, nullptr);
    const ClientStream other({.properties = {{"target.object", "test.sink"}}});
    ASSERT_TRUE(host->waitUntil([&] { return host->find("test.sink")->description.isRunningSomewhere; }));
    sink->preferRate(44100.0);
    EXPECT_EQ(host->description("test.sink")->nominalRate, 48000.0);
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    EXPECT_EQ(playback.rate(), 48000.0);
    sink->stopIO();
}

TEST_F(PipeWire_Graph, KeepsARateThatWasSetWhateverIsPreferred) {
    ASSERT_NE(sink, nullptr);
    ASSERT_EQ(sink->setNominalRate(48000.0), kAudioHardwareNoError);
    sink->preferRate(44100.0);
    EXPECT_EQ(host->description("test.sink")->nominalRate, 48000.0);
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    EXPECT_EQ(playback.rate(), 48000.0);
    sink->stopIO();
}

TEST_F(PipeWire_Graph, RefusesARateWhileSomebodyForcesAnother) {
    ASSERT_NE(sink, nullptr);
    server.run({"pw-metadata", "-n", "settings", "0", "clock.force-rate", "44100"});
    ASSERT_TRUE(waitForRate(44100.0));
    EXPECT_EQ(sink->setNominalRate(48000.0), kAudioHardwareUnsupportedOperationError);
    EXPECT_EQ(sink->setNominalRate(44100.0), kAudioHardwareNoError);
}

TEST_F(PipeWire_Graph, RefusesARateThatTheServerDoesNotAllow) {
    ASSERT_NE(sink, nullptr);
    EXPECT_EQ(sink->setNominalRate(96000.0), kAudioDeviceUnsupportedFormatError);
    EXPECT_EQ(sink->setNominalRate(0.0), kAudioDeviceUnsupportedFormatError);
    EXPECT_EQ(sink->setNominalRate(44100.5), kAudioDeviceUnsupportedFormatError);
    EXPECT_EQ(host->description("test.sink")->nominalRate, 48000.0);
}

TEST_F(PipeWire_Graph, ChangesItsRateUnderARunningStream) {
    ASSERT_NE(sink, nullptr);
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    EXPECT_EQ(playback.rate(), 48000.0);
    for (const Float64 rate : {44100.0, 48000.0, 44100.0}) {
        ASSERT_EQ(sink->setNominalRate(rate), kAudioHardwareNoError);
        EXPECT_TRUE(eventually([&] { return playback.rate() == rate; }));
        EXPECT_TRUE(waitForRate(rate));
        const UInt64 played = playback.frames();
        EXPECT_TRUE(eventually([&] { return playback.frames() > played + 8192; })) << "it goes on";
    }
    sink->stopIO();
    EXPECT_TRUE(playback.timesWereRight()) << "sample time goes on across a change";
}

TEST_F(PipeWire_Graph, FollowsARateThatSomebodyElseForces) {
    ASSERT_NE(sink, nullptr);
    server.run({"pw-metadata", "-n", "settings", "0", "clock.force-rate", "44100"});
    EXPECT_TRUE(waitForRate(44100.0));
    server.run({"pw-metadata", "-n", "settings", "0", "clock.force-rate", "0"});
    EXPECT_TRUE(waitForRate(48000.0));
}

TEST_F(PipeWire_Graph, ChangesTheLengthOfCyclesWhenAskedAndReportsIt) {
    ASSERT_NE(sink, nullptr);
    EXPECT_EQ(host->description("test.sink")->bufferFrames, 1024U);
    EXPECT_EQ(sink->setBufferFrames(512), kAudioHardwareNoError);
    EXPECT_TRUE(waitForBufferFrames(512));
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    EXPECT_TRUE(eventually([&] { return playback.cycleFrames() == 512; }));
    EXPECT_EQ(sink->setBufferFrames(2048), kAudioHardwareNoError);
    EXPECT_TRUE(eventually([&] { return playback.cycleFrames() == 2048; }));
    EXPECT_TRUE(waitForBufferFrames(2048));
    sink->stopIO();
    EXPECT_TRUE(waitForBufferFrames(2048)) << "it is asked for again next time";
}

TEST_F(PipeWire_Graph, ReportsTheLengthOfCyclesThatTheGraphReallyHas) {
    ASSERT_NE(sink, nullptr);
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    server.run({"pw-metadata", "-n", "settings", "0", "clock.force-quantum", "4096"});
    EXPECT_TRUE(eventually([&] { return playback.cycleFrames() == 4096; }));
    EXPECT_TRUE(waitForBufferFrames(4096));
    sink->stopIO();
}

TEST_F(PipeWire_Graph, HasOneStreamADeviceAndDirectionNamedAfterTheApplication) {
    ASSERT_NE(sink, nullptr);
    NumberedPlayback playback;
    KeptRecording recording(2, 1);
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
    const std::string nodes = server.run({"pw-cli", "ls", "Node"});
    const auto countOf = [&](const std::string& text) {
        int count = 0;
        for (auto at = nodes.find(text); at != std::string::npos; at = nodes.find(text, at + 1)) {
            ++count;
        }
        return count;
    };
    EXPECT_EQ(countOf("media.class = \"Stream/Output/Audio\""), 1) << nodes;
    EXPECT_EQ(countOf("media.class = \"Stream/Input/Audio\""), 1) << nodes;
    EXPECT_EQ(countOf("node.name = \"" + std::string(program_invocation_short_name) + "\""), 2) << nodes;
    sink->stopIO();
    monitor->stopIO();
    EXPECT_EQ(server.run({"pw-cli", "ls", "Node"}).find("Stream/"), std::string::npos);
}
