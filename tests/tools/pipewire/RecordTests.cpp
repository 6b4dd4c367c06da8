#include "tests/tools/pipewire/RecordFixture.h"
#include "tests/tools/pipewire/Sound.h"

#include <gmock/gmock.h>

#include <cmath>

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
