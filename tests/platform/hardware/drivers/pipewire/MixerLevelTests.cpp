#include "tests/platform/hardware/drivers/pipewire/ClientStream.h"
#include "tests/platform/hardware/drivers/pipewire/NumberedCycles.h"
#include "tests/platform/hardware/drivers/pipewire/RecordingHost.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/PrivateSoundServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

// The level that a user sets in a mixer.

using namespace braq;
using namespace braq::tests;

namespace {

namespace fs = std::filesystem;

class PipeWire_MixerLevel : public testing::Test {
  protected:
    PipeWire_MixerLevel() {
        server.keep({.name = "test.sink"});
        server.start();
        host = &RecordingHost::withStartedDriver();
        sink = host->waitForDevice("test.sink");
    }

    /// The first node with all of `texts` among its properties, as `pw-cli` counts.
    std::string idOfNode(const std::vector<std::string>& texts) {
        std::istringstream nodes(server.run({"pw-cli", "ls", "Node"}));
        std::string id;
        std::size_t found = 0;
        for (std::string line; found < texts.size() && std::getline(nodes, line);) {
            if (const auto type = line.find(", type "); type != std::string::npos) {
                id = line.substr(line.find("id ") + 3, type - line.find("id ") - 3);
                found = 0;
            }
            for (const std::string& text : texts) {
                found += line.find(text) != std::string::npos ? 1 : 0;
            }
        }
        return found == texts.size() ? id : "";
    }
    std::string idOfOwnStream() {
        return idOfNode({"media.class = \"Stream/Output/Audio\"",
                         "node.name = \"" + std::string(program_invocation_short_name) + "\""});
    }
    void setProperties(const std::string& node, const std::string& properties) {
        server.run({"pw-cli", "set-param", node, "Props", properties});
    }
    bool waitForLevel(Float32 level) {
        return host->waitUntil([&] {
            const auto* const device = host->find("test.sink");
            return device != nullptr && device->description.playback.mixerLevel == level;
        });
    }
    /// Whether what the session manager keeps for the next time has that text.
    bool isKept(const std::string& text) const {
        for (const auto& file : fs::recursive_directory_iterator(server.folder() / "state")) {
            std::ostringstream content;
            content << std::ifstream(file.path()).rdbuf();
            if (content.str().find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    bool hasLogged(const std::string& text) const {
        const auto lines = log.lines();
        return std::ranges::any_of(lines,
                                   [&](const std::string& line) { return line.find(text) != std::string::npos; });
    }

    const CapturedLog log;
    PrivateSoundServer server;
    RecordingHost* host = nullptr;
    std::shared_ptr<DriverDevice> sink;
};

} // namespace

TEST_F(PipeWire_MixerLevel, IsNotThatOfAnotherProgramWhichPlaysMusic) {
    ASSERT_NE(sink, nullptr);
    {
        const ClientStream other({.properties = {{"target.object", "test.sink"},
                                                 {"media.role", "Music"},
                                                 {"application.name", "another program"}}});
        ASSERT_TRUE(eventually([&] { return other.cycles() > 0; }));
        setProperties(idOfNode({"media.role = \"Music\""}), "{ channelVolumes = [ 0.125, 0.125 ] }");
        ASSERT_TRUE(eventually([&] { return isKept("0.125"); }));
    }
    KeptRecording recording(2, 300'000);
    NumberedPlayback playback;
    const auto monitor = host->waitForDevice("test.sink.monitor");
    ASSERT_EQ(monitor->startIO(recording), kAudioHardwareNoError);
    ASSERT_EQ(sink->startIO(playback), kAudioHardwareNoError);
    EXPECT_TRUE(eventually([&] { return playback.frames() > 48000; }));
    sink->stopIO();
    const UInt64 recorded = recording.frames();
    ASSERT_TRUE(eventually([&] { return recording.frames() >= recorded + 8192; }));
    monitor->stopIO();
    expectNumberedRounds(recording.interleaved(), 2, {playback.frames()},
                         {playback.lostFrames(), recording.lostFrames()});
    EXPECT_EQ(host->description("test.sink")->playback.mixerLevel, 1.0F);
}

TEST_F(PipeWire_MixerLevel, IsKeptForTheNextTimeAndReported) {
    ASSERT_NE(sink, nullptr);
    NumberedPlayback first;
    ASSERT_EQ(sink->startIO(first), kAudioHardwareNoError);
    EXPECT_EQ(host->description("test.sink")->playback.mixerLevel, 1.0F);
    setProperties(idOfOwnStream(), "{ channelVolumes = [ 0.25, 0.125 ] }");
    EXPECT_TRUE(waitForLevel(0.25F)) << "that of the loudest channel";
    EXPECT_TRUE(eventually([&] { return hasLogged("the mixer has this program at 25.0 % of its level"); }));
    setProperties(idOfOwnStream(), "{ mute = true }");
    EXPECT_TRUE(waitForLevel(0.0F));
    setProperties(idOfOwnStream(), "{ mute = false, channelVolumes = [ 0.5, 0.5 ] }");
    EXPECT_TRUE(waitForLevel(0.5F));
    ASSERT_TRUE(eventually([&] { return isKept(program_invocation_short_name) && isKept("0.5"); }));
    sink->stopIO();

    // The next time, of another process as far as the server knows.
    server.kill();
    ASSERT_TRUE(host->waitUntilGone("test.sink"));
    server.start();
    const auto again = host->waitForDevice("test.sink");
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(host->description("test.sink")->playback.mixerLevel, 1.0F) << "nothing is known before it plays";
    NumberedPlayback second;
    ASSERT_EQ(again->startIO(second), kAudioHardwareNoError);
    EXPECT_TRUE(waitForLevel(0.5F));
    again->stopIO();
}
