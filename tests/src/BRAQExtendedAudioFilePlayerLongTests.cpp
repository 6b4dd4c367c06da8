// As the short ones, for longer.

#include "tests/src/PlayerHammer.h"

namespace {

class FilePlayerLongHammer : public player_test::PlayerHammerTest {
  protected:
    void hammerAThousandTimes(UInt64 fileFrames, bool isAtAnySpeed) {
        for (unsigned seed = 1; seed <= 10; ++seed) {
            SCOPED_TRACE(seed);
            std::mt19937 random(seed);
            open(fileFrames);
            hammer([&] { doAnything(random, 1000, fileFrames, isAtAnySpeed); });
            player->invalidate();
        }
        EXPECT_GT(framesHeard, 1'000'000U);
    }
};

TEST_F(FilePlayerLongHammer, WhatIsHeardIsWholeAndInOrder) { hammerAThousandTimes(150'000, false); }

TEST_F(FilePlayerLongHammer, ChannelsStayTogetherAtAnySpeed) { hammerAThousandTimes(20'000, true); }

TEST_F(FilePlayerLongHammer, AThousandPlayersLeaveNothingBehind) { comeAndGo(1000); }

} // namespace
