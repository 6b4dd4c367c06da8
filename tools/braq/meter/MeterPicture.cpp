#include "tools/braq/meter/MeterPicture.h"

#include "tools/braq/terminal/LevelText.h"

#include <algorithm>

namespace {

constexpr std::size_t levelColumns = 6;
constexpr std::size_t shortestBar = 4;

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
            line += " [" + levelBar(channel, columns - others) + "] ";
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
