#include "tools/braq/meter/MeterPicture.h"

#include "tools/braq/terminal/LevelBar.h"
#include "tools/braq/terminal/PeakHold.h"

#include "tests/tools/Silence.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace {

using tool_test::silence;

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t first = 0, end = 0; (end = text.find('\n', first)) != std::string::npos; first = end + 1) {
        lines.push_back(text.substr(first, end - first));
    }
    return lines;
}

TEST(MeterPicture, HasABarAChannelAsLongAsItIsLoud) {
    // 20 columns of bar for 60 decibels.
    EXPECT_EQ(meterPicture({{1, -30.0, -3.0}, {2, 0.0, 0.0}}, 31), "1 [##########        | ]  -30.0\n"
                                                                   "2 [###################|]    0.0\n");
}

TEST(MeterPicture, SaysWhenThereIsNothing) {
    EXPECT_EQ(meterPicture({{1, silence, silence}}, 21), "1 [          ]   -inf\n");
    EXPECT_EQ(meterPicture({{1, -70.0, -70.0}}, 21), "1 [          ]  -70.0\n") << "below what a bar shows";
}

TEST(MeterPicture, FitsEveryTerminal) {
    const std::vector<MeteredChannel> channels{{9, -12.3, -1.0}, {10, silence, silence}, {11, 3.5, 6.0}};
    for (std::size_t columns = 0; columns < 120; ++columns) {
        const auto lines = linesOf(meterPicture(channels, columns));
        ASSERT_EQ(lines.size(), 3U);
        for (const auto& line : lines) {
            EXPECT_LE(line.size(), columns);
        }
    }
    EXPECT_EQ(meterPicture({{1, -12.3, -1.0}}, 12), "1  -12.3\n") << "no room for a bar";
}

TEST(LevelBar, StaysInItsColumnsWhateverTheLevel) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double noNumber = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(levelBar({1, noNumber, noNumber}, 6), "      ");
    EXPECT_EQ(levelBar({1, noNumber, -30.0}, 6), "  |   ");
    EXPECT_EQ(levelBar({1, infinity, infinity}, 6), "#####|");
    EXPECT_EQ(levelBar({1, 1e300, 1e300}, 6), "#####|");
    EXPECT_EQ(levelBar({1, -1e300, silence}, 6), "      ");
    EXPECT_EQ(levelBar({1, 0.0, 0.0}, 0), "");
}

TEST(MeterPicture, IsOneLineForAFile) {
    EXPECT_EQ(meterLine({{1, -12.34, 0.0}, {2, silence, 0.0}}), "1: -12.3  2: -inf\n");
}

TEST(PeakHold, StaysForASecondAndThenFalls) {
    PeakHold hold;
    EXPECT_EQ(hold.add(silence, 0.5), silence);
    EXPECT_EQ(hold.add(-10.0, 0.5), -10.0);
    EXPECT_EQ(hold.add(-40.0, 0.5), -10.0);
    EXPECT_EQ(hold.add(-40.0, 0.5), -10.0);
    EXPECT_EQ(hold.add(-40.0, 0.5), -20.0);
    EXPECT_EQ(hold.add(-40.0, 5.0), -40.0) << "not below what there is";
    EXPECT_EQ(hold.add(-5.0, 0.5), -5.0);
}

} // namespace
