#include "tools/braq/terminal/LevelBar.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double lowest = -60.0; // decibels at the left end of a bar

// NaN has length 0.
std::size_t columnOf(double level, std::size_t columns) {
    if (!(level > lowest)) {
        return 0;
    }
    const double part = (std::min(level, 0.0) - lowest) / -lowest;
    return static_cast<std::size_t>(std::lround(part * static_cast<double>(columns)));
}

} // namespace

std::string levelBar(const MeteredChannel& channel, std::size_t columns) {
    std::string cells(columns, ' ');
    std::fill_n(cells.begin(), columnOf(channel.level, columns), '#');
    if (const std::size_t held = columnOf(channel.held, columns); held != 0) {
        cells[held - 1] = '|';
    }
    return cells;
}
