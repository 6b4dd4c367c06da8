#include "BRAQAudio/BRAQAudio.h"
#include "tests/tools/pipewire/RecordFixture.h"
#include "tests/tools/pipewire/Sound.h"

#include <gmock/gmock.h>

#include <cmath>
#include <csignal>
#include <string>

namespace {

using namespace tool_test;
using testing::HasSubstr;

using Tool_Record = ToolRecord;

constexpr std::size_t tenSeconds = 480'000;

TEST_F(Tool_Record, LosslessFilesHoldFrameForFrameWhatWasPlayed) { expectLosslessRecordings(tenSeconds); }

TEST_F(Tool_Record, LossyFilesHaveLengthLevelAndPitch) { expectLossyRecordings(tenSeconds); }

TEST_F(Tool_Record, ChannelsAndRateAreThoseThatWereAskedFor) {
    writeFile(path("played.wav"), toneAndNoise(96'000, rate), rate);
    // The other way round, so that the channel with the tone is the right one.
    const auto tool = startRecording("swapped.wav", {"--channels", "2,1", "--rate", "24000", "--format", "float"});
    play("played.wav");
    finish(*tool, "swapped.wav");
    const Sound recorded = readFile(path("swapped.wav")).trimmed(0.01F);
    EXPECT_NEAR(static_cast<double>(recorded.frames()), 48'000.0, 100.0);
    EXPECT_NEAR(frequencyOf(recorded.part(cycle, 40'000).right(), 24000.0), 1000.0, 1.0);
    EXPECT_NEAR(levelOf(recorded.right()), 0.5 / std::sqrt(2.0), 0.005);
}

TEST_F(Tool_Record, TheDurationIsExact) {
    const auto tool = startRecording("short.m4a", {"--duration", "0:00.777", "--format", "alac"});
    EXPECT_EQ(tool->wait(), 0);
    EXPECT_EQ(readFile(path("short.m4a")).frames(), 37'296U);
    EXPECT_THAT(written("short.m4a"), HasSubstr("(37296 frames at 48000 Hz)"));
}

/// With microphones, of which one is the default.
class Tool_RecordFromTheDefault : public ToolOnASink {
  protected:
    void SetUp() override {
        for (const char* name : {"left", "right"}) {
            server.keep({.name = name,
                         .mediaClass = "Audio/Source/Virtual",
                         .more = "node.description=" + std::string(name) + "-microphone"});
        }
        ToolOnASink::SetUp();
        server.setDefaultSource("left");
        ASSERT_TRUE(braq::tests::eventually([] {
            const auto now = BRAQAudioHardware::defaultInputDevice();
            return now != nullptr && now->deviceUID() == "left";
        }));
    }
};

TEST_F(Tool_RecordFromTheDefault, GoesWhereTheDefaultGoes) {
    const auto tool = start("moved", {"record", path("moved.wav")});
    ASSERT_TRUE(eventuallyWrites("moved", "recording left-microphone"));
    server.setDefaultSource("right");
    EXPECT_TRUE(eventuallyWrites("moved", "now on right-microphone"));
    server.destroy("right");
    EXPECT_TRUE(eventuallyWrites("moved", "now on left-microphone"));
    tool->signal(SIGTERM);
    EXPECT_EQ(tool->wait(), 0) << written("moved");
    EXPECT_GT(readFile(path("moved.wav")).frames(), 0U);
}

TEST_F(Tool_RecordFromTheDefault, StaysWhereItIsToldTo) {
    const auto tool = start("kept", {"record", "--device", "left", path("kept.wav")});
    ASSERT_TRUE(eventuallyWrites("kept", "recording left-microphone"));
    server.setDefaultSource("right");
    server.destroy("left");
    EXPECT_EQ(tool->wait(), 1);
    EXPECT_THAT(written("kept"), testing::Not(HasSubstr("now on")));
}

TEST_F(Tool_RecordFromTheDefault, TheMeterGoesThereToo) {
    const auto tool = start("meter", {"meter"});
    ASSERT_TRUE(eventuallyWrites("meter", "1: "));
    server.setDefaultSource("right");
    EXPECT_TRUE(eventuallyWrites("meter", "now on right-microphone\n"));
    tool->signal(SIGTERM);
    EXPECT_EQ(tool->wait(), 0) << written("meter");
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
