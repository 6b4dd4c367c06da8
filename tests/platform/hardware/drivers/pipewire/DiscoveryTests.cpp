#include "tests/platform/hardware/drivers/pipewire/LatentDevice.h"
#include "tests/platform/hardware/drivers/pipewire/RecordingHost.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PrivateSoundServer.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>

using namespace braq;
using namespace braq::tests;
using std::chrono::steady_clock;
using testing::ElementsAre;

namespace {

class PipeWire_Discovery : public testing::Test {
  protected:
    PrivateSoundServer server;
};

} // namespace

TEST_F(PipeWire_Discovery, DescribesSinksSourcesAndMonitors) {
    server.configure("default.clock.rate", "44100");
    server.configure("default.clock.allowed-rates", "[ 44100 48000 ]");
    server.configure("default.clock.quantum", "512");
    server.configure("default.clock.min-quantum", "64");
    server.configure("default.clock.max-quantum", "2048");
    server.keep({.name = "test.sink", .positions = "FL,FR,FC,LFE,RL,RR", .more = "node.description=\"Six channels\""});
    server.keep({.name = "test.source", .positions = "MONO", .mediaClass = "Audio/Source/Virtual"});
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    ASSERT_TRUE(host.waitUntil([&] { return host.uids().size() == 3; }));

    const auto sink = host.description("test.sink");
    ASSERT_TRUE(sink);
    EXPECT_EQ(sink->name, "Six channels");
    EXPECT_EQ(sink->transportType, kAudioDeviceTransportTypeVirtual);
    EXPECT_EQ(sink->playback.streams, (std::vector<DeviceStream>{{.channels = 6}}));
    EXPECT_THAT(sink->playback.positions,
                ElementsAre(ChannelPosition::frontLeft, ChannelPosition::frontRight, ChannelPosition::frontCenter,
                            ChannelPosition::lowFrequency, ChannelPosition::rearLeft, ChannelPosition::rearRight));
    EXPECT_EQ(sink->record, DeviceDirection());
    EXPECT_EQ(sink->nominalRate, 44100.0);
    ASSERT_EQ(sink->rates.size(), 2U);
    EXPECT_EQ(sink->rates[1].mMaximum, 48000.0);
    EXPECT_EQ(sink->bufferFrames, 512U);
    EXPECT_EQ(sink->minimumBufferFrames, 64U);
    EXPECT_EQ(sink->maximumBufferFrames, 2048U);
    EXPECT_FALSE(sink->isRunningSomewhere);

    const auto monitor = host.description("test.sink.monitor");
    ASSERT_TRUE(monitor);
    EXPECT_EQ(monitor->name, "Monitor of Six channels");
    EXPECT_EQ(monitor->record.streams, sink->playback.streams);
    EXPECT_EQ(monitor->record.positions, sink->playback.positions);
    EXPECT_EQ(monitor->playback, DeviceDirection());

    const auto source = host.description("test.source");
    ASSERT_TRUE(source);
    EXPECT_EQ(source->name, "test.source");
    EXPECT_EQ(source->record.streams, (std::vector<DeviceStream>{{.channels = 1}}));
    EXPECT_THAT(source->record.positions, ElementsAre(ChannelPosition::mono));
    EXPECT_EQ(source->playback, DeviceDirection());
}

TEST_F(PipeWire_Discovery, HasPublishedWhatIsThereWhenTheStartReturns) {
    server.keep({.name = "test.sink"});
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    EXPECT_TRUE(host.description("test.sink"));
    EXPECT_TRUE(host.description("test.sink.monitor"));
    EXPECT_TRUE(host.waitUntil([&] { return host.serverIsThere() == true; }));
}

TEST_F(PipeWire_Discovery, FollowsDevicesAsTheyComeAndGo) {
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    server.create({.name = "test.one"});
    ASSERT_NE(host.waitForDevice("test.one"), nullptr);
    ASSERT_NE(host.waitForDevice("test.one.monitor"), nullptr);
    server.create({.name = "test.two", .mediaClass = "Audio/Source/Virtual"});
    ASSERT_NE(host.waitForDevice("test.two"), nullptr);
    server.destroy("test.one");
    EXPECT_TRUE(host.waitUntilGone("test.one"));
    EXPECT_TRUE(host.waitUntilGone("test.one.monitor"));
    EXPECT_TRUE(host.description("test.two"));
    server.create({.name = "test.one", .positions = "MONO"});
    ASSERT_NE(host.waitForDevice("test.one"), nullptr);
    EXPECT_EQ(host.description("test.one")->playback.channels(), 1U) << "what it is now, not what it was";
}

TEST_F(PipeWire_Discovery, FollowsTheDefaults) {
    server.keep({.name = "test.one"});
    server.keep({.name = "test.two"});
    // Newer session managers take the monitor of a sink for as good a source.
    server.keep({.name = "test.mic", .mediaClass = "Audio/Source/Virtual", .more = "priority.session=2000"});
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    server.setDefaultSink("test.one");
    EXPECT_TRUE(host.waitUntil([&] { return host.outputUID() == "test.one"; }));
    server.setDefaultSink("test.two");
    EXPECT_TRUE(host.waitUntil([&] { return host.outputUID() == "test.two"; }));
    EXPECT_TRUE(host.waitUntil([&] { return host.inputUID() == "test.mic"; })) << "the best source";
    server.destroy("test.two");
    EXPECT_TRUE(host.waitUntil([&] { return host.outputUID() == "test.one"; })) << "the one that is left";
}

