// Speed, level and position, and who is told when they change.

#include "tests/src/PlayerFixture.h"
#include "tests/src/UnitCalls.h"

#include <limits>

namespace {

using braq::tests::sampleOf;
using braq::tests::UnitCalls;
using testing::ElementsAre;
using testing::IsEmpty;

class FilePlayerProperties : public player_test::PlayerTest {
  protected:
    void expectAssertionFails(float speed) const {
        try {
            player->setPlaybackSpeed(speed);
            ADD_FAILURE() << "nothing was raised for " << speed;
        } catch (const NSException& raised) {
            EXPECT_EQ(raised.name(), NSInternalInconsistencyException);
            EXPECT_EQ(raised.reason(), "Assertion failed in -[BRAQExtendedAudioFilePlayer setPlaybackSpeed:], "
                                       "BRAQExtendedAudioFilePlayer:105: Invalid parameter not satisfying: "
                                       "speed > 0.0 || speed < 0.0");
        }
    }

    /// The names of the properties that `change` notifies, of those that can be observed.
    template <class Change>
    std::vector<std::string> notifiedBy(Change change) {
        std::vector<std::string> notified;
        std::vector<NSObserverToken> tokens;
        for (const char* key : {"currentFrame", "currentTime"}) {
            tokens.push_back(player->addObserver(key, [&, key](const std::string&) { notified.emplace_back(key); }));
        }
        change();
        return notified;
    }
};

TEST_F(FilePlayerProperties, TurnsRoundBelowZeroAndTellsTheMagnitude) {
    open(10'000);
    player->setPlaybackSpeed(-1.0F);
    EXPECT_TRUE(reader().reverse());
    EXPECT_EQ(player->outputAudioUnit()->playbackRate(), 1.0);
    EXPECT_EQ(player->playbackSpeed(), 1.0F);
    player->setPlaybackSpeed(-1.5F);
    EXPECT_TRUE(reader().reverse());
    EXPECT_EQ(player->playbackSpeed(), 1.5F);
    player->setPlaybackSpeed(0.5F);
    EXPECT_FALSE(reader().reverse());
    EXPECT_EQ(player->playbackSpeed(), 0.5F);
    for (const float limit : {1.0F / 32.0F, 32.0F}) {
        player->setPlaybackSpeed(-limit);
        EXPECT_EQ(player->playbackSpeed(), limit);
    }
}

TEST_F(FilePlayerProperties, ASpeedOfZeroAndNoNumberFailAnAssertionAndChangeNothing) {
    open(10'000);
    player->setPlaybackSpeed(-2.0F);
    for (const float speed : {0.0F, -0.0F, std::numeric_limits<float>::quiet_NaN()}) {
        expectAssertionFails(speed);
        EXPECT_EQ(player->playbackSpeed(), 2.0F);
        EXPECT_TRUE(reader().reverse());
    }
}

TEST_F(FilePlayerProperties, ASpeedOutOfRangeIsRaisedAndDoesNotTurnTheDirection) {
    open(10'000);
    for (const bool isReverse : {false, true}) {
        const float sign = isReverse ? -1.0F : 1.0F;
        player->setPlaybackSpeed(sign);
        for (const float magnitude :
             {33.0F, 1.0F / 33.0F, std::numeric_limits<float>::infinity(), std::numeric_limits<float>::denorm_min()}) {
            expectRaised([&] { player->setPlaybackSpeed(-sign * magnitude); }, kAudioUnitErr_InvalidPropertyValue,
                         "src/BRAQOutputAudioUnit", "-[BRAQOutputAudioUnit setPlaybackRate:]",
                         "AudioUnitSetParameter( mVarispeedUnit, kVarispeedParam_PlaybackRate, "
                         "kAudioUnitScope_Global, 0, rate, 0 )");
            EXPECT_EQ(player->playbackSpeed(), 1.0F);
            EXPECT_EQ(reader().reverse(), isReverse);
        }
    }
}

TEST_F(FilePlayerProperties, PlaysAtItsVolume) {
    open(20'000);
    const auto levelThatIsSet = [&](double decibels) {
        const UnitCalls calls;
        player->setPlaybackVolume(decibels);
        EXPECT_THAT(calls.functions(), ElementsAre("AudioUnitSetParameter"));
        EXPECT_EQ(calls.calls().at(0).number, static_cast<UInt32>(kHALOutputParam_Volume));
        return calls.calls().at(0).as<Float32>();
    };
    EXPECT_EQ(levelThatIsSet(0.0), 1.0F);
    EXPECT_EQ(levelThatIsSet(-20.0), 0.1F);
    EXPECT_NEAR(levelThatIsSet(-6.0), 0.501F, 0.0005F);
    EXPECT_EQ(levelThatIsSet(20.0), 10.0F);
    EXPECT_EQ(levelThatIsSet(-std::numeric_limits<double>::infinity()), 0.0F);
    player->setPlaybackVolume(-20.0);
    player->startFilePlaying();
    play(512);
    EXPECT_EQ(outputs[0][511], sampleOf(511, 0) * 0.1F);
    EXPECT_EQ(outputs[1][511], sampleOf(511, 1) * 0.1F);
    player->setPlaybackVolume(0.0);
    play(512); // of which the ramp to it takes 441
    EXPECT_EQ(player->currentFrame(), 1024);
    expectPlays(1024, 2000);
    player->setPlaybackLevel(0.25);
    play(512);
    EXPECT_EQ(play(1)[0][0], sampleOf(3024 + 512, 0) * 0.25F);
}

TEST_F(FilePlayerProperties, RaisesALevelThatIsNoGain) {
    open(1000);
    for (const double level : {-0.5, std::numeric_limits<double>::quiet_NaN()}) {
        expectRaised([&] { player->setPlaybackLevel(level); }, kAudioUnitErr_InvalidPropertyValue,
                     "src/BRAQOutputAudioUnit", "-[BRAQOutputAudioUnit setPlaybackLevel:]",
                     "AudioUnitSetParameter( mOutputUnit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, level, "
                     "0 )");
    }
}

TEST_F(FilePlayerProperties, CountsTimeInMillisecondsAtTheRateOfTheFile) {
    open(100'000);
    player->setCurrentTime(1000.0);
    EXPECT_EQ(player->currentFrame(), 44100);
    EXPECT_EQ(player->currentTime(), 1000.0);
    player->setCurrentTime(0.01);
    EXPECT_EQ(player->currentFrame(), 0);
    player->setCurrentFrame(441);
    EXPECT_EQ(player->currentTime(), 10.0);
    player->setCurrentTime(499.99);
    EXPECT_EQ(player->currentFrame(), 22049) << "the frame in which that time is";
}

TEST_F(FilePlayerProperties, TellsTheLengthOfItsFile) {
    open(22050);
    EXPECT_EQ(player->maxTime(), 500.0);
    player->invalidate();
    open(0);
    EXPECT_EQ(player->maxTime(), 0.0);
}

TEST_F(FilePlayerProperties, CountsInFramesOfTheClientFormat) {
    const auto file = BRAQExtendedAudioFile::initForPlaybackWithFilename(
        numbered(44100, 2, fileRate), BRAQExtendedAudioFileOptions{.clientSampleRate = 22050.0});
    player = BRAQExtendedAudioFilePlayer::initWithAudioFile(file, device);
    EXPECT_EQ(player->maxTime(), 1000.0);
    player->setCurrentTime(500.0);
    EXPECT_EQ(player->currentFrame(), 11025);
}

TEST_F(FilePlayerProperties, RaisesATimeThatIsNoNumberAndStaysWhereItIs) {
    open(10'000);
    player->setCurrentFrame(4711);
    const auto notified = notifiedBy([&] {
        try {
            player->setCurrentTime(std::numeric_limits<double>::quiet_NaN());
            ADD_FAILURE() << "nothing was raised";
        } catch (const NSException& raised) {
            EXPECT_EQ(raised.name(), NSInvalidArgumentException);
        }
    });
    EXPECT_THAT(notified, IsEmpty());
    EXPECT_EQ(player->currentFrame(), 4711);
}

TEST_F(FilePlayerProperties, GoesAsFarAsFramesAreCountedForATimeBeyond) {
    open(10'000);
    constexpr double forEver = std::numeric_limits<double>::infinity();
    for (const double time : {forEver, std::numeric_limits<double>::max(), 1e300}) {
        player->setCurrentTime(time);
        EXPECT_EQ(player->currentFrame(), std::numeric_limits<SInt64>::max());
        player->setCurrentTime(-time);
        EXPECT_EQ(player->currentFrame(), std::numeric_limits<SInt64>::min());
    }
}

TEST_F(FilePlayerProperties, TellsObserversOfTheFrameAndOfTheTimeThatDependsOnIt) {
    open(50'000);
    EXPECT_THAT(notifiedBy([&] { player->setCurrentFrame(10); }), ElementsAre("currentFrame", "currentTime"));
    EXPECT_THAT(notifiedBy([&] { player->setCurrentTime(10.0); }), ElementsAre("currentTime"));
    EXPECT_THAT(notifiedBy([&] {
                    player->startFilePlaying();
                    play(512);
                    play(512);
                    player->stopFilePlaying();
                }),
                IsEmpty());
    EXPECT_THAT(player->keyPathsForValuesAffectingValueForKey("currentTime"), ElementsAre("currentFrame"));
    EXPECT_THAT(player->keyPathsForValuesAffectingValueForKey("currentFrame"), IsEmpty());
}

TEST_F(FilePlayerProperties, ObserversSeeThePositionThatWasSet) {
    open(50'000);
    player->startFilePlaying();
    std::vector<SInt64> seen;
    const auto token =
        player->addObserver("currentTime", [&](const std::string&) { seen.push_back(player->currentFrame()); });
    player->setCurrentFrame(10);
    player->setCurrentTime(100.0);
    EXPECT_THAT(seen, ElementsAre(10, 4410));
}

} // namespace
