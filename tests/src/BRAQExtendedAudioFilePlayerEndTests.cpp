// The end of the file.

#include "tests/src/FileHook.h"
#include "tests/src/PlayerFixture.h"
#include "tests/support/CapturedLog.h"

namespace {

using braq::tests::FileHook;
using player_test::Player;

class FilePlayerEnd : public player_test::PlayerTest {};

TEST_F(FilePlayerEnd, IsToldOnceOnTheMainThreadAndStopsTheUnitOnly) {
    open(10'000);
    bool wasPlaying = false;
    delegate.whenAtEnd = [&](const Player& of) { wasPlaying = of->isPlaying(); };
    player->startFilePlaying();
    expectPlays(0, 10'000);
    expectSilent(512);
    playUntilTheEndIsSignalled();
    EXPECT_EQ(delegate.ends, 0) << "nobody has drained the main queue";
    EXPECT_TRUE(player->isPlaying());
    queue.drain();
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_EQ(delegate.stops, 0) << "deliberately";
    EXPECT_EQ(delegate.player, player.get());
    EXPECT_EQ(delegate.thread, std::this_thread::get_id());
    EXPECT_TRUE(wasPlaying) << "it is told first and stopped then";
    EXPECT_FALSE(player->isPlaying());
    EXPECT_TRUE(reader().running());
    EXPECT_EQ(player->currentFrame(), 10'000);
    settle();
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_EQ(delegate.stops, 0);
}

TEST_F(FilePlayerEnd, IsToldOnTheThreadThatDrainsTheMainQueue) {
    open(1000);
    player->startFilePlaying();
    playUntilTheEndIsSignalled();
    std::thread::id other;
    std::thread([&] {
        other = std::this_thread::get_id();
        queue.drain();
    }).join();
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_EQ(delegate.thread, other);
}

TEST_F(FilePlayerEnd, OfAnEmptyFileComesAtOnce) {
    open(0);
    player->startFilePlaying();
    expectSilent(512);
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_FALSE(player->isPlaying());
}

TEST_F(FilePlayerEnd, StopsAlsoWithNobodyToTell) {
    struct Mute {
    } mute;
    open(1000);
    player->setDelegate(&mute);
    player->startFilePlaying();
    playToTheEnd();
    EXPECT_FALSE(player->isPlaying());
    player->setDelegate(nullptr);
    player->setCurrentFrame(0);
    player->startFilePlaying();
    playToTheEnd();
    EXPECT_FALSE(player->isPlaying());
    EXPECT_EQ(delegate.ends, 0);
}

TEST_F(FilePlayerEnd, ComesAlsoWhenItIsSetToLoop) {
    open(5000);
    player->setLooping(true);
    EXPECT_TRUE(player->looping());
    player->startFilePlaying();
    expectPlays(0, 5000);
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_FALSE(player->isPlaying());
    EXPECT_TRUE(player->looping());
}

TEST_F(FilePlayerEnd, AStartWithoutMovingComesToTheEndAgain) {
    open(5000);
    for (int round = 1; round <= 3; ++round) {
        player->startFilePlaying();
        EXPECT_TRUE(player->isPlaying());
        playToTheEnd();
        EXPECT_EQ(delegate.ends, round);
        EXPECT_FALSE(player->isPlaying());
        EXPECT_EQ(player->currentFrame(), 5000);
    }
    player->resumePlaying();
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 4);
    player->stopFilePlaying();
    EXPECT_EQ(player->currentFrame(), 5000);
    player->startFilePlaying();
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 5);
}

TEST_F(FilePlayerEnd, AStartAfterMovingPlaysFromThere) {
    open(5000);
    player->startFilePlaying();
    playToTheEnd();
    for (const bool isStoppedFirst : {false, true}) {
        if (isStoppedFirst) {
            player->stopFilePlaying();
        }
        player->setCurrentFrame(1000);
        EXPECT_FALSE(player->isPlaying());
        player->startFilePlaying();
        EXPECT_EQ(player->currentFrame(), 1000);
        expectPlays(1000, 4000);
        playToTheEnd();
    }
    EXPECT_EQ(delegate.ends, 3);
}

TEST_F(FilePlayerEnd, ADelegateThatStartsAgainPlaysOn) {
    open(5000);
    delegate.whenAtEnd = [](const Player& of) {
        of->setCurrentFrame(1000);
        of->startFilePlaying();
    };
    player->startFilePlaying();
    for (int round = 1; round <= 3; ++round) {
        playToTheEnd();
        EXPECT_EQ(delegate.ends, round);
        EXPECT_TRUE(player->isPlaying());
        expectPlays(1000, 4000);
    }
}

TEST_F(FilePlayerEnd, ADelegateThatOnlySeeksPlaysOn) {
    open(5000);
    delegate.whenAtEnd = [](const Player& of) { of->setCurrentTime(0.0); };
    player->startFilePlaying();
    for (int round = 1; round <= 3; ++round) {
        playToTheEnd();
        EXPECT_EQ(delegate.ends, round);
        EXPECT_TRUE(player->isPlaying());
        expectPlays(0, 5000);
    }
}

TEST_F(FilePlayerEnd, ADelegateMayStopPauseAndStopBeingOne) {
    open(5000);
    delegate.whenAtEnd = [](const Player& of) {
        of->pausePlaying();
        of->stopFilePlaying();
        of->setDelegate(nullptr);
    };
    player->startFilePlaying();
    playToTheEnd();
    EXPECT_FALSE(player->isPlaying());
    EXPECT_EQ(delegate.ends, 1);
    player->setCurrentFrame(0);
    player->startFilePlaying();
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
}

TEST_F(FilePlayerEnd, AThrowingDelegateIsLoggedAndThePlayerStopped) {
    const braq::tests::CapturedLog log;
    open(1000);
    delegate.whenAtEnd = [](const Player&) { throw std::runtime_error("no"); };
    player->startFilePlaying();
    playToTheEnd();
    EXPECT_EQ(log.errors().size(), 1U);
    EXPECT_FALSE(player->isPlaying());
}

TEST_F(FilePlayerEnd, IsWhereTheFileCannotBeSoughtAnyMore) {
    const braq::tests::CapturedLog log;
    open(30'000);
    player->setLoop(100, 20'000);
    player->startFilePlaying();
    {
        const FileHook failing("ExtAudioFileSeek", 100, kAudioFileUnspecifiedError);
        expectPlays(0, 20'000);
        EXPECT_NE(player->lastError(), nullptr);
        playToTheEnd();
    }
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_FALSE(player->isPlaying());
    player->startFilePlaying();
    expectPlays(100, 19'900);
    expectPlays(100, 10'000);
}

TEST_F(FilePlayerEnd, IsWhereTheFileCannotBeReadAnyMore) {
    open(30'000);
    player->startFilePlaying();
    {
        const FileHook failing("ExtAudioFileRead", 0, kAudioFileUnspecifiedError);
        expectPlays(0, 12'288);
        playToTheEnd();
    }
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_FALSE(player->isPlaying());
}

TEST_F(FilePlayerEnd, ThatComesAfterANewStartIsNotTold) {
    open(5000);
    player->startFilePlaying();
    playUntilTheEndIsSignalled();
    player->setCurrentFrame(0);
    player->startFilePlaying();
    expectPlays(0, 512);
    queue.drain();
    EXPECT_EQ(delegate.ends, 0);
    EXPECT_TRUE(player->isPlaying());
    expectPlays(512, 4488);
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
}

TEST_F(FilePlayerEnd, ThatComesAfterASeekIsNotToldAndPlaybackGoesOn) {
    open(5000);
    player->startFilePlaying();
    playUntilTheEndIsSignalled();
    player->setCurrentFrame(100);
    expectPlays(100, 512);
    queue.drain();
    EXPECT_EQ(delegate.ends, 0);
    EXPECT_TRUE(player->isPlaying());
    expectPlays(612, 4388);
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
}

TEST_F(FilePlayerEnd, ThatComesAfterASeekWhileItIsStoppedIsNotTold) {
    open(5000);
    player->startFilePlaying();
    playUntilTheEndIsSignalled();
    player->stopFilePlaying();
    player->setCurrentFrame(100);
    queue.drain();
    EXPECT_EQ(delegate.ends, 0);
    EXPECT_EQ(player->currentFrame(), 100);
}

TEST_F(FilePlayerEnd, IsToldOnceForAStartAtTheEnd) {
    open(5000);
    player->startFilePlaying();
    playUntilTheEndIsSignalled();
    player->startFilePlaying(); // before the end is told: it is reached again
    play(512);
    drainUntil([&] { return delegate.ends == 1; });
    settle();
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_FALSE(player->isPlaying());
}

TEST_F(FilePlayerEnd, OfASeekToTheEndIsTold) {
    open(50'000);
    player->startFilePlaying();
    expectPlays(0, 512);
    player->setCurrentFrame(49'000);
    expectPlays(49'000, 1000);
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
}

TEST_F(FilePlayerEnd, IsToldAfterAPauseAtTheEnd) {
    open(5000);
    player->startFilePlaying();
    playUntilTheEndIsSignalled();
    player->pausePlaying();
    queue.drain();
    EXPECT_EQ(delegate.ends, 1);
    EXPECT_FALSE(player->isPlaying());
}

} // namespace
