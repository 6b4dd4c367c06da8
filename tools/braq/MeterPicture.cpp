#include "MeterPicture.h"

#include "LevelText.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double lowest = -60.0; // decibels at the left end of a bar
constexpr std::size_t levelColumns = 6;
constexpr std::size_t shortestBar = 4;

std::size_t columnOf(double level, std::size_t columns) {
    const double part = (std::clamp(level, lowest, 0.0) - lowest) / -lowest;
    return static_cast<std::size_t>(std::lround(part * static_cast<double>(columns)));
}

std::string bar(const MeteredChannel& channel, std::size_t columns) {
    std::string cells(columns, ' ');
    std::fill_n(cells.begin(), columnOf(channel.level, columns), '#');
    if (const std::size_t held = columnOf(channel.held, columns); held != 0) {
        cells[held - 1] = '|';
    }
    return cells;
}

std::string rightAligned(const std::string& text, std::size_t columns) {
    return std::string(columns - std::min(columns, text.size()), ' ') + text;
}

} // namespace

std::string meterPicture(const std::vector<MeteredChannel>& channels, std::size_t columns) {
    std::size_t numberColumns = 1;
    for (const auto& channel : channels) {
        numberColumns = std::max(numberColumns, std::to_string(channel.number).size());
    }
    const std::size_t others = numberColumns + std::size(" [") - 1 + std::size("] ") - 1 + levelColumns;
    std::string picture;
    for (const auto& channel : channels) {
        std::string line = rightAligned(std::to_string(channel.number), numberColumns);
        if (columns >= others + shortestBar) {
            line += " [" + bar(channel, columns - others) + "] ";
        } else {
            line += " ";
        }
        line += rightAligned(levelText(channel.level), levelColumns);
        picture += line.substr(0, columns) + "\n";
    }
    return picture;
}

std::string meterLine(const std::vector<MeteredChannel>& channels) {
    std::string line;
    for (const auto& channel : channels) {
        line += (line.empty() ? "" : "  ") + std::to_string(channel.number) + ": " + levelText(channel.level);
    }
    return line + "\n";
}
