// What a player plays, from the first frame of a file to the last, as it is heard on a device that hands it to its input.

#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "tests/src/PlayerFixture.h"

#include <algorithm>

namespace {

using braq::tests::sampleOf;

class FilePlayerOutput : public player_test::PlayerTest {
  protected:
    FilePlayerOutput() : FilePlayerOutput(fileRate) {}
    explicit FilePlayerOutput(Float64 deviceRate)
        : PlayerTest(deviceRate), input(BRAQInputAudioUnit::initWithDevice(device, std::nullopt)) {
        input->setInputProcessingBlock([this](auto*, auto*, UInt32, UInt32 frames, AudioBufferList* list) {
            for (UInt32 channel = 0; channel < 2; ++channel) {
                const auto* samples = static_cast<const Float32*>(list->mBuffers[channel].mData);
                heard[channel].insert(heard[channel].end(), samples, samples + frames);
            }
        });
        input->start();
    }
    void TearDown() override {
        input->stop();
        input.reset();
        PlayerTest::TearDown();
    }

    /// Plays a file of that many frames to its end and lets it fade away. The silence before it is cut off.
    void playFile(UInt64 frames) {
        open(frames);
        player->startFilePlaying();
        playUntilTheEndIsSignalled();
        for (int cycle = 0; cycle < 10; ++cycle) {
            play(512);
        }
        queue.drain();
        EXPECT_EQ(delegate.ends, 1);
        const auto isSound = [](Float32 sample) { return sample != 0.0F; };
        const auto silence = std::ranges::find_if(heard[1], isSound) - heard[1].begin();
        for (auto& channel : heard) {
            channel.erase(channel.begin(), channel.begin() + silence);
        }
    }

    std::vector<Float32> heard[2];
    std::shared_ptr<BRAQInputAudioUnit> input;
};

class FilePlayerOutputAtAnotherRate : public FilePlayerOutput {
  protected:
    FilePlayerOutputAtAnotherRate() : FilePlayerOutput(48000.0) {}
};

TEST_F(FilePlayerOutput, IsTheFileBitForBit) {
    constexpr UInt64 frames = 30'001;
    playFile(frames);
    ASSERT_GT(heard[0].size(), frames);
    for (std::size_t frame = 0; frame < frames; ++frame) {
        ASSERT_EQ(heard[0][frame], sampleOf(frame, 0));
        ASSERT_EQ(heard[1][frame], sampleOf(frame, 1));
    }
    for (std::size_t frame = frames; frame < heard[0].size(); ++frame) {
        ASSERT_EQ(heard[0][frame], 0.0F) << frame;
        ASSERT_EQ(heard[1][frame], 0.0F) << frame;
    }
}

TEST_F(FilePlayerOutputAtAnotherRate, HasTheLengthOfTheFile) {
    constexpr UInt64 frames = 44100;
    constexpr double perFrame = 44100.0 / 48000.0;
    playFile(frames);
    // Behind the last frame it falls from the highest sample to nothing.
    const auto isLoud = [](Float32 sample) { return sample > sampleOf(frames, 0) / 2; };
    const auto end = std::ranges::find_if(heard[0].rbegin(), heard[0].rend(), isLoud).base();
    ASSERT_GE(end - heard[0].begin(), 48'000);
    for (int back = 1000; back <= 48'000; ++back) { // beyond the ringing of the filter
        const double frame = frames - back * perFrame;
        constexpr double roundOff = 1.5;
        constexpr double gain = 1e-4; // less than a thousandth of a decibel
        ASSERT_NEAR(static_cast<double>(*(end - back)) / 8, frame, roundOff + gain * frame) << back;
    }
}

} // namespace
