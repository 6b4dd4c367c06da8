#include "tests/tools/pipewire/RecordFixture.h"

#include <chrono>
#include <thread>

namespace {

using namespace tool_test;
using braq::tests::eventually;
using testing::HasSubstr;
using testing::Not;

constexpr std::chrono::milliseconds heldUp{1200};

class Tool_Dropouts : public ToolRecord {
  protected:
    static void holdUp(braq::tests::ChildProcess& tool) {
        tool.signal(SIGSTOP);
        std::this_thread::sleep_for(heldUp);
        tool.signal(SIGCONT);
    }
    /// The seconds that the tool names after `what`.
    double secondsAfter(const std::string& name, const std::string& what) const {
        const std::string text = written(name);
        const auto at = text.find(what);
        return at == std::string::npos ? 0.0 : std::stod(text.substr(at + what.size()));
    }
};

TEST_F(Tool_Dropouts, OfAStoppedProcessAreToldByPlay) {
    writeFile(path("played.wav"), toneAndNoise(200'000, rate), rate);
    const auto tool = start("play", {"play", "--device", "test.sink", path("played.wav")});
    ASSERT_TRUE(eventuallyWrites("play", "playing"));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    holdUp(*tool);
    EXPECT_EQ(tool->wait(), 0) << written("play");
    EXPECT_THAT(written("play"), HasSubstr(", dropouts of "));
    EXPECT_NEAR(secondsAfter("play", "dropouts of "), 1.2, 0.3);
    EXPECT_THAT(written("play"), HasSubstr("to 0:04.1, 0 underruns")) << "all of the file is played";
}

TEST_F(Tool_Dropouts, OfAStoppedProcessAreSilenceInARecordingAndToldByRecord) {
    const Sound played = toneAndNoise(250'000, rate);
    writeFile(path("played.wav"), played, rate);
    const auto recording = startRecording("a.wav", {"--format", "float"});
    const auto playing = start("play", {"play", "--device", "test.sink", path("played.wav")});
    ASSERT_TRUE(eventuallyWrites("play", "playing"));
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    holdUp(*recording);
    EXPECT_EQ(playing->wait(), 0) << written("play");
    ASSERT_THAT(written("play"), Not(HasSubstr("dropouts"))) << "the machine was too busy to tell anything";
    finish(*recording, "a.wav");
    EXPECT_THAT(written("a.wav"), HasSubstr("dropout of "));
    EXPECT_NEAR(secondsAfter("a.wav", ", dropouts of "), 1.2, 0.3);
    const Sound recorded = readFile(path("a.wav")).trimmed();
    ASSERT_EQ(recorded.frames(), played.frames()) << "it keeps its length";
    std::size_t silent = 0;
    std::size_t wrong = 0;
    for (std::size_t frame = 0; frame < played.frames(); ++frame) {
        const float sample = recorded.right()[frame];
        silent += sample == 0.0F ? 1 : 0; // no sample of the noise is
        wrong += sample != 0.0F && sample != played.right()[frame] ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0U) << "what comes after the silence is in its place";
    EXPECT_NEAR(static_cast<double>(silent) / rate, secondsAfter("a.wav", ", dropouts of "), 0.001);
}

} // namespace
