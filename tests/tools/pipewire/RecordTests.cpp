#include "tests/tools/pipewire/Sound.h"
#include "tests/tools/pipewire/ToolFixture.h"

#include <gmock/gmock.h>

#include <cmath>
#include <csignal>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace tool_test;
using braq::testing::ChildProcess;
using testing::HasSubstr;

class Tool_Record : public ToolOnASink {
  protected:
    /// Returns when it records; its log has the name of the file.
    std::unique_ptr<ChildProcess> startRecording(const std::string& name,
                                                 const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments{"record", "--device", "test.sink.monitor", path(name)};
        arguments.insert(arguments.end(), more.begin(), more.end());
        auto tool = start(name, arguments);
        EXPECT_TRUE(eventuallyWrites(name, "recording")) << written(name);
        return tool;
    }
    void play(const std::string& name) const {
        EXPECT_EQ(start("play", {"play", "--device", "test.sink", path(name)})->wait(), 0) << written("play");
    }
    void finish(ChildProcess& tool, const std::string& name) const {
        tool.signal(SIGTERM);
        EXPECT_EQ(tool.wait(), 0) << written(name);
        EXPECT_THAT(written(name), HasSubstr(", 0 overruns"));
    }
};

TEST_F(Tool_Record, LosslessFilesHoldFrameForFrameWhatWasPlayed) {
    const Sound file = toneAndNoise(96'000, rate);
    writeFile(path("played.wav"), file, rate);
    const std::vector<std::pair<std::string, std::string>> formats{
        {"16.wav", "pcm16"},   {"24.wav", "pcm24"},     {"32.rf64", "pcm32"},  {"float.wav", "float"},
        {"16.aiff", "pcm16"},  {"float.aifc", "float"}, {"24.caf", "pcm24"},   {"alac.caf", "alac"},
        {"float.au", "float"}, {"16.flac", "flac"},     {"24.flac", "flac24"}, {"16.m4a", "alac"},
        {"24.m4a", "alac24"},  {"16.mp4", "pcm16"}};
    std::vector<std::unique_ptr<ChildProcess>> recordings;
    for (const auto& [name, format] : formats) {
        recordings.push_back(startRecording(name, {"--format", format}));
    }
    play("played.wav");
    for (std::size_t i = 0; i < formats.size(); ++i) {
        const auto& name = formats[i].first;
        finish(*recordings[i], name);
        const Sound recorded = readFile(path(name)).trimmed();
        EXPECT_EQ(recorded.frames(), file.frames()) << name;
        EXPECT_EQ(firstDifference(recorded, file), file.frames()) << name;
    }
}

TEST_F(Tool_Record, LossyFilesHaveLengthLevelAndPitch) {
    writeFile(path("played.wav"), toneAndNoise(96'000, rate), rate);
    const std::vector<std::string> names{"tone.m4a", "tone.mp4", "tone.aac"};
    std::vector<std::unique_ptr<ChildProcess>> recordings;
    for (const auto& name : names) {
        recordings.push_back(startRecording(name, {"--format", "aac"}));
    }
    play("played.wav");
    for (std::size_t i = 0; i < names.size(); ++i) {
        finish(*recordings[i], names[i]);
        const Sound recorded = readFile(path(names[i])).trimmed(0.01F);
        constexpr double twoPackets = 2048.0;
        EXPECT_NEAR(static_cast<double>(recorded.frames()), 96'000.0, twoPackets) << names[i];
        EXPECT_NEAR(20.0 * std::log10(levelOf(recorded.left) * std::sqrt(2.0) / 0.5), 0.0, 0.5) << names[i];
        EXPECT_NEAR(frequencyOf(recorded.part(cycle, 80'000).left, rate), 1000.0, 1.0) << names[i];
    }
}

TEST_F(Tool_Record, ChannelsAndRateAreThoseThatWereAskedFor) {
    writeFile(path("played.wav"), toneAndNoise(96'000, rate), rate);
    // The other way round, so that the channel with the tone is the right one.
    const auto tool = startRecording("swapped.wav", {"--channels", "2,1", "--rate", "24000", "--format", "float"});
    play("played.wav");
    finish(*tool, "swapped.wav");
    const Sound recorded = readFile(path("swapped.wav")).trimmed(0.01F);
    EXPECT_NEAR(static_cast<double>(recorded.frames()), 48'000.0, 100.0);
    EXPECT_NEAR(frequencyOf(recorded.part(cycle, 40'000).right, 24000.0), 1000.0, 1.0);
    EXPECT_NEAR(levelOf(recorded.right), 0.5 / std::sqrt(2.0), 0.005);
}

TEST_F(Tool_Record, TheDurationIsExact) {
    const auto tool = startRecording("short.m4a", {"--duration", "0:00.777", "--format", "alac"});
    EXPECT_EQ(tool->wait(), 0);
    EXPECT_EQ(readFile(path("short.m4a")).frames(), 37'296U);
    EXPECT_THAT(written("short.m4a"), HasSubstr("(37296 frames at 48000 Hz)"));
}

TEST_F(Tool_Record, APulledDeviceLeavesACompleteFile) {
    const auto tool = startRecording("pulled.m4a", {"--format", "alac"});
    server.destroy("test.sink");
    EXPECT_EQ(tool->wait(), 1);
    EXPECT_THAT(written("pulled.m4a"), HasSubstr("braq: the device is gone"));
    EXPECT_GT(readFile(path("pulled.m4a")).frames(), 0U);
}

TEST_F(Tool_Record, SoDoesALostServer) {
    const auto tool = startRecording("lost.m4a", {"--format", "alac"});
    server.kill();
    EXPECT_EQ(tool->wait(), 1);
    EXPECT_THAT(written("lost.m4a"), HasSubstr("braq: the device is gone"));
    EXPECT_GT(readFile(path("lost.m4a")).frames(), 0U);
}

} // namespace
