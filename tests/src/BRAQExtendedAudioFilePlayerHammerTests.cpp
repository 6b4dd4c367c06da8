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

TEST_F(FilePlayerHammer, AHundredPlayersLeaveNothingBehind) { comeAndGo(100); }

} // namespace
