#include "tools/braq/info/TimeTicks.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace {

using testing::ElementsAre;

std::vector<std::string> labels(double seconds, double most) {
    std::vector<std::string> found;
    std::ranges::transform(timeTicks(seconds, most), std::back_inserter(found), &TimeTick::label);
    return found;
}

TEST(TimeTicks, AreRoundNumbers) {
    EXPECT_THAT(labels(4.0, 5), ElementsAre("0 s", "1 s", "2 s", "3 s", "4 s"));
    EXPECT_THAT(labels(4.0, 10),
                ElementsAre("0.0 s", "0.5 s", "1.0 s", "1.5 s", "2.0 s", "2.5 s", "3.0 s", "3.5 s", "4.0 s"));
    EXPECT_THAT(labels(0.01, 2), ElementsAre("0.000 s", "0.005 s", "0.010 s"));
    EXPECT_THAT(labels(45.0, 4), ElementsAre("0 s", "15 s", "30 s", "45 s"));
}

TEST(TimeTicks, HaveMinutesAndHoursWhereThereAreSome) {
    EXPECT_THAT(labels(70.0, 3), ElementsAre("0:00", "0:30", "1:00"));
    EXPECT_THAT(labels(60.5, 200).back(), "1:00.5");
    EXPECT_THAT(labels(600.0, 2), ElementsAre("0:00", "5:00", "10:00"));
    EXPECT_THAT(labels(7200.0, 4), ElementsAre("0:00:00", "0:30:00", "1:00:00", "1:30:00", "2:00:00"));
    EXPECT_THAT(labels(200.0 * 3600.0, 3), ElementsAre("0:00:00", "96:00:00", "192:00:00"));
}

TEST(TimeTicks, AreNeverTooManyAndNeverBeyondTheEnd) {
    for (double seconds = 0.0001; seconds < 1e7; seconds *= 1.37) {
        for (const double most : {1.0, 4.0, 11.7, 220.0}) {
            const auto ticks = timeTicks(seconds, most);
            EXPECT_LE(static_cast<double>(ticks.size()), most + 1.001) << seconds << ", " << most;
            EXPECT_LE(ticks.back().seconds, seconds * 1.001) << seconds << ", " << most;
            EXPECT_EQ(ticks.front().seconds, 0.0);
            // Steps are at most 2.5 times as long as needed, so that many ticks are used.
            if (seconds > 0.01 && seconds < 80000.0 && most >= 4.0) {
                EXPECT_GE(static_cast<double>(ticks.size()), most / 3.1) << seconds << ", " << most;
            }
            for (std::size_t i = 1; i < ticks.size(); ++i) {
                EXPECT_NE(ticks[i].label, ticks[i - 1].label) << seconds << ", " << most;
            }
        }
    }
}

TEST(TimeTicks, OfNothingAreOne) { EXPECT_THAT(labels(0.0, 10), ElementsAre("0 s")); }

TEST(TimeText, IsRoundedBeforeItIsTakenApart) {
    EXPECT_EQ(timeText(59.9996, 61.0, 3), "1:00.000");
    EXPECT_EQ(timeText(3599.9999, 3600.0, 3), "1:00:00.000");
    EXPECT_EQ(timeText(119.7, 120.0, 0), "2:00");
    EXPECT_EQ(timeText(0.1234, 0.1234, 3), "0.123 s");
    EXPECT_EQ(timeText(83.4567, 83.4567, 3), "1:23.457");
    EXPECT_EQ(timeText(36061.5, 40000.0, 1), "10:01:01.5");
}

} // namespace
