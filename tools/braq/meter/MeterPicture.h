#pragma once

#include "tools/braq/terminal/LevelBar.h"

#include <cstddef>
#include <string>
#include <vector>

/// One line per channel, each with its line end: number, bar and level, at most `columns` columns. If space is short,
/// the bar is omitted first.
std::string meterPicture(const std::vector<MeteredChannel>& channels, std::size_t columns);

/// All channels in one line, for output that is not a terminal.
std::string meterLine(const std::vector<MeteredChannel>& channels);
