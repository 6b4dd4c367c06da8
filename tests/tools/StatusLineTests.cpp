#include "tools/braq/terminal/StatusLine.h"

#include "tests/tools/Silence.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

using tool_test::silence;

Status playing(unsigned channels = 2) {
    Status status{.mark = ">", .seconds = 61.25, .length = 3600.0, .facts = {"x1.00", "+0 dB", "0 underruns"}};
    for (unsigned channel = 1; channel <= channels; ++channel) {
        status.channels.push_back({channel, -30.0, -15.0});
    }
    return status;
}

TEST(StatusLine, HasEverythingWhereThereIsRoom) {
    EXPECT_EQ(statusLine(playing(), 79),
              "> 1:01.2 / 1:00:00.0  [######  |   ] [######  |   ]  x1.00  +0 dB  0 underruns");
}

TEST(StatusLine, LeavesOutWhatHasNoRoom) {
    EXPECT_EQ(statusLine(playing(), 50), "> 1:01.2 / 1:00:00.0  [##| ] [##| ]  x1.00  +0 dB");
    EXPECT_EQ(statusLine(playing(), 28), "> 1:01.2 / 1:00:00.0  [##| ]");
    EXPECT_EQ(statusLine(playing(), 27), "> 1:01.2 / 1:00:00.0  x1.00");
    EXPECT_EQ(statusLine(playing(), 20), "> 1:01.2 / 1:00:00.0");
    EXPECT_EQ(statusLine(playing(), 19), "> 1:01.2  [####|  ]") << "no room for the length";
}

TEST(StatusLine, FitsEveryTerminal) {
    for (const unsigned channels : {0U, 1U, 2U, 6U, 32U}) {
        for (std::size_t columns = 0; columns <= 200; ++columns) {
            const std::string line = statusLine(playing(channels), columns);
            EXPECT_LE(line.size(), columns) << line;
            EXPECT_THAT(line, Not(HasSubstr("\n")));
            EXPECT_THAT(line, StartsWith(std::string("> 1:01.2").substr(0, columns)));
        }
    }
}

TEST(StatusLine, OneBarShowsTheLoudestChannel) {
    Status status{.mark = "*", .channels = {{1, silence, silence}, {2, 0.0, 0.0}}};
    EXPECT_EQ(statusLine(status, 18), "* 0:00.0  [#####|]");
    status.channels = {{1, silence, silence}, {2, silence, silence}};
    EXPECT_EQ(statusLine(status, 18), "* 0:00.0  [      ]");
}

TEST(StatusLine, ABarDoesNotGetLongerThanOneCanSee) {
    const Status status{.mark = "*", .channels = {{1, silence, silence}}};
    EXPECT_EQ(statusLine(status, 200), "* 0:00.0  [" + std::string(30, ' ') + "]");
}

} // namespace
