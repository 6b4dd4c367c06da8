#include "tools/braq/shared/TimeText.h"

#include <gtest/gtest.h>

namespace {

TEST(TimeText, ReadsSecondsMinutesAndHours) {
    EXPECT_EQ(secondsIn("90"), 90.0);
    EXPECT_EQ(secondsIn("0"), 0.0);
    EXPECT_EQ(secondsIn("1.5"), 1.5);
    EXPECT_EQ(secondsIn("1:30"), 90.0);
    EXPECT_EQ(secondsIn("100:00.25"), 6000.25);
    EXPECT_EQ(secondsIn("1:02:03.5"), 3723.5);
}

TEST(TimeText, RefusesWhatIsNoTime) {
    for (const char* const text :
         {"",       ":",    "1:",      ":1",  "a",   "1a",  "-1",   "+1",   " 1", "1:60",       "1:60:00",
          "1.5:00", "1::2", "1:2:3:4", "1e3", "nan", "inf", "0x10", "1:-2", ".",  "99999999999"}) {
        EXPECT_EQ(secondsIn(text), std::nullopt) << text;
    }
}

TEST(TimeText, WritesTenthsAndHoursWhenThereAreAny) {
    EXPECT_EQ(timeText(0.0), "0:00.0");
    EXPECT_EQ(timeText(5.0), "0:05.0");
    EXPECT_EQ(timeText(59.99), "0:59.9") << "never ahead";
    EXPECT_EQ(timeText(60.0), "1:00.0");
    EXPECT_EQ(timeText(3599.9), "59:59.9");
    EXPECT_EQ(timeText(3723.5), "1:02:03.5");
    EXPECT_EQ(timeText(360'000.0), "100:00:00.0");
}

TEST(TimeText, ATenthThatADivisionMissesIsThere) { EXPECT_EQ(timeText(13'230.0 / 44'100.0), "0:00.3"); }

TEST(TimeText, ReadsWhatItWrites) {
    for (const double seconds : {0.0, 0.1, 12.3, 61.0, 3661.5}) {
        EXPECT_NEAR(secondsIn(timeText(seconds)).value_or(-1.0), seconds, 1e-9);
    }
}

} // namespace
