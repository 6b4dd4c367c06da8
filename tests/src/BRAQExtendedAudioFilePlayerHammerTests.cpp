// Control operations at random while another thread steps the device.

#include "tests/src/PlayerHammer.h"

namespace {

using resource_test::comesTrue;

class FilePlayerHammer : public player_test::PlayerHammerTest {};

TEST_F(FilePlayerHammer, WhatIsHeardIsWholeAndInOrder) {
    constexpr unsigned seed = 1;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    open(150'000);
    hammer([&] { doAnything(random, 100, 150'000, false); });
    EXPECT_GT(framesHeard, 10'000U);
}

TEST_F(FilePlayerHammer, ChannelsStayTogetherAtAnySpeed) {
    constexpr unsigned seed = 2;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    open(20'000);
    hammer([&] { doAnything(random, 100, 20'000, true); });
    EXPECT_GT(framesHeard, 10'000U);
}

TEST_F(FilePlayerHammer, ASeekAtTheLastMomentPlaysOn) {
    constexpr unsigned seed = 3;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    constexpr SInt64 frames = 3000;
    open(frames);
    hammer([&] {
        mayJumpTo(0);
        player->startFilePlaying();
        for (UInt64 round = 1; round <= 200; ++round) {
            const bool isHeard =
                comesTrue([&] { return beginnings == round; }) && comesTrue([&] { return lastFrame > frames - 600; });
            ASSERT_TRUE(isHeard) << "it is silent although it plays";
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 600));
            player->setCurrentFrame(0);
            EXPECT_TRUE(player->isPlaying());
        }
        player->stopFilePlaying();
        queue.drain();
        EXPECT_EQ(delegate.ends, 0) << "none was told before it was moved away from";
    });
}

// Each frame follows the one before it, or the seam. What is set or cleared a moment before the seam is heard as many frames
// behind it as were played meanwhile.
TEST_F(FilePlayerHammer, ALoopThatIsSetAndClearedIsWholeAndInOrder) {
    constexpr unsigned seed = 4;
    constexpr SInt64 first = 20'000;
    constexpr SInt64 end = 60'000;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    open(150'000);
    mayJumpTo(0);
    mayJumpTo(5000);
    mayJumpBehind(first);
    mayJumpBehind(end);
    hammer([&] {
        player->startFilePlaying();
        for (int round = 0; round < 150; ++round) {
            change([&] { player->setLoop(first, end, random() % 4); });
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
            if (random() % 2 == 0) {
                change([&] { player->clearLoop(); });
            }
            if (player->currentFrame() > end) {
                player->setCurrentFrame(5000);
            }
            queue.drain();
            player->startFilePlaying();
        }
        player->stopFilePlaying();
        queue.drain();
    });
    EXPECT_GT(framesHeard, 500'000U);
}

TEST_F(FilePlayerHammer, AHundredPlayersLeaveNothingBehind) { comeAndGo(100); }

} // namespace
