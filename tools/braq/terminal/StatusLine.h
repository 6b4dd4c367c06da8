#pragma once

#include "tools/braq/terminal/LevelBar.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// How playing or recording is getting on.
struct Status {
    std::string mark; ///< what it does, in a letter or two
    double seconds = 0.0;
    std::optional<double> length{}; ///< of all, in seconds
    std::vector<MeteredChannel> channels{};
    std::vector<std::string> facts{}; ///< in ASCII; where there is no room, the last ones go first
};

/// All of it in one line of `columns` columns at most, without an end. Bars take what is left: one a channel, where there is
/// less room one for the loudest channel, then none.
std::string statusLine(const Status& status, std::size_t columns);
