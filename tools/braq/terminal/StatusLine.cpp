#include "tools/braq/terminal/StatusLine.h"

#include "tools/braq/shared/TimeText.h"

#include <algorithm>

namespace {

constexpr std::size_t shortestStatusBar = 4;
constexpr std::size_t longestBar = 30;
constexpr std::size_t aroundABar = 2; // its brackets
constexpr const char* gap = "  ";
constexpr std::size_t gapColumns = 2;

std::string place(const Status& status, std::size_t columns) {
    const std::string now = status.mark + " " + timeText(status.seconds);
    const std::string all = status.length ? now + " / " + timeText(*status.length) : now;
    return all.size() <= columns ? all : now.substr(0, columns);
}

MeteredChannel loudest(const std::vector<MeteredChannel>& channels) {
    MeteredChannel both = channels.front();
    for (const auto& channel : channels) {
        both.level = std::max(both.level, channel.level);
        both.held = std::max(both.held, channel.held);
    }
    return both;
}

/// At most `columns` columns, which are enough for one bar.
std::string bars(const std::vector<MeteredChannel>& channels, std::size_t columns) {
    const std::size_t ofEach = (columns + 1) / channels.size(); // with the space between them
    if (ofEach < shortestStatusBar + aroundABar + 1) {
        return "[" + levelBar(loudest(channels), std::min(columns - aroundABar, longestBar)) + "]";
    }
    std::string text;
    for (const auto& channel : channels) {
        text += (text.empty() ? "[" : " [") + levelBar(channel, std::min(ofEach - aroundABar - 1, longestBar)) + "]";
    }
    return text;
}

} // namespace

std::string statusLine(const Status& status, std::size_t columns) {
    constexpr std::size_t leastForBars = gapColumns + aroundABar + shortestStatusBar;
    std::string line = place(status, columns);
    std::size_t room = columns - line.size();
    const bool hasBars = !status.channels.empty() && room >= leastForBars;
    room -= hasBars ? leastForBars : 0;
    std::string facts;
    for (const auto& fact : status.facts) {
        if (facts.size() + gapColumns + fact.size() > room) {
            break;
        }
        facts += gap + fact;
    }
    if (hasBars) {
        line += gap + bars(status.channels, leastForBars - gapColumns + room - facts.size());
    }
    return line + facts;
}
