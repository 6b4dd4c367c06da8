// Playing backwards, and at other speeds.

#include "tests/src/PlayerFixture.h"

#include <cmath>

namespace {

using player_test::bufferFrames;
using player_test::readAhead;

class FilePlayerSpeed : public player_test::PlayerTest {
  protected:
    /// After turning: plays on until a cycle goes backwards. @return the last frame that went forwards
    UInt64 playUntilItTurns(UInt32 frames) {
        UInt64 last = frameOf(play(frames)[0].back());
        for (int cycle = 0; cycle < 1000; ++cycle) {
            const UInt64 first = frameOf(play(frames)[0].front());
            if (first <= last) {
                return last;
            }
            last = frameOf(outputs[0].back());
        }
        ADD_FAILURE() << "it does not turn";
        return 0;
    }
};

TEST_F(FilePlayerSpeed, PlaysBackwardsFromTheFrameBeforeItsPosition) {
    open(50'000);
    player->setPlaybackSpeed(-1.0F);
    player->setCurrentFrame(20'000);
    player->startFilePlaying();
    EXPECT_EQ(player->currentFrame(), 20'000);
    for (UInt64 heard = 20'000; heard >= 512; heard -= 512) {
        // Where the buffer was filled, and, deliberately, counting up from there.
        const UInt64 filledAt = 20'000 - (20'000 - heard) / bufferFrames * bufferFrames;
        ASSERT_EQ(player->currentFrame(), static_cast<SInt64>(filledAt + (filledAt - heard)));
        play(512);
        for (UInt64 i = 0; i < 512; ++i) {
            ASSERT_EQ(outputs[0][i], braq::tests::sampleOf(heard - 1 - i, 0)) << "at " << heard;
            ASSERT_EQ(outputs[1][i], braq::tests::sampleOf(heard - 1 - i, 1)) << "at " << heard;
        }
    }
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1) << "the beginning of the file ends it";
    EXPECT_FALSE(player->isPlaying());
    EXPECT_EQ(player->currentFrame(), 0);
}

TEST_F(FilePlayerSpeed, BackwardsFromTheBeginningItEndsAtOnce) {
    open(50'000);
    player->setPlaybackSpeed(-1.0F);
    player->startFilePlaying();
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1);
    player->setCurrentFrame(50'000);
    player->startFilePlaying();
    play(512);
    EXPECT_EQ(frameOf(outputs[0][0]), 49'999U);
}

TEST_F(FilePlayerSpeed, PlaysWhatWasReadAheadBeforeItTurns) {
    open(100'000);
    player->setCurrentFrame(30'000);
    player->startFilePlaying();
    expectPlays(30'000, 512);
    player->setPlaybackSpeed(-1.0F);
    EXPECT_EQ(playUntilItTurns(512), 30'000 + readAhead - 1);
    EXPECT_EQ(frameOf(outputs[0].front()), 30'000 + readAhead - 1) << "backwards from where it was read to";
    player->setPlaybackSpeed(1.0F);
    player->setCurrentFrame(1000);
    expectPositionIsHeard(1000, 40, 512);
}

TEST_F(FilePlayerSpeed, TurnedAtOnceItGoesOnAtTheFrameThatWasHeardLast) {
    open(100'000);
    player->setCurrentFrame(30'000);
    player->startFilePlaying();
    expectPlays(30'000, 512);
    for (int turn = 1; turn <= 60; ++turn) {
        const UInt64 last = frameOf(outputs[0].back());
        player->setPlaybackSpeedAtOnce(turn % 2 != 0 ? -1.0F : 1.0F);
        const SInt64 step = turn % 2 != 0 ? -1 : 1;
        ASSERT_EQ(player->position(), static_cast<SInt64>(last) + (turn % 2 != 0 ? 1 : 0)) << turn;
        auto expected = static_cast<SInt64>(last);
        for (int cycle = 0; cycle < 1 + turn * 5 % 13; ++cycle) {
            play(512);
            for (UInt64 i = 0; i < 512; ++i, expected += step) {
                ASSERT_EQ(frameOf(outputs[0][i]), static_cast<UInt64>(expected)) << "in turn " << turn;
            }
        }
    }
    EXPECT_EQ(player->errorCount(), 0U);
}

TEST_F(FilePlayerSpeed, TurnedAtOnceAtTheEndItPlaysBackwards) {
    open(2000);
    player->startFilePlaying();
    playUntilTheEndIsSignalled();
    player->setPlaybackSpeedAtOnce(-1.0F);
    queue.drain();
    EXPECT_EQ(delegate.ends, 0) << "it has not ended";
    EXPECT_EQ(frameOf(play(512)[0].front()), 1999U);
}

TEST_F(FilePlayerSpeed, ASpeedAtOnceIsCheckedBeforeAnythingChanges) {
    open(50'000);
    player->setCurrentFrame(20'000);
    player->startFilePlaying();
    for (const float speed : {0.0F, -0.0F, std::nanf(""), -100.0F}) {
        EXPECT_THROW(player->setPlaybackSpeedAtOnce(speed), NSException);
    }
    expectPlays(20'000, 2048);
}

TEST_F(FilePlayerSpeed, TurnedJustBeforeTheEndItStartsThereAndLeavesNothingOut) {
    open(50'000);
    player->setPlaybackSpeed(-1.0F);
    player->setCurrentFrame(6000);
    player->startFilePlaying();
    player->setPlaybackSpeed(1.0F); // when it has read to the beginning
    playToTheEnd();
    EXPECT_EQ(delegate.ends, 1) << "what was read ahead is played first, and that is the end";
    EXPECT_EQ(player->currentFrame(), 0);
    player->startFilePlaying();
    expectPositionIsHeard(0, 40, 512);
    player->setCurrentFrame(45'000);
    player->setPlaybackSpeed(-1.0F);
    playToTheEnd();
    EXPECT_EQ(player->currentFrame(), 50'000);
    player->startFilePlaying();
    EXPECT_EQ(frameOf(play(512)[0].front()), 49'999U);
}

TEST_F(FilePlayerSpeed, PlaysOnFrameByFrameAfterOtherSpeeds) {
    open(200'000);
    player->startFilePlaying();
    for (const float speed : {2.0F, 0.5F, 1.25F}) {
        player->setPlaybackSpeed(speed);
        for (int cycle = 0; cycle < 20; ++cycle) {
            play(512);
        }
        const SInt64 before = player->currentFrame();
        const Float32 heardBefore = outputs[0].back();
        for (int cycle = 0; cycle < 10; ++cycle) {
            play(512);
        }
        const double frames = 5120.0 * static_cast<double>(speed);
        EXPECT_NEAR(static_cast<double>(player->currentFrame() - before), frames, 2.0) << "at " << speed;
        EXPECT_NEAR(static_cast<double>(outputs[0].back() - heardBefore) / 8, frames, 1.0) << "at " << speed;
        const SInt64 ahead = player->currentFrame() - static_cast<SInt64>(frameOf(outputs[0].back()));
        EXPECT_GT(ahead, 0) << "at " << speed;
        EXPECT_LT(ahead, 1000) << "at " << speed;
    }
    player->setPlaybackSpeed(1.0F);
    for (int cycle = 0; cycle < 20; ++cycle) {
        play(512);
    }
    const UInt64 next = frameOf(outputs[0].back()) + 1;
    const SInt64 position = player->currentFrame();
    expectPlays(next, 5120);
    EXPECT_EQ(player->currentFrame(), position + 5120);
    EXPECT_EQ(position, static_cast<SInt64>(next));
    EXPECT_EQ(player->errorCount(), 0U);
}

} // namespace