TEST_F(PipeWire_Discovery, TakesASinkThatIsTheDefaultSourceAsItsMonitor) {
    server.keep({.name = "test.sink"});
    server.keep({.name = "test.mic", .mediaClass = "Audio/Source/Virtual"});
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    server.setDefaultSource("test.sink");
    EXPECT_TRUE(host.waitUntil([&] { return host.inputUID() == "test.sink.monitor"; }));
    server.setDefaultSource("test.mic");
    EXPECT_TRUE(host.waitUntil([&] { return host.inputUID() == "test.mic"; }));
}

TEST_F(PipeWire_Discovery, LeavesOutASecondDeviceOfTheSameNameUntilTheFirstIsGone) {
    const CapturedLog log;
    server.keep({.name = "test.sink"});
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    ASSERT_NE(host.waitForDevice("test.sink"), nullptr);
    server.create({.name = "test.sink", .positions = "MONO"});
    const auto refusals = [&] {
        const auto lines = log.lines();
        return std::ranges::count_if(lines, [](const std::string& line) {
            return line.find("another device is called test.sink ") != std::string::npos;
        });
    };
    ASSERT_TRUE(eventually([&] { return refusals() == 1; }));
    EXPECT_EQ(host.description("test.sink")->playback.channels(), 2U);
    server.destroy("test.sink"); // the older one
    EXPECT_TRUE(host.waitUntil([&] {
        const auto* const device = host.find("test.sink");
        return device != nullptr && device->description.playback.channels() == 1;
    }));
    EXPECT_EQ(refusals(), 1);
}

TEST_F(PipeWire_Discovery, SaysWhenAnotherProcessUsesADevice) {
    server.keep({.name = "test.sink"});
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    ASSERT_NE(host.waitForDevice("test.sink"), nullptr);
    const auto isRunning = [&] {
        const auto* const device = host.find("test.sink");
        return device != nullptr && device->description.isRunningSomewhere;
    };
    const auto other = server.spawn(
        {"pw-record", "-P", "{ stream.capture.sink=true }", "--target", "test.sink", server.folder() / "other.wav"});
    EXPECT_TRUE(host.waitUntil(isRunning));
    other->signal(SIGTERM);
    EXPECT_TRUE(host.waitUntil([&] { return !isRunning(); }));
}

TEST_F(PipeWire_Discovery, ReportsTheLatencyOfADevice) {
    server.keep({.name = "test.sink"});
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    ASSERT_NE(host.waitForDevice("test.sink"), nullptr);
    const auto isACycle = [&] {
        const auto* const sink = host.find("test.sink");
        return sink != nullptr && sink->description.bufferFrames != 0 &&
               sink->description.playback.latencyFrames == sink->description.bufferFrames;
    };
    EXPECT_TRUE(host.waitUntil(isACycle)) << "a sink that drives the graph, whose ports tell of none";
    spa_latency_info latency{};
    latency.direction = SPA_DIRECTION_INPUT;
    latency.max_ns = 10'000'000;
    latency.max_rate = 100;
    const LatentDevice speaker("test.speaker", latency);
    latency.direction = SPA_DIRECTION_OUTPUT;
    latency.max_ns = 20'000'000;
    latency.max_rate = 7;
    const LatentDevice microphone("test.microphone", latency);
    EXPECT_TRUE(host.waitUntil([&] {
        const auto* const device = host.find("test.speaker");
        return device != nullptr && device->description.playback.latencyFrames == 100 + 480;
    })) << host.description("test.speaker")->playback.latencyFrames;
    EXPECT_TRUE(host.waitUntil([&] {
        const auto* const device = host.find("test.microphone");
        return device != nullptr && device->description.record.latencyFrames == 7 + 960;
    })) << host.description("test.microphone")->record.latencyFrames;
}

TEST_F(PipeWire_Discovery, StartsAtOnceWithoutAServerAndFindsItWhenItComes) {
    const auto begin = steady_clock::now();
    RecordingHost& host = RecordingHost::withStartedDriver();
    EXPECT_LT(steady_clock::now() - begin, std::chrono::milliseconds(900)) << "it is clear at once that there is none";
    EXPECT_TRUE(host.waitUntil([&] { return host.serverIsThere() == false; }));
    EXPECT_TRUE(host.waitUntil([&] { return host.uids().empty(); }));

    server.keep({.name = "test.sink"});
    server.start();
    EXPECT_NE(host.waitForDevice("test.sink"), nullptr);
    EXPECT_TRUE(host.waitUntil([&] { return host.serverIsThere() == true; }));
}

TEST_F(PipeWire_Discovery, WaitsABoundedTimeForAServerThatDoesNotAnswer) {
    const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, (server.folder() / "runtime/pipewire-0").c_str(), sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(listening, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(listening, 1), 0);

    const auto begin = steady_clock::now();
    RecordingHost& host = RecordingHost::withStartedDriver();
    const auto took = steady_clock::now() - begin;
    EXPECT_GE(took, std::chrono::milliseconds(900)) << "it might still have answered";
    EXPECT_LT(took, std::chrono::seconds(3));
    EXPECT_TRUE(host.waitUntil([&] { return host.serverIsThere() != true; }));

    close(listening);
    unlink(address.sun_path);
    server.keep({.name = "test.sink"});
    server.start();
    EXPECT_NE(host.waitForDevice("test.sink"), nullptr);
}
