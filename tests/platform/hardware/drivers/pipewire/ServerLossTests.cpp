#include "tests/platform/hardware/drivers/pipewire/NumberedCycles.h"
#include "tests/platform/hardware/drivers/pipewire/RecordingHost.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>

using namespace braq;
using namespace braq::tests;
using std::chrono::steady_clock;

namespace {

class PipeWire_ServerLoss : public testing::Test {
  protected:
    PipeWire_ServerLoss() { server.keep({.name = "test.sink"}); }

    PrivateSoundServer server;
};

// Out of paragraphs that begin with `id 43, type …` and have a line for each property.
std::string idOfPlaybackStream(const std::string& nodes) {
    const auto property = nodes.find("media.class = \"Stream/Output/Audio\"");
    EXPECT_NE(property, std::string::npos) << nodes;
    const auto begin = nodes.rfind("id ", nodes.rfind(", type ", property)) + 3;
    return nodes.substr(begin, nodes.find(',', begin) - begin);
}

} // namespace

TEST_F(PipeWire_ServerLoss, EndsRunningStreamsWithoutHangingAndBringsTheDevicesBack) {
    const CapturedLog log;
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    for (int round = 0; round < 3; ++round) {
        const auto sink = host.waitForDevice("test.sink");
        const auto monitor = host.waitForDevice("test.sink.monitor");
        ASSERT_NE(sink, nullptr);
        ASSERT_NE(monitor, nullptr);
        KeptRecording recording(2, 1);
        NumberedPlayback playback;
        ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
        ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
        ASSERT_TRUE(eventually([&] { return playback.frames() > 0 && recording.frames() > 0; }));

        server.kill();
        EXPECT_TRUE(host.waitUntilGone("test.sink"));
        EXPECT_TRUE(host.waitUntilGone("test.sink.monitor"));
        EXPECT_TRUE(host.waitUntil([&] { return host.serverIsThere() == false; }));
        EXPECT_TRUE(host.waitUntil([&] { return host.outputUID().empty(); }));
        const UInt64 played = playback.frames();
        const UInt64 recorded = recording.frames();
        const auto begin = steady_clock::now();
        sink->stopIO();
        monitor->stopIO();
        EXPECT_LT(steady_clock::now() - begin, std::chrono::milliseconds(400)) << "there is nothing to wait for";
        EXPECT_EQ(playback.frames(), played);
        EXPECT_EQ(recording.frames(), recorded);
        EXPECT_EQ(sink->startIO(playback), kAudioHardwareBadDeviceError) << "it does not come back as this object";
        EXPECT_EQ(sink->setNominalRate(48000.0), kAudioHardwareBadDeviceError);
        EXPECT_EQ(sink->setBufferFrames(512), kAudioHardwareBadDeviceError);

        server.startWithoutWaiting();
        const auto back = steady_clock::now();
        ASSERT_NE(host.waitForDevice("test.sink"), nullptr);
        EXPECT_LT(steady_clock::now() - back, std::chrono::seconds(1));
        EXPECT_TRUE(host.waitUntil([&] { return host.serverIsThere() == true; }));
    }
    EXPECT_LE(log.lines().size(), 1U + 3U) << "a line for each loss, and what scheduling I/O threads have";
}

TEST_F(PipeWire_ServerLoss, PlaysOnTheServerThatHasComeBack) {
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    ASSERT_NE(host.waitForDevice("test.sink"), nullptr);
    server.kill();
    ASSERT_TRUE(host.waitUntilGone("test.sink"));
    server.start();
    const auto sink = host.waitForDevice("test.sink");
    ASSERT_NE(sink, nullptr);
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    EXPECT_TRUE(eventually([&] { return playback.frames() > 4096; }));
    sink->stopIO();
}

TEST_F(PipeWire_ServerLoss, EndsAStartThatIsUnderWay) {
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    const auto sink = host.waitForDevice("test.sink");
    ASSERT_NE(sink, nullptr);
    server.kill();
    NumberedPlayback playback;
    // Before or after the driver has noticed: both are refused, and soon.
    const auto begin = steady_clock::now();
    EXPECT_EQ(sink->startIO(playback), kAudioHardwareBadDeviceError);
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(playback.frames(), 0U);
}

TEST_F(PipeWire_ServerLoss, EndsTheStreamOfADeviceThatVanishes) {
    server.start();
    server.create({.name = "test.gone"});
    RecordingHost& host = RecordingHost::withStartedDriver();
    const auto sink = host.waitForDevice("test.gone");
    const auto monitor = host.waitForDevice("test.gone.monitor");
    const auto other = host.waitForDevice("test.sink");
    ASSERT_NE(sink, nullptr);
    ASSERT_NE(monitor, nullptr);
    ASSERT_NE(other, nullptr);
    NumberedPlayback playback;
    NumberedPlayback elsewhere;
    KeptRecording recording(2, 1);
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
    ASSERT_EQ(other->startIO(elsewhere), kAudioHardwareNoError);

    server.destroy("test.gone");
    ASSERT_TRUE(host.waitUntilGone("test.gone"));
    ASSERT_TRUE(host.waitUntilGone("test.gone.monitor"));
    const UInt64 played = playback.frames();
    const UInt64 playedElsewhere = elsewhere.frames();
    EXPECT_TRUE(eventually([&] { return elsewhere.frames() > playedElsewhere + 4096; })) << "the other one goes on";
    EXPECT_EQ(playback.frames(), played) << "it was moved to another device";
    sink->stopIO();
    monitor->stopIO();
    other->stopIO();
    EXPECT_EQ(sink->startIO(playback), kAudioHardwareBadDeviceError);
}

TEST_F(PipeWire_ServerLoss, TakesAConnectionThatTheServerEndsForALoss) {
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    const auto sink = host.waitForDevice("test.sink");
    ASSERT_NE(sink, nullptr);
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    server.destroyObject(program_invocation_short_name); // the client
    EXPECT_TRUE(host.waitUntil([&] {
        const auto* const device = host.find("test.sink");
        return device != nullptr && device->device != sink;
    })) << "another object under the same UID";
    sink->stopIO();
}

TEST_F(PipeWire_ServerLoss, ConnectsAStreamAgainThatSomebodyElseHasRemoved) {
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    const auto sink = host.waitForDevice("test.sink");
    ASSERT_NE(sink, nullptr);
    NumberedPlayback playback;
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    server.destroyObject(idOfPlaybackStream(server.run({"pw-cli", "ls", "Node"})));
    const UInt64 played = playback.frames();
    EXPECT_TRUE(eventually([&] { return playback.frames() > played + 48000; }));
    sink->stopIO();
    EXPECT_TRUE(playback.timesWereRight());
}
