#pragma once

#include "tools/braq/terminal/LevelBar.h"

#include <cstddef>
#include <string>
#include <vector>

/// One line a channel, each with its end: number, bar and level, of `columns` columns at most; where there is no room, the
/// bar goes first.
std::string meterPicture(const std::vector<MeteredChannel>& channels, std::size_t columns);

/// All channels in one line, for who is no terminal.
std::string meterLine(const std::vector<MeteredChannel>& channels);
