// Starting, stopping, pausing, seeking, and where a player is meanwhile.

#include "tests/src/FileHook.h"
#include "tests/src/PlayerFixture.h"
#include "tests/src/UnitCalls.h"
#include "tests/support/RealtimeGuard.h"

#include <limits>

namespace {

using braq::tests::FileHook;
using braq::tests::UnitCall;
using braq::tests::UnitCalls;
using player_test::readAhead;

class FilePlayerTransport : public player_test::PlayerTest {};

TEST_F(FilePlayerTransport, PlaysFromItsPositionAndTellsItToTheFrame) {
    open(60'000);
    EXPECT_FALSE(player->isPlaying());
    player->startFilePlaying();
    EXPECT_TRUE(player->isPlaying());
    expectPositionIsHeard(0, 20, 512);
    expectPositionIsHeard(20 * 512, 20, 333);
    EXPECT_EQ(player->currentTime(), (20 * 512 + 20 * 333) / 44100.0 * 1000.0);
    EXPECT_EQ(player->errorCount(), 0U);
}

TEST_F(FilePlayerTransport, AStopLeavesOutWhatWasReadAhead) {
    open(100'000);
    player->startFilePlaying();
    expectPlays(0, 1000);
    player->stopFilePlaying();
    EXPECT_FALSE(player->isPlaying());
    EXPECT_FALSE(software->step(16)) << "nothing runs on the device any more";
    EXPECT_EQ(player->currentFrame(), static_cast<SInt64>(readAhead));
    player->startFilePlaying();
    expectPositionIsHeard(readAhead, 3, 512);
    player->stopFilePlaying();
    player->stopFilePlaying();
    EXPECT_EQ(player->currentFrame(), static_cast<SInt64>(2 * readAhead));
}

TEST_F(FilePlayerTransport, AStopEndsTheUnitBeforeTheReader) {
    open(20'000);
    player->startFilePlaying();
    std::vector<bool> readerRan;
    UnitCalls calls;
    calls.beforeCall = [&](const UnitCall& call) {
        if (call.function == "AUGraphStop") {
            readerRan.push_back(reader().running());
        }
    };
    player->stopFilePlaying();
    EXPECT_THAT(readerRan, testing::ElementsAre(true));
    EXPECT_FALSE(reader().running());
}

TEST_F(FilePlayerTransport, APauseLeavesNothingOut) {
    open(100'000);
    player->startFilePlaying();
    expectPlays(0, 1000);
    player->pausePlaying();
    EXPECT_FALSE(player->isPlaying());
    EXPECT_EQ(player->currentFrame(), 1000);
    EXPECT_FALSE(software->step(16));
    player->pausePlaying();
    player->resumePlaying();
    EXPECT_TRUE(player->isPlaying());
    expectPositionIsHeard(1000, 10, 512);
    player->pausePlaying();
    player->startFilePlaying();
    expectPositionIsHeard(6120, 30, 512);
}

TEST_F(FilePlayerTransport, StartingOrResumingWhatPlaysSkipsNothing) {
    open(100'000);
    player->startFilePlaying();
    player->startFilePlaying();
    expectPlays(0, 1000);
    player->startFilePlaying();
    expectPlays(1000, 1000);
    player->resumePlaying();
    expectPositionIsHeard(2000, 30, 512);
}

TEST_F(FilePlayerTransport, OnlyWhatWasPausedIsResumed) {
    open(100'000);
    player->resumePlaying();
    EXPECT_FALSE(player->isPlaying()) << "it was never started";
    player->pausePlaying();
    player->resumePlaying();
    EXPECT_FALSE(player->isPlaying());
    player->startFilePlaying();
    expectPlays(0, 100);
    player->stopFilePlaying();
    player->resumePlaying();
    EXPECT_FALSE(player->isPlaying());
    player->pausePlaying();
    EXPECT_EQ(player->currentFrame(), static_cast<SInt64>(readAhead)) << "it stays stopped";
    player->startFilePlaying();
    player->pausePlaying();
    player->stopFilePlaying();
    player->resumePlaying();
    EXPECT_FALSE(player->isPlaying());
}

TEST_F(FilePlayerTransport, SeeksWhileItIsStopped) {
    open(100'000);
    player->setCurrentFrame(500);
    EXPECT_EQ(player->currentFrame(), 500);
    EXPECT_FALSE(player->isPlaying());
    player->startFilePlaying();
    expectPositionIsHeard(500, 5, 512);
    player->stopFilePlaying();
    player->setCurrentTime(1000.0);
    player->startFilePlaying();
    expectPositionIsHeard(44100, 5, 512);
}

TEST_F(FilePlayerTransport, SeeksWhileItPlaysAndWhileItIsPaused) {
    open(100'000);
    player->startFilePlaying();
    expectPlays(0, 700);
    player->setCurrentFrame(70'000);
    EXPECT_EQ(player->currentFrame(), 70'000);
    expectPositionIsHeard(70'000, 20, 512);
    player->setCurrentFrame(3);
    expectPositionIsHeard(3, 5, 512);
    player->pausePlaying();
    player->setCurrentTime(1000.0);
    EXPECT_FALSE(player->isPlaying()) << "moving starts nothing";
    EXPECT_EQ(player->currentFrame(), 44100);
    player->resumePlaying();
    expectPositionIsHeard(44100, 5, 512);
    player->pausePlaying();
    player->setCurrentFrame(7);
    player->startFilePlaying();
    expectPositionIsHeard(7, 5, 512);
}

TEST_F(FilePlayerTransport, EndsAtOnceBeyondTheEnd) {
    open(10'000);
    for (const SInt64 frame : {SInt64{10'000}, SInt64{10'001}, std::numeric_limits<SInt64>::max()}) {
        player->setCurrentFrame(frame);
        player->startFilePlaying();
        EXPECT_EQ(player->currentFrame(), frame);
        expectSilent(512);
        playToTheEnd();
        EXPECT_EQ(player->currentFrame(), frame);
    }
    EXPECT_EQ(delegate.ends, 3);
    player->setCurrentFrame(9'000);
    player->startFilePlaying();
    player->setCurrentTime(std::numeric_limits<double>::infinity());
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 4);
}

TEST_F(FilePlayerTransport, ASeekThatFailsIsRaisedAndStops) {
    open(50'000);
    player->startFilePlaying();
    expectPlays(0, 100);
    {
        const FileHook hook("ExtAudioFileSeek", 20'000, kAudio_ParamError);
        EXPECT_THROW(player->setCurrentFrame(20'000), NSException);
    }
    EXPECT_FALSE(player->isPlaying());
    player->setCurrentFrame(30'000);
    player->startFilePlaying();
    expectPositionIsHeard(30'000, 5, 512);
}

TEST_F(FilePlayerTransport, ADeviceThatRefusesIsNotReported) {
    open(50'000);
    software->failStarts(1, kAudioHardwareUnspecifiedError);
    player->startFilePlaying();
    EXPECT_FALSE(player->isPlaying());
    player->startFilePlaying();
    EXPECT_TRUE(player->isPlaying());
    expectPlays(0, 1000);
}

TEST_F(FilePlayerTransport, ADeviceThatVanishesStopsItAndPositionsStay) {
    open(50'000);
    player->startFilePlaying();
    expectPlays(0, 1000);
    software->remove();
    settle();
    EXPECT_FALSE(player->isPlaying());
    EXPECT_EQ(player->currentFrame(), 1000);
    player->startFilePlaying();
    EXPECT_FALSE(player->isPlaying());
    player->setCurrentFrame(5);
    EXPECT_EQ(player->currentFrame(), 5);
    player->stopFilePlaying();
    EXPECT_EQ(delegate.ends, 0);
}

TEST_F(FilePlayerTransport, KeepsTheRealtimeRules) {
    open(60'000);
    std::vector<Float32> left(512);
    std::vector<Float32> right(512);
    Float32* const to[2]{left.data(), right.data()};
    for (const float speed : {1.0F, 1.25F, -1.0F}) {
        player->setPlaybackSpeed(speed);
        player->setCurrentFrame(speed < 0.0F ? 60'000 : 55'000);
        player->startFilePlaying();
        SInt64 position = 0;
        braq::tests::runRealtime([&] {
            for (int cycle = 0; cycle < 20; ++cycle) { // forwards that is to the end and beyond
                software->step(512, nullptr, to);
                const braq::tests::RealtimePause pause;
                position = std::max(position, player->currentFrame());
            }
        });
        EXPECT_GT(position, 55'000);
        player->stopFilePlaying();
    }
}

} // namespace
