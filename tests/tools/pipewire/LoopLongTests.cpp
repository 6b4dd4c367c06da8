#include "tests/support/NumberedFiles.h"
#include "tests/tools/pipewire/Sound.h"
#include "tests/tools/pipewire/ToolFixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>

namespace {

using namespace tool_test;
using testing::HasSubstr;

using Tool_PlayAndRecord = ToolOnASink;

// 28.8 million frames, of which each is the one that follows the one before.
TEST_F(Tool_PlayAndRecord, TenMinutesOfALoopAreRecordedFrameForFrame) {
    constexpr std::size_t length = 1'000'003;
    constexpr std::size_t recordedFrames = 28'800'000;
    const Sound file = toneAndNoise(length, rate);
    writeFile(path("file.wav"), file, rate);
    const auto playing = start("play", {"play", "--device", "test.sink", "--loop", path("file.wav")});
    ASSERT_TRUE(eventuallyWrites("play", "playing"));
    const auto recording = start("record", {"record", "--device", "test.sink.monitor", "--duration", "10:00",
                                            "--format", "pcm16", path("recorded.wav")});
    EXPECT_EQ(recording->wait(), 0);
    playing->signal(SIGINT);
    EXPECT_EQ(playing->wait(), 0);
    EXPECT_THAT(written("record"), HasSubstr("(28800000 frames at 48000 Hz)"));
    EXPECT_THAT(written("record"), HasSubstr(", 0 overruns"));
    EXPECT_THAT(written("play"), HasSubstr(", 0 underruns"));

    const Sound recorded = readFile(path("recorded.wav"));
    ASSERT_EQ(recorded.frames(), recordedFrames);
    // Where in the loop the recording begins: the tone repeats itself, the noise does not.
    const Sound heard = recorded.trimmed();
    constexpr std::size_t enoughToKnow = 64;
    const auto place = std::search(file.right().begin(), file.right().end(), heard.right().begin(),
                                   heard.right().begin() + enoughToKnow);
    ASSERT_NE(place, file.right().end());
    const auto first = static_cast<std::size_t>(place - file.right().begin());
    std::size_t wrong = 0;
    for (std::size_t frame = 0; frame < heard.frames(); ++frame) {
        const std::size_t expected = (first + frame) % length;
        wrong += heard.left()[frame] != file.left()[expected] || heard.right()[frame] != file.right()[expected] ? 1 : 0;
    }
    EXPECT_EQ(wrong, 0U);
    EXPECT_GT(heard.frames(), recordedFrames - 48'000) << "silence before what is played";
}

} // namespace
