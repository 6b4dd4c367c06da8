#include "tests/src/PlayerFixture.h"

namespace {

using namespace player_test;
using enum BRAQChannelPosition;
using braq::tests::sampleOf;
using testing::ElementsAre;
using testing::IsEmpty;
using Positions = std::vector<BRAQChannelPosition>;

// Bits of a WAVE file's mask.
constexpr UInt32 front = 0x3;
constexpr UInt32 center = 0x4;
constexpr UInt32 low = 0x8;
constexpr UInt32 rear = 0x30;
constexpr UInt32 side = 0x600;

/// Plays files on a device of any layout.
class PlayerChannels : public FileTest {
  protected:
    static constexpr UInt32 rate = 48000;
    static constexpr UInt32 frames = 1000;

    void useDevice(const Positions& positions) {
        channels = positions.size();
        software = makeDeviceWith(
            {.uid = "speakers",
             .playback = {.streams = {{.channels = static_cast<UInt32>(channels)}}, .positions = positions},
             .record = {}});
    }
    Player open(UInt32 fileChannels, UInt32 speakers) {
        braq::tests::writeNumberedFile(path("file.wav"), frames, fileChannels, rate, speakers);
        return BRAQExtendedAudioFilePlayer::initWithFilename(path("file.wav"),
                                                             BRAQAudioDevice::initWithDeviceID(software->deviceID()));
    }
    /// The first frames of each of the device's channels.
    std::vector<std::vector<Float32>> play(const Player& player) {
        std::vector<std::vector<Float32>> played(channels, std::vector<Float32>(frames));
        std::vector<Float32*> to;
        for (auto& channel : played) {
            to.push_back(channel.data());
        }
        player->startFilePlaying();
        Insides::settle(*player->outputAudioUnit()->audioBufferQueue());
        EXPECT_TRUE(software->step(frames, nullptr, to.data()));
        player->stopFilePlaying();
        player->invalidate();
        return played;
    }
    /// Expects each of the device's channels to be one of the file's, bit for bit; -1: silence.
    void expectHeard(const std::vector<std::vector<Float32>>& played, const std::vector<int>& fileChannels) {
        ASSERT_EQ(played.size(), fileChannels.size());
        for (std::size_t channel = 0; channel < played.size(); ++channel) {
            for (UInt32 frame = 0; frame < frames; ++frame) {
                const int from = fileChannels[channel];
                ASSERT_EQ(played[channel][frame], from < 0 ? 0.0F : sampleOf(frame, static_cast<UInt32>(from)))
                    << "channel " << channel << ", frame " << frame;
            }
        }
    }

    std::shared_ptr<BRAQSoftwareDevice> software;
    std::size_t channels = 0;
};

const Positions inOrderOfAlsa{frontLeft, frontRight, rearLeft, rearRight, frontCenter, lowFrequency};

TEST_F(PlayerChannels, ArriveAtTheSpeakersThatTheFileMeans) {
    useDevice(inOrderOfAlsa);
    expectHeard(play(open(6, front | center | low | rear)), {0, 1, 4, 5, 2, 3});
    expectHeard(play(open(6, front | center | low | side)), {0, 1, 4, 5, 2, 3});
    expectHeard(play(open(5, front | center | rear)), {0, 1, 3, 4, 2, -1});
    expectHeard(play(open(4, front | rear)), {0, 1, 2, 3, -1, -1});
    expectHeard(play(open(3, front | center)), {0, 1, -1, -1, 2, -1});
    expectHeard(play(open(2, front)), {0, 1, -1, -1, -1, -1});
}

TEST_F(PlayerChannels, ArriveAtTheUsualSpeakersOfAFileThatSaysNone) {
    useDevice(inOrderOfAlsa);
    const Player player = open(6, 0);
    EXPECT_THAT(player->outputAudioUnit()->channelPositions(),
                ElementsAre(frontLeft, frontRight, frontCenter, lowFrequency, rearLeft, rearRight));
    expectHeard(play(player), {0, 1, 4, 5, 2, 3});
    expectHeard(play(open(4, 0)), {0, 1, 2, 3, -1, -1});
}

TEST_F(PlayerChannels, AreToldByTheFileAndTakenByTheUnit) {
    useDevice(inOrderOfAlsa);
    const Player player = open(4, front | side);
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(path("file.wav"));
    EXPECT_THAT(file->channelPositions(), ElementsAre(frontLeft, frontRight, sideLeft, sideRight));
    EXPECT_EQ(player->outputAudioUnit()->channelPositions(), file->channelPositions());
    file->closeFile();
    EXPECT_THAT(file->channelPositions(), IsEmpty());
    player->outputAudioUnit()->setChannelPositions({frontRight, frontLeft, rearLeft, rearRight});
    expectHeard(play(player), {1, 0, 2, 3, -1, -1});
    open(4, 0)->invalidate();
    EXPECT_THAT(BRAQExtendedAudioFile::initForPlaybackWithFilename(path("file.wav"))->channelPositions(), IsEmpty());
}

TEST_F(PlayerChannels, AreMixedWithoutScalingWhereItIsWanted) {
    useDevice({frontLeft, frontRight});
    for (const bool unscaled : {false, true}) {
        const Player player = open(3, front | center);
        EXPECT_FALSE(player->outputAudioUnit()->unscaledDownmix());
        player->outputAudioUnit()->setUnscaledDownmix(unscaled);
        EXPECT_EQ(player->outputAudioUnit()->unscaledDownmix(), unscaled);
        const auto played = play(player);
        const Float32 scale = unscaled ? 1.0F : 1.0F / 1.70710678F;
        for (UInt32 frame = 0; frame < frames; ++frame) {
            const Float32 middle = 0.70710678F * sampleOf(frame, 2);
            ASSERT_NEAR(played[0][frame], scale * (sampleOf(frame, 0) + middle), 0.01F) << frame;
            ASSERT_NEAR(played[1][frame], scale * (sampleOf(frame, 1) + middle), 0.01F) << frame;
        }
    }
}

TEST_F(PlayerChannels, AreRefusedInAnotherNumberAndWhileTheUnitRuns) {
    useDevice(inOrderOfAlsa);
    const Player player = open(2, front);
    const auto& unit = player->outputAudioUnit();
    EXPECT_THROW(unit->setChannelPositions({frontLeft}), NSException);
    EXPECT_THAT(unit->channelPositions(), ElementsAre(frontLeft, frontRight));
    player->startFilePlaying();
    EXPECT_THROW(unit->setChannelPositions({frontRight, frontLeft}), NSException);
    EXPECT_THROW(unit->setUnscaledDownmix(true), NSException);
    EXPECT_FALSE(unit->unscaledDownmix());
    player->stopFilePlaying();
    player->invalidate();
}

} // namespace
