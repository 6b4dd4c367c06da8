// The frame that the loudspeaker plays.

#include "tests/src/NumberedQueues.h"
#include "tests/src/PlayerFixture.h"

#include <array>
#include <cmath>

namespace {

constexpr UInt32 cycle = 512;

class FilePlayerHeard : public player_test::PlayerTest {
  protected:
    /// When the device takes the frame that many frames behind the first one of the next step, in nanoseconds.
    Float64 timeOf(Float64 frames) const {
        return static_cast<Float64>(software->hostTimeOfStep()) + frames / fileRate * 1e9;
    }
    SInt64 heardAt(Float64 time) const { return player->heardFrameAt(static_cast<UInt64>(time)); }
};

TEST_F(FilePlayerHeard, IsTheFrameThatTheDeviceTakesThen) {
    open(60'000);
    player->setCurrentFrame(1000);
    EXPECT_EQ(player->heardFrame(), 1000) << "before it plays";
    player->startFilePlaying();
    for (int round = 0; round < 20; ++round) {
        const Float64 time = timeOf(100.5);
        play(cycle);
        EXPECT_EQ(heardAt(time), 1000 + round * SInt64{cycle} + 100);
    }
    player->pausePlaying();
    EXPECT_EQ(player->heardFrame(), player->position());
}

TEST_F(FilePlayerHeard, IsEarlierByTheLatencyOfTheDevice) {
    const auto late = makeDeviceWith({.uid = "late",
                                      .playback = {.streams = {{.channels = 2, .latencyFrames = 30}},
                                                   .latencyFrames = 400,
                                                   .safetyOffsetFrames = 11},
                                      .sampleRate = fileRate});
    player = BRAQExtendedAudioFilePlayer::initWithFilename(numbered(60'000, 2, fileRate),
                                                           BRAQAudioDevice::initWithDeviceID(late->deviceID()));
    EXPECT_NEAR(player->outputAudioUnit()->latency(), 441.0 / fileRate, 1e-9);
    player->startFilePlaying();
    const Float64 time = static_cast<Float64>(late->hostTimeOfStep());
    for (int round = 0; round < 4; ++round) {
        late->step(cycle);
    }
    EXPECT_EQ(heardAt(time + (441 + 700.5) / fileRate * 1e9), 700);
    EXPECT_EQ(heardAt(time + 440.5 / fileRate * 1e9), 0) << "nothing is heard yet";
}

TEST_F(FilePlayerHeard, IsAtTheOldPlaceUntilTheNewOneIsHeard) {
    open(60'000);
    player->startFilePlaying();
    play(cycle);
    const Float64 before = timeOf(-0.5);
    const Float64 after = timeOf(0.5);
    player->setCurrentFrame(30'000);
    EXPECT_EQ(player->currentFrame(), 30'000);
    EXPECT_EQ(heardAt(after), 512) << "nothing of the new place was taken";
    play(cycle);
    EXPECT_EQ(heardAt(before), 511);
    EXPECT_EQ(heardAt(after), 30'000);
}

TEST_F(FilePlayerHeard, FollowsLoopsAndBothDirections) {
    open(60'000);
    player->setLoop(1000, 1300, 2);
    player->setCurrentFrame(900);
    player->startFilePlaying();
    const Float64 time = timeOf(0.5);
    play(cycle);
    play(cycle);
    const auto at = [&](int frames) { return heardAt(time + frames * 1e9 / fileRate); };
    EXPECT_EQ(at(399), 1299);
    EXPECT_EQ(at(400), 1000) << "the second round";
    EXPECT_EQ(at(700), 1300) << "behind the range";
    player->clearLoop();
    player->setPlaybackSpeedAtOnce(-1.0F);
    const SInt64 turned = player->position();
    const Float64 back = timeOf(0.5);
    play(cycle);
    EXPECT_EQ(heardAt(back + 100e9 / fileRate), turned - 100);
}

// At any speed, and at another rate of the device, the ramp that is heard says which frame it is.
class FilePlayerHeardAtSpeeds : public player_test::PlayerTest, public testing::WithParamInterface<float> {
  protected:
    FilePlayerHeardAtSpeeds() : PlayerTest(48000.0) {}
};

TEST_P(FilePlayerHeardAtSpeeds, IsWithinFramesOfWhatIsPlayed) {
    open(200'000);
    player->setCurrentFrame(100'000);
    player->setPlaybackSpeedAtOnce(GetParam());
    player->startFilePlaying();
    const Float64 frames =
        std::fabs(static_cast<Float64>(GetParam())) * fileRate / 48000.0; // of the file in one of the device
    for (int round = 0; round < 40; ++round) {
        const auto time = static_cast<Float64>(software->hostTimeOfStep());
        play(cycle);
        constexpr std::array<UInt32, 3> some{10, 200, 500};
        for (const UInt32 frame : some) {
            const Float64 played = static_cast<Float64>(outputs[0][frame]) / 8.0;
            if (round > 1) { // the first cycles rise out of silence
                EXPECT_NEAR(
                    static_cast<Float64>(player->heardFrameAt(static_cast<UInt64>(time + frame / 48000.0 * 1e9))),
                    played, 2.0 + frames)
                    << round << " " << frame;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Speeds, FilePlayerHeardAtSpeeds,
                         testing::Values(1.0F, 0.25F, 0.9F, 2.0F, 4.0F, -1.0F, -0.5F, -3.0F),
                         [](const auto& speed) { return "Number" + std::to_string(speed.index); });

TEST_F(FilePlayerHeard, IsTheBeginningOfTheNextFileUntilThatIsHeard) {
    open(1000);
    std::shared_ptr<NSError> error;
    ASSERT_TRUE(player->setNextFileURL(NSURL::fileURLWithPath(numbered(60'000, 2, fileRate)), &error));
    player->startFilePlaying();
    const Float64 time = timeOf(0.5);
    play(cycle);
    play(cycle);
    ASSERT_EQ(player->currentFrame(), 24);
    EXPECT_EQ(heardAt(time + 900e9 / fileRate), 0) << "the file before it is heard";
    EXPECT_EQ(heardAt(time + 1010e9 / fileRate), 10);
}

TEST_F(FilePlayerHeard, IsTheEndWhenAllWasHeard) {
    open(700);
    player->startFilePlaying();
    const Float64 time = timeOf(0.5);
    play(cycle);
    play(cycle);
    play(cycle);
    EXPECT_EQ(heardAt(time + 600e9 / fileRate), 600);
    EXPECT_EQ(heardAt(time + 900e9 / fileRate), 700);
}

TEST_F(FilePlayerHeard, IsThePositionWhileAnotherRingIsPlayed) {
    open(60'000);
    const auto other = std::make_shared<queue_test::Reader>(4, 1024);
    other->prime();
    player->outputAudioUnit()->setAudioBufferQueue(other);
    player->startFilePlaying();
    const Float64 time = timeOf(0.5);
    play(cycle);
    EXPECT_EQ(heardAt(time + 100e9 / fileRate), player->position());
}

TEST_F(FilePlayerHeard, IsNotOfWhatWasPlayedBeforeAPause) {
    open(60'000);
    player->startFilePlaying();
    play(cycle);
    player->pausePlaying();
    player->setCurrentFrame(40'000);
    EXPECT_EQ(player->heardFrame(), 40'000);
    player->startFilePlaying();
    EXPECT_EQ(player->heardFrame(), 40'000);
    EXPECT_NEAR(player->heardTime(), 40'000.0 / fileRate * 1000.0, 1e-6);
}

} // namespace
