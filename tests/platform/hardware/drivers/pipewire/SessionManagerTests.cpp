#include "tests/platform/hardware/drivers/pipewire/ClientStream.h"
#include "tests/platform/hardware/drivers/pipewire/NumberedCycles.h"
#include "tests/platform/hardware/drivers/pipewire/RecordingHost.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

// Streams are connected to devices by the server's session manager, which is a program of its own.

using namespace braq;
using namespace braq::tests;
using std::chrono::steady_clock;

namespace {

class PipeWire_SessionManager : public testing::Test {
  protected:
    PipeWire_SessionManager() { server.keep({.name = "test.sink"}); }

    bool hasLogged(const std::string& text) const {
        const auto lines = log.lines();
        return std::ranges::any_of(lines,
                                   [&](const std::string& line) { return line.find(text) != std::string::npos; });
    }

    const CapturedLog log;
    PrivateSoundServer server;
};

} // namespace

TEST_F(PipeWire_SessionManager, IsMissedSoonWhenThereIsNone) {
    server.startWithoutSessionManager();
    const auto sink = RecordingHost::withStartedDriver().waitForDevice("test.sink");
    ASSERT_NE(sink, nullptr);
    NumberedPlayback playback;
    const auto begin = steady_clock::now();
    EXPECT_EQ(sink->startIO(playback), kAudioHardwareNotRunningError);
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_TRUE(hasLogged("no session manager is running"));
}

TEST_F(PipeWire_SessionManager, LetsADeviceStartOnceItIsThere) {
    server.startWithoutSessionManager();
    const auto sink = RecordingHost::withStartedDriver().waitForDevice("test.sink");
    ASSERT_NE(sink, nullptr);
    server.startSessionManager();
    NumberedPlayback playback;
    EXPECT_TRUE(eventually([&] { return sink->startIO(playback) == kAudioHardwareNoError; }));
    EXPECT_TRUE(eventually([&] { return playback.frames() > 4096; }));
    sink->stopIO();
}

TEST_F(PipeWire_SessionManager, ThatIsBackHasWhatPlaysAndRecordsGoOn) {
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    const auto sink = host.waitForDevice("test.sink");
    const auto monitor = host.waitForDevice("test.sink.monitor");
    ASSERT_NE(sink, nullptr);
    ASSERT_NE(monitor, nullptr);
    // What the session manager does for any program.
    const ClientStream other({.properties = {{"target.object", "test.sink"}}});
    NumberedPlayback playback;
    KeptRecording recording(2, 1);
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
    server.killSessionManager();
    EXPECT_TRUE(host.waitUntil([&] { return host.outputUID().empty(); }));
    EXPECT_TRUE(eventually([&] { return hasLogged("the session manager has ended"); }));
    server.startSessionManager();
    const auto back = steady_clock::now();
    const UInt64 played = playback.frames();
    const UInt64 recorded = recording.frames();
    const int cycles = other.cycles();
    const auto isBack = [&] { return playback.frames() > played && recording.frames() > recorded; };
    while (!isBack() && steady_clock::now() - back < std::chrono::seconds(3)) { // of which two are for a busy machine
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    if (!isBack() && other.cycles() == cycles) {
        sink->stopIO();
        monitor->stopIO();
        GTEST_SKIP() << "not shown: this session manager connects no program that was there before it";
    }
    EXPECT_TRUE(isBack());
    const UInt64 heard = recording.soundFrames();
    EXPECT_TRUE(eventually([&] { return recording.soundFrames() > heard + 48000; })) << "it is heard";
    sink->stopIO();
    monitor->stopIO();
    EXPECT_TRUE(playback.timesWereRight());
}

TEST_F(PipeWire_SessionManager, ThatDoesNotComeBackHasWhatPlaysAndRecordsStop) {
    server.start();
    RecordingHost& host = RecordingHost::withStartedDriver();
    const auto sink = host.waitForDevice("test.sink");
    const auto monitor = host.waitForDevice("test.sink.monitor");
    ASSERT_NE(sink, nullptr);
    ASSERT_NE(monitor, nullptr);
    NumberedPlayback playback;
    KeptRecording recording(2, 1);
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
    const auto begin = steady_clock::now();
    server.killSessionManager();
    const auto stops = [&](const char* uid) {
        const auto* const told = host.find(uid);
        return told != nullptr ? told->stops : 0;
    };
    EXPECT_TRUE(host.waitUntil([&] { return stops("test.sink") == 1 && stops("test.sink.monitor") == 1; }));
    EXPECT_GE(steady_clock::now() - begin, std::chrono::seconds(4)) << "one that is restarted has time to come back";
    EXPECT_LT(steady_clock::now() - begin, std::chrono::seconds(15));
    EXPECT_TRUE(eventually([&] { return hasLogged("has not got them back, and has stopped"); }));
    sink->stopIO();
    monitor->stopIO();
    EXPECT_EQ(sink->startIO(playback), kAudioHardwareNotRunningError) << "as without one from the beginning";
}
